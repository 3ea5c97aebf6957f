"""The properties of a recording, from ffprobe."""

import json
import os
import subprocess
from dataclasses import dataclass

from media import FORMATS, FRAMES_PER_SECOND

VIDEO_TYPES = {"mjpeg": 1, "mpeg4": 2, "h264": 3, "hevc": 4}
AUDIO_FORMATS = {"aac": "AAC", "pcm_s16le": "PCM"}


@dataclass(frozen=True)
class Facts:
    seconds: int = 0  # rounded
    video: int = 0
    audio: str = ""
    width: int = 0
    height: int = 0


def recording(path):
    """The properties of a recording; all zero if its container can't be read."""
    container = FORMATS[os.path.splitext(path)[1]]
    entries = "format=duration:stream=codec_type,codec_name,width,height,nb_read_packets"
    done = subprocess.run(["ffprobe", "-v", "error", "-f", container, "-count_packets",
                           "-show_entries", entries, "-of", "json", path],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    if done.returncode != 0:
        return Facts()
    answer = json.loads(done.stdout)
    streams = {stream["codec_type"]: stream for stream in answer["streams"]}
    video, audio = streams["video"], streams.get("audio", {})
    # A bare stream of frames has no times: its length is the number of frames.
    seconds = (int(video["nb_read_packets"]) / FRAMES_PER_SECOND if container == "mjpeg"
               else float(answer["format"]["duration"]))
    return Facts(int(seconds + 0.5), VIDEO_TYPES[video["codec_name"]],
                 AUDIO_FORMATS[audio["codec_name"]] if audio else "",
                 video["width"], video["height"])
