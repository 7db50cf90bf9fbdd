"""The example program, and the README's copy of it."""
import re
import subprocess
import sys
from pathlib import Path

from conftest import probe, stream

EXAMPLE = Path(__file__).resolve().parents[1] / "examples" / "animated_tone.py"
README = Path(__file__).resolve().parents[2] / "README.md"


def test_example_writes_a_picture_with_a_tone(tmp_path):
    out = tmp_path / "animated.mp4"
    subprocess.run([sys.executable, str(EXAMPLE), str(out), "1"], check=True, capture_output=True, timeout=120)
    info = probe(out)
    video, audio = stream(info, "video"), stream(info, "audio")
    assert (video["width"], video["height"], int(video["nb_read_frames"])) == (640, 360, 30)
    assert audio["codec_name"] == "aac" and audio["channels"] == 2


def test_readme_shows_the_example_as_it_is():
    section = README.read_text().split("\n## Python\n", 1)[1].split("\n## ", 1)[0]
    assert EXAMPLE.read_text() in re.findall(r"```python\n(.*?)```", section, re.S)
