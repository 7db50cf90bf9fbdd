"""The module as a whole: version, formats, the log handler, errors, closing and threads."""
import gc
import os
import re
import subprocess
import sys
import textwrap
import threading

import numpy as np
import pytest

import quevarra
from conftest import probe, stream


def write_frames(f, count, start=0):
    for i in range(start, start + count):
        f.write_video(np.full((48, 64, 3), 8 * i, np.uint8), i / 25)


def frames_in(path):
    return int(stream(probe(path), "video")["nb_read_frames"])


def test_version_and_formats():
    assert re.fullmatch(r"\d+\.\d+\.\d+", quevarra.__version__)
    formats = {f["fourcc"]: f for f in quevarra.formats()}
    assert formats["MP4 "]["extension"] == "mp4"
    assert "H264" in formats["MP4 "]["video_codecs"] and "AAC " in formats["MP4 "]["audio_codecs"]
    assert formats["WAV "]["video_codecs"] == [] and formats["WAV "]["audio_codecs"] == ["PCM "]
    for f in formats.values():
        assert len(f["fourcc"]) == 4 and f["description"]
        assert all(len(c) == 4 for c in f["video_codecs"] + f["audio_codecs"])


def test_log_handler_gets_messages_and_survives_its_own_exceptions(tmp_path, monkeypatch):
    messages, unraisable = [], []
    monkeypatch.setattr(sys, "unraisablehook", unraisable.append)
    quevarra.set_log_handler(messages.append)
    with quevarra.MediaFile(tmp_path / "a.mp4", width=64, height=48):
        pass
    assert any(str(tmp_path / "a.mp4") in m for m in messages)
    assert not any(m.endswith(("\r", "\n")) for m in messages)

    def failing(message):
        raise RuntimeError("handler failed")
    quevarra.set_log_handler(failing)
    with quevarra.MediaFile(tmp_path / "b.mp4", width=64, height=48) as f:
        write_frames(f, 3)
    assert unraisable and isinstance(unraisable[0].exc_value, RuntimeError)
    assert frames_in(tmp_path / "b.mp4") == 3

    # A handler may replace itself while the library logs on its thread.
    quevarra.set_log_handler(lambda message: quevarra.set_log_handler(messages.append))
    count = len(messages)
    with quevarra.MediaFile(tmp_path / "d.mp4", width=64, height=48):
        pass
    assert len(messages) > count

    quevarra.set_log_handler(None)
    count = len(messages)
    with quevarra.MediaFile(tmp_path / "c.mp4", width=64, height=48):
        pass
    assert len(messages) == count
    with pytest.raises(TypeError, match="callable or None"):
        quevarra.set_log_handler(42)


def test_creation_failure_carries_the_log_lines_and_the_handler_still_gets_them(tmp_path):
    messages = []
    quevarra.set_log_handler(messages.append)
    missing = tmp_path / "no such dir" / "x.mp4"
    with pytest.raises(quevarra.Error, match="cannot create") as failure:
        quevarra.MediaFile(missing, width=64, height=48)
    assert "No such file or directory" in str(failure.value)
    assert any("No such file or directory" in m for m in messages)
    assert isinstance(failure.value, Exception) and not isinstance(failure.value, ValueError)


def test_close_failures_raise_with_what_the_plugin_said(tmp_path):
    full = quevarra.MediaFile("/dev/full", format="mkv", width=64, height=48, video_codec="h264", audio=False)
    write_frames(full, 30)
    with pytest.raises(quevarra.Error, match="(?s)cannot finish '/dev/full'.*No space left"):
        full.close()
    assert full.closed
    gone = quevarra.MediaFile(tmp_path / "gone.mkv", width=64, height=48)
    os.remove(tmp_path / "gone.mkv")
    with pytest.raises(quevarra.Error, match="not there after closing"):
        gone.close()


def test_close_progress_use_after_close_and_stats_afterwards(tmp_path):
    path = tmp_path / "p.mp4"
    calls = []
    f = quevarra.MediaFile(path, width=64, height=48, video_codec="h264")
    write_frames(f, 5)
    f.close(progress=lambda *a: calls.append(a))
    assert calls[-1] == (1, 1, 3)
    assert f.closed and "closed" in repr(f)
    f.close()  # again: nothing happens
    with pytest.raises(ValueError, match="closed file"):
        write_frames(f, 1)
    with pytest.raises(ValueError, match="closed file"):
        f.write_audio(np.zeros((10, 2), np.int16), 0)
    assert f.stats["video_frames_in"] == 5
    assert frames_in(path) == 5


