"""Writes an animated picture with a 440 Hz tone: animated_tone.py [OUT.mp4] [SECONDS]"""
import sys

import numpy as np

import quevarra

out = sys.argv[1] if len(sys.argv) > 1 else "animated.mp4"
seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 5.0
width, height, fps, rate = 640, 360, 30, 48000

y, x = np.mgrid[0:height, 0:width]
with quevarra.MediaFile(out, width=width, height=height, fps=fps, sample_rate=rate, channels=2) as f:
    for i in range(int(seconds * fps)):
        t = i / fps
        frame = np.empty((height, width, 3), np.uint8)  # rows of R, G, B pixels
        frame[..., 0] = (x + 200 * t) % 256
        frame[..., 1] = y * 255 // height
        frame[..., 2] = 128 + 127 * np.sin(2 * np.pi * t)
        cx, cy = width / 2 + 200 * np.cos(t), height / 2 + 100 * np.sin(2 * t)
        frame[(x - cx) ** 2 + (y - cy) ** 2 < 40 ** 2] = 255  # a white disc
        f.write_video(frame, t)

        # This frame's share of the tone, the same on both channels.
        first, end = round(t * rate), round((i + 1) / fps * rate)
        tone = (8000 * np.sin(2 * np.pi * 440 * np.arange(first, end) / rate)).astype(np.int16)
        f.write_audio(np.column_stack([tone, tone]), first / rate)
    print(f.stats)
print("wrote", out)
