"""Shared helpers: reading back what was written, with ffprobe/ffmpeg or directly (Y4M)."""
import json
import os
import subprocess

import numpy as np
import pytest

import quevarra

# The sanitizer build preloads its runtime into the interpreter; the FFmpeg
# tools we run to check files are not built with it.
TOOL_ENV = {k: v for k, v in os.environ.items() if k != "LD_PRELOAD"}


def probe(path):
    """ffprobe's view of a file: {'format': ..., 'streams': [...]}, frames counted."""
    out = subprocess.run(
        ["ffprobe", "-v", "error", "-count_frames", "-show_format", "-show_streams", "-of", "json", str(path)],
        check=True, capture_output=True, env=TOOL_ENV).stdout
    return json.loads(out)


def stream(info, kind):
    """The one stream of a kind ('video' or 'audio'), or None."""
    found = [s for s in info["streams"] if s["codec_type"] == kind]
    assert len(found) <= 1
    return found[0] if found else None


def decode_rgb(path, width, height):
    """Every picture of the file's video as RGB, shape (frames, height, width, 3)."""
    raw = subprocess.run(
        ["ffmpeg", "-v", "error", "-i", str(path), "-f", "rawvideo", "-pix_fmt", "rgb24", "-"],
        check=True, capture_output=True, env=TOOL_ENV).stdout
    return np.frombuffer(raw, np.uint8).reshape(-1, height, width, 3)


def decode_pcm(path, rate, channels):
    """The file's audio as int16, shape (n, channels)."""
    raw = subprocess.run(
        ["ffmpeg", "-v", "error", "-i", str(path), "-f", "s16le", "-ar", str(rate), "-ac", str(channels), "-"],
        check=True, capture_output=True, env=TOOL_ENV).stdout
    return np.frombuffer(raw, np.int16).reshape(-1, channels)


def read_y4m(path):
    """Frames of a YUV4MPEG2 4:2:0 file as (Y, U, V) tuples of 2-D arrays, and the header's tags."""
    data = open(path, "rb").read()
    header, _, rest = data.partition(b"\n")
    tags = {t[:1].decode(): t[1:].decode() for t in header.split()[1:]}
    w, h = int(tags["W"]), int(tags["H"])
    cw, ch = (w + 1) // 2, (h + 1) // 2
    size = w * h + 2 * cw * ch
    frames = []
    while rest:
        assert rest.startswith(b"FRAME\n")
        body = np.frombuffer(rest[6:6 + size], np.uint8)
        frames.append((body[:w * h].reshape(h, w),
                       body[w * h:w * h + cw * ch].reshape(ch, cw),
                       body[w * h + cw * ch:].reshape(ch, cw)))
        rest = rest[6 + size:]
    return frames, tags


def solid(height, width, rgb, channels=3):
    """A picture of one colour; rgb is given in R, G, B order and stored as such."""
    frame = np.zeros((height, width, channels), np.uint8)
    frame[..., :3] = rgb
    if channels == 4:
        frame[..., 3] = 255
    return frame


@pytest.fixture(autouse=True)
def no_log_handler():
    """Every test starts and ends with the library's default log destination."""
    quevarra.set_log_handler(None)
    yield
    quevarra.set_log_handler(None)
