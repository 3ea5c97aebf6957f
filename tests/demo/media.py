"""Real recordings and pictures, made with the ffmpeg command line.

A few master clips are encoded. Every recording is a part of one, with a different length, copied without
encoding it again.
"""

import os
import subprocess

MASTER_SECONDS = 10
FRAMES_PER_SECOND = 25

H264_AAC = ["-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p", "-g", "25",
            "-c:a", "aac", "-f", "mp4"]
MJPEG_PCM = ["-c:v", "mjpeg", "-q:v", "6", "-c:a", "pcm_s16le", "-f", "avi"]
BARE_MJPEG = ["-an", "-c:v", "mjpeg", "-q:v", "6", "-f", "mjpeg"]

# Name of the master: picture pattern, tone, encoding.
MASTERS = {
    "Front.mp4": ("testsrc2=size=640x360:rate=25", 440, H264_AAC),
    "Yard.avi": ("testsrc=size=480x360:rate=15", 660, MJPEG_PCM),
    "Gate.mxg": ("testsrc2=size=352x288:rate=25", 880, BARE_MJPEG),
    "alert.mp4": ("smptehdbars=size=1280x720:rate=25", 1000, H264_AAC),
}
FORMATS = {".mp4": "mp4", ".avi": "avi", ".mxg": "mjpeg"}


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments], check=True)


def encode_masters(folder):
    os.makedirs(folder)
    for name, (pattern, tone, encoding) in MASTERS.items():
        ffmpeg("-f", "lavfi", "-i", f"{pattern}:duration={MASTER_SECONDS}",
               "-f", "lavfi", "-i", f"sine=frequency={tone}:duration={MASTER_SECONDS}",
               *encoding, os.path.join(folder, name))


def length(number):
    """Seconds, 2.1 to 8.9, different for neighbours; never near a half, which could be rounded up or down."""
    return 2 + number % 7 + (0.1, 0.3, 0.7, 0.9)[number % 4]


def record(master, paths, first_number=0):
    """Makes a recording at each of the paths with one command."""
    container = FORMATS[os.path.splitext(master)[1]]
    outputs = []
    for number, path in enumerate(paths, first_number):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        # A bare stream of frames has no times to cut by.
        stretch = (["-frames:v", str(round(length(number) * FRAMES_PER_SECOND))]
                   if container == "mjpeg" else ["-t", str(length(number))])
        outputs += ["-c", "copy", *stretch, "-f", container, path]
    ffmpeg("-f", container, "-i", master, *outputs)


def take_pictures(master, paths, size="640x360"):
    """Makes a JPEG picture at each of the paths, each from a different moment of the master."""
    container = FORMATS[os.path.splitext(master)[1]]
    outputs = []
    for number, path in enumerate(paths):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        frame = number * 7 % (MASTER_SECONDS * 15)
        outputs += ["-vf", f"select=eq(n\\,{frame}),scale={size.replace('x', ':')}",
                    "-frames:v", "1", "-q:v", "4", "-f", "image2", "-update", "1", path]
    ffmpeg("-f", container, "-i", master, *outputs)


def take_at(path, when):
    """Sets the times of a file as if it had been made at that moment."""
    os.utime(path, (when.timestamp(), when.timestamp()))
