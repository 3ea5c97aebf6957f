"""Which recordings krindexer reads itself, and which it leaves to krcontainers: three files of different lengths for
each kind, as ffmpeg and GStreamer write them, and changed to layouts that cameras write."""

import os
import statistics
import struct
import subprocess
from concurrent.futures import ThreadPoolExecutor

LENGTHS_S = (2.05, 2.45, 2.75)  # at 2.45 s the delay of an encoder of sound can change the length in seconds

FFMPEG = "ffmpeg -nostdin -v error -y -threads 1"
VIDEO = {
    "H.264": "libx264 -preset superfast -bf 0",
    "H.264 B-frames": "libx264 -preset superfast -bf 2",
    "H.265": "libx265 -preset ultrafast -x265-params log-level=none:bframes=0",
    "H.265 B-frames": "libx265 -preset ultrafast -x265-params log-level=none:bframes=2",
    "MPEG-4": "mpeg4",
    "MPEG-4 B-frames": "mpeg4 -bf 2",
    "MJPEG": "mjpeg",
}
AUDIO = {"AAC 8 kHz": ("aac", 8000), "AAC 48 kHz": ("aac", 48000), "G.711": ("pcm_mulaw", 8000)}
GST_VIDEO = {
    "H.264": "x264enc bframes=0 ! h264parse",
    "H.264 B-frames": "x264enc bframes=2 ! h264parse",
    "H.265 B-frames": "x265enc speed-preset=ultrafast ! h265parse",
    "MPEG-4": "avenc_mpeg4",
}
GST_AUDIO = {"AAC 8 kHz": "audio/x-raw,rate=8000 ! avenc_aac ! aacparse",
             "G.711": "audio/x-raw,rate=8000,channels=1 ! mulawenc"}


class Kind:
    """The recordings of one kind: a shell command that writes `{seconds}` to `{file}`, and a change of the bytes."""

    def __init__(self, program, layout, codecs, command, container="mp4", change=lambda mp4: mp4):
        self.program, self.layout, self.codecs = program, layout, codecs
        self.command, self.container, self.change = command, container, change

    def make(self, folder):
        for number, seconds in enumerate(LENGTHS_S):
            file = folder / f"{number}.{self.container}"
            command = self.command.format(seconds=seconds, frames=round(seconds * 25), buffers=round(seconds * 8),
                                          file=file, source=folder / "source.mkv")
            subprocess.run(["sh", "-ec", command], check=True, stdout=subprocess.DEVNULL)
            file.write_bytes(self.change(file.read_bytes()))
        return sorted(folder.glob(f"?.{self.container}"))


def _encode(video, audio, seconds="{seconds}"):
    codec, rate = AUDIO.get(audio, ("", 0))
    pixels = "yuvj420p" if video == "MJPEG" else "yuv420p"
    sound = f"-f lavfi -i sine=sample_rate={rate} -c:a {codec}" if audio else ""
    return (f"{FFMPEG} -f lavfi -i testsrc=size=160x120:rate=25 {sound} -t {seconds} -pix_fmt {pixels} -g 50 "
            f"-c:v {VIDEO[video]}")


def _ffmpeg_kinds():
    for video in VIDEO:
        for audio in (None, *AUDIO):
            container = "avi" if audio == "G.711" else "mp4"
            yield Kind("ffmpeg", f"encoded to {container}", (video, audio), _encode(video, audio) + " {file}",
                       container)
        source = f"[ -e {{source}} ] || {_encode(video, 'AAC 8 kHz', 12)} {{source}}; {FFMPEG}"
        yield Kind("ffmpeg", "stream copied by -f segment", (video, "AAC 8 kHz"),
                   f"{source} -i {{source}} -c copy -f segment -segment_time {{seconds}} -reset_timestamps 1 "
                   "{file}.%03d.mp4; mv {file}.001.mp4 {file}; rm {file}.*")
        yield Kind("ffmpeg", "cut by -ss -c copy", (video, "AAC 8 kHz"),
                   f"{source} -ss 3.3 -i {{source}} -t {{seconds}} -c copy {{file}}")
    yield Kind("ffmpeg", "ten minutes", ("H.264", "AAC 8 kHz"),
               f"{_encode('H.264', 'AAC 8 kHz')} {{file}}.mp4; "
               f"{FFMPEG} -stream_loop -1 -i {{file}}.mp4 -t 60{{seconds}} -c copy {{file}}")
    for layout, options in (("faststart", "-movflags faststart"), ("no edit list", "-use_editlist 0"),
                            ("variable frame rate", "-vf 'select=not(mod(n\\,3))+lt(n\\,20)' -vsync vfr"),
                            ("fragmented", "-movflags frag_keyframe+empty_moov"), ("hint tracks", "-movflags rtphint"),
                            ("time code track", "-timecode 01:02:03:04")):
        yield Kind("ffmpeg", layout, ("H.264", "AAC 8 kHz"), f"{_encode('H.264', 'AAC 8 kHz')} {options} {{file}}")


