"""Creates recordings and pictures with ffmpeg, and damaged ones from them."""

import ctypes
import os
import struct
import subprocess

VIDEO = ["-f", "lavfi", "-i", "testsrc=size=320x240:rate=25:duration=2"]
AUDIO = ["-f", "lavfi", "-i", "sine=frequency=440:sample_rate=8000:duration=2"]

TJSAMP_444, TJSAMP_GRAY = 0, 3
TJPF_RGB, TJPF_GRAY, TJPF_CMYK = 0, 6, 11
TJFLAG_PROGRESSIVE = 16384


def make_all(folder):
    """Creates all media in `folder`. Existing files are kept, because the fixture may run again."""
    os.makedirs(folder, exist_ok=True)
    for name, make in MAKERS.items():
        path = os.path.join(folder, name)
        if not os.path.exists(path):
            make(folder, path + ".part." + name.rsplit(".", 1)[-1])
            os.rename(path + ".part." + name.rsplit(".", 1)[-1], path)


def _ffmpeg(*arguments):
    def make(_folder, path):
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments,
                        "-fflags", "+bitexact", path], check=True)
    return make


def _picture(size):
    return _ffmpeg("-f", "lavfi", "-i", f"testsrc=size={size}", "-frames:v", "1", "-q:v", "5")


def _changed(source, change):
    def make(folder, path):
        with open(os.path.join(folder, source), "rb") as file:
            data = file.read()
        with open(path, "wb") as file:
            file.write(change(data))
    return make


def _turbojpeg(width, height, pixel_format, channels, subsampling, flags):
    """Creates pictures in formats that ffmpeg doesn't write."""
    def make(_folder, path):
        library = ctypes.CDLL("libturbojpeg.so.0")
        library.tjInitCompress.restype = ctypes.c_void_p
        pixels = bytes((x * 7 + y) % 256 for y in range(height)
                       for x in range(width) for _ in range(channels))
        out, size = ctypes.c_void_p(), ctypes.c_ulong()
        failed = library.tjCompress2(
            ctypes.c_void_p(library.tjInitCompress()), pixels, width, 0, height, pixel_format,
            ctypes.byref(out), ctypes.byref(size), subsampling, 80, flags)
        if failed:
            raise RuntimeError(f"can't make {path}")
        with open(path, "wb") as file:
            file.write(ctypes.string_at(out, size.value))
    return make


def overflow_duration(mp4):
    """Sets every length in the headers to 4294967295 seconds."""
    data = bytearray(mp4)
    for name in (b"mvhd", b"mdhd"):
        at = 0
        while (at := data.find(name, at)) >= 0:
            body = at + 4
            data[body + 12:body + 20] = struct.pack(">II", 1, 0xFFFFFFFF)
            at = body
    return bytes(data)


def absurd_box(mp4):
    """Lets the box of the index claim nearly 2^63 bytes."""
    at = mp4.index(b"moov") - 4
    return mp4[:at] + struct.pack(">I4sQ", 1, b"moov", 2**63 - 1) + mp4[at + 8:]


def inside_moov(mp4):
    """Truncates the file within its index, which comes first."""
    return mp4[:mp4.index(b"moov") + 200]


def huge_header(jpeg):
    """Lets the frame header claim 65500 x 65500 pixels."""
    at = jpeg.index(b"\xff\xc0") + 5
    return jpeg[:at] + struct.pack(">HH", 65500, 65500) + jpeg[at + 4:]


def turned(jpeg):
    """Adds an Exif block that says that the camera was held upright (orientation 6)."""
    tiff = b"MM\0*\0\0\0\x08" + struct.pack(">HHHIHHI", 1, 0x0112, 3, 1, 6, 0, 0)
    block = b"Exif\0\0" + tiff
    return jpeg[:2] + b"\xff\xe1" + struct.pack(">H", len(block) + 2) + block + jpeg[2:]


MAKERS = {
    "h264.mp4": _ffmpeg(*VIDEO, *AUDIO, "-c:v", "libx264", "-preset", "ultrafast",
                        "-pix_fmt", "yuv420p", "-c:a", "aac", "-movflags", "+faststart"),
    "fragments.mp4": _ffmpeg(*VIDEO, "-c:v", "libx264", "-preset", "ultrafast",
                             "-pix_fmt", "yuv420p", "-movflags", "frag_keyframe+empty_moov"),
    "mjpeg.avi": _ffmpeg(*VIDEO, *AUDIO, "-c:v", "mjpeg", "-c:a", "pcm_s16le"),
    "frames.mxg": _ffmpeg(*VIDEO, "-c:v", "mjpeg", "-f", "mjpeg"),
    "picture.jpg": _picture("640x480"),
    "small.jpg": _picture("64x48"),
    "grey.jpg": _turbojpeg(640, 480, TJPF_GRAY, 1, TJSAMP_GRAY, 0),
    "cmyk.jpg": _turbojpeg(640, 480, TJPF_CMYK, 4, TJSAMP_444, 0),
    "progressive.jpg": _turbojpeg(640, 480, TJPF_RGB, 3, TJSAMP_444, TJFLAG_PROGRESSIVE),
    "cut.mp4": _changed("h264.mp4", inside_moov),
    "absurd.mp4": _changed("h264.mp4", absurd_box),
    "overflow.mp4": _changed("h264.mp4", overflow_duration),
    "cut.jpg": _changed("picture.jpg", lambda data: data[:len(data) // 2]),
    "stub.jpg": _changed("picture.jpg", lambda data: data[:20]),
    "huge.jpg": _changed("picture.jpg", huge_header),
    "turned.jpg": _changed("picture.jpg", turned),
}