def test_a_failing_progress_callback_is_raised_after_the_file_is_finished(tmp_path):
    path = tmp_path / "p.mkv"
    f = quevarra.MediaFile(path, width=64, height=48, video_codec="h264")
    write_frames(f, 5)
    # Writing from inside the file's own close would wait for itself.
    with pytest.raises(RuntimeError, match="from a callback of one of its own calls"):
        f.close(progress=lambda done, total, stage: write_frames(f, 1, 5))
    assert f.closed and frames_in(path) == 5


def test_context_manager_keeps_what_was_written_when_the_body_raises(tmp_path):
    path = tmp_path / "partial.mp4"
    with pytest.raises(KeyError):
        with quevarra.MediaFile(path, width=64, height=48) as f:
            write_frames(f, 7)
            raise KeyError("stop")
    assert f.closed and frames_in(path) == 7


def test_an_unclosed_file_is_closed_when_collected(tmp_path):
    path = tmp_path / "dropped.mp4"
    f = quevarra.MediaFile(path, width=64, height=48, video_codec="h264")
    write_frames(f, 6)
    with pytest.warns(ResourceWarning, match="unclosed"):
        del f
        gc.collect()
    assert frames_in(path) == 6


def test_files_left_open_at_exit_are_finished(tmp_path):
    # A file still open at interpreter exit, with a handler set and another
    # thread writing to a second file, is closed before the plugins go.
    # Before the handler is set, messages go where the library sends them.
    script = textwrap.dedent(f"""
        import threading, numpy as np, quevarra
        kept = quevarra.MediaFile({str(tmp_path / 'kept.mp4')!r}, width=64, height=48)
        quevarra.set_log_handler(lambda m: None)
        for i in range(9):
            kept.write_video(np.zeros((48, 64, 3), np.uint8), i / 25)
        other = quevarra.MediaFile({str(tmp_path / 'other.mkv')!r}, width=64, height=48, video_codec="h264")
        started = threading.Event()
        def spin():
            i = 0
            try:
                while True:
                    other.write_video(np.zeros((48, 64, 3), np.uint8), i / 25)
                    i += 1
                    if i == 5:
                        started.set()
            except ValueError:
                pass
        threading.Thread(target=spin, daemon=True).start()
        started.wait()
    """)
    log = tmp_path / "library.log"
    done = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=120,
                          env={**os.environ, "QUEVARRA_LOG": str(log)})
    assert done.returncode == 0 and not done.stderr, done.stderr
    assert frames_in(tmp_path / "kept.mp4") == 9
    assert frames_in(tmp_path / "other.mkv") >= 5
    said = log.read_text()
    assert "kept.mp4" in said and "other.mkv" not in said


def test_video_and_audio_from_two_threads(tmp_path):
    path = tmp_path / "threads.mkv"
    messages = []
    quevarra.set_log_handler(messages.append)
    with quevarra.MediaFile(path, width=64, height=48, fps=25, video_codec="h264", audio_codec="aac") as f:
        def video():
            write_frames(f, 50)

        def audio():
            for i in range(50):
                f.write_audio(np.full((1764, 2), 100, np.int16), i / 25)
        threads = [threading.Thread(target=video), threading.Thread(target=audio)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        stats = f.stats
    assert stats["video_frames_out"] == 50 and stats["audio_samples_out"] == 88200
    info = probe(path)
    assert frames_in(path) == 50
    assert abs(float(stream(info, "audio").get("duration") or info["format"]["duration"]) - 2.0) < 0.1
    assert messages  # the handler ran, from whichever thread logged


def test_bad_options(tmp_path):
    for options, message in [(dict(resize="fit"), "resize: expected 'stretch'"),
                             (dict(interpolation="cubic"), "interpolation: expected"),
                             (dict(pixel_format="nv12"), "pixel_format: expected"),
                             (dict(width=0, height=10), r"width: expected 1\.\.32767, got 0"),
                             (dict(fps=0), "fps: expected frames per second"),
                             (dict(channels=33), r"channels: expected 1\.\.32"),
                             (dict(format="avi", audio_codec="opus"), "does not take audio codec 'opus'"),
                             (dict(format="webm", video_codec="h264"), r"does not take video codec 'h264'.*'vp9'"),
                             (dict(video_codec="h246"), "did you mean 'h264'"),
                             (dict(format="mkvv"), "unknown container 'mkvv'")]:
        with pytest.raises(ValueError, match=message):
            quevarra.MediaFile(tmp_path / "x.mp4", **options)
    with pytest.raises(ValueError, match="cannot tell the container"):
        quevarra.MediaFile(tmp_path / "x.unknown")
    with pytest.raises(ValueError, match="has no video stream"):
        with quevarra.MediaFile(tmp_path / "x.mp4", video=False) as f:
            write_frames(f, 1)
    assert stream(probe(tmp_path / "x.mp4"), "video") is None