def _gstreamer(muxer, video, audio):
    sink = f"{muxer} name=m ! filesink location={{file}}"
    sound = f"audiotestsrc num-buffers={{buffers}} ! {GST_AUDIO[audio]} ! queue ! m.audio_0"
    return ("gst-launch-1.0 -q videotestsrc num-buffers={frames} ! video/x-raw,format=I420,width=160,height=120,"
            f"framerate=25/1 ! {GST_VIDEO[video]} ! queue ! m.video_0 {sink} {sound}")


def _gstreamer_kinds():
    for video in GST_VIDEO:
        yield Kind("GStreamer", "mp4mux", (video, "AAC 8 kHz"), _gstreamer("mp4mux", video, "AAC 8 kHz"))
    for layout, muxer in (("faststart", "mp4mux faststart=true"), ("fragmented", "mp4mux fragment-duration=1000"),
                          ("reserved moov", "mp4mux reserved-max-duration=60000000000 "
                                            "reserved-moov-update-period=1000000000"), ("qtmux", "qtmux")):
        yield Kind("GStreamer", layout, ("H.264", "AAC 8 kHz"), _gstreamer(muxer, "H.264", "AAC 8 kHz"))
    yield Kind("GStreamer", "avimux", ("H.264", "G.711"), _gstreamer("avimux", "H.264", "G.711"), "avi")


def _box(name, content):
    return struct.pack(">I", len(content) + 8) + name + content


def _number(mp4, at):
    return struct.unpack_from(">I", mp4, at)[0]


def _replace_box(mp4, name, box):
    """The recording with another box instead of the last one of this name. The samples precede the changed boxes."""
    at = mp4.rindex(name) - 4
    size = _number(mp4, at)
    for outer in (b"moov", b"trak", b"edts", b"mdia", b"minf", b"stbl"):
        begin = mp4.rfind(outer, 0, at) - 4
        if begin >= 0 and begin + _number(mp4, begin) > at:
            mp4 = mp4[:begin] + struct.pack(">I", _number(mp4, begin) + len(box) - size) + mp4[begin + 4:]
    return mp4[:at] + box + mp4[at + size:]


def _whole_edit(mp4):
    movie = _number(mp4, mp4.rindex(b"mvhd") + 20)
    return _replace_box(mp4, b"elst", _box(b"elst", struct.pack(">IIIII", 0, 1, movie, 0, 0x10000)))


def _wide_offsets(mp4):
    at = mp4.rindex(b"stco")
    count = _number(mp4, at + 8)
    offsets = struct.unpack_from(f">{count}I", mp4, at + 12)
    return _replace_box(mp4, b"stco", _box(b"co64", struct.pack(f">II{count}Q", 0, count, *offsets)))


def _camera_kinds():
    layouts = (("no tags, 64-bit offsets", lambda mp4: _wide_offsets(_replace_box(mp4, b"udta", b""))),
               ("edit list of one entry from 0", _whole_edit),
               ("free box in moov", lambda mp4: _replace_box(mp4, b"udta", _box(b"free", bytes(300)))),
               ("free box after moov", lambda mp4: mp4 + _box(b"free", bytes(400))),
               ("own box in udta", lambda mp4: _replace_box(mp4, b"udta", _box(b"udta", _box(b"CAME", bytes(40))))),
               ("uuid box at the end", lambda mp4: mp4 + _box(b"uuid", bytes(40))),
               ("avc3", lambda mp4: mp4.replace(b"avc1" + bytes(6), b"avc3" + bytes(6))))
    for layout, change in layouts:
        yield Kind("camera layout", layout, ("H.264", None), _encode("H.264", None) + " {file}", change=change)
    yield Kind("camera layout", "hvc1", ("H.265", None), _encode("H.265", None) + " -tag:v hvc1 {file}")


def measure_all(workshop):
    """One result for each program, layout and answer."""
    kinds = [*_ffmpeg_kinds(), *_gstreamer_kinds(), *_camera_kinds()]
    with ThreadPoolExecutor(os.cpu_count()) as executor:
        made = list(executor.map(lambda kind: kind.make(workshop.folder("containers")), kinds))
    groups = {}
    for kind, files in zip(kinds, made):
        lines = subprocess.run([workshop.programs / "containerreaders", *files], check=True, text=True,
                               stdout=subprocess.PIPE).stdout.splitlines()
        readers, own, library = zip(*(line.split() for line in lines))
        by_krindexer = readers.count("krindexer")
        share = "all" if by_krindexer == len(files) else "none" if by_krindexer == 0 else "some"
        group = groups.setdefault((kind.program, kind.layout, share), {
            "program": kind.program, "layout": kind.layout, "video": [], "audio": [], "files": 0,
            "krindexer": 0, "own_us": [], "library_us": []})
        for key, codec in zip(("video", "audio"), kind.codecs):
            if (codec or "none") not in group[key]:
                group[key].append(codec or "none")
        group["files"] += len(files)
        group["krindexer"] += by_krindexer
        group["own_us"] += map(float, own)
        group["library_us"] += map(float, library)
    return [{**group, "own_us": statistics.median(group["own_us"]),
             "library_us": statistics.median(group["library_us"])} for group in groups.values()]
