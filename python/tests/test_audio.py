"""Audio: layouts, holes and overlaps against the time stamps, resampling."""
import wave

import numpy as np
import pytest

import quevarra
from conftest import decode_pcm


def read_wav(path):
    with wave.open(str(path)) as w:
        pcm = np.frombuffer(w.readframes(w.getnframes()), np.int16)
        return pcm.reshape(-1, w.getnchannels()), w.getframerate()


def test_a_hole_is_filled_with_the_last_sample_and_an_overlap_is_cut(tmp_path):
    # Audio is placed by its times in files with video (audio-only files keep
    # blocks as they come); FLAC keeps the samples exact.
    path = tmp_path / "holes.mkv"
    with quevarra.MediaFile(path, width=16, height=16, video_codec="mjpeg", audio_codec="flac", sample_rate=8000,
                            channels=1) as f:
        f.write_video(np.zeros((16, 16, 3), np.uint8), 0)
        f.write_audio(np.full(800, 1000, np.int16), 0.0)   # 0.0 .. 0.1 s
        f.write_audio(np.full(800, 2000, np.int16), 0.3)   # a hole of 0.2 s before it
        # Overlaps are rounded to whole samples: start these a little more
        # than half a sample before 0.3 s so that exactly 800 overlap.
        again = 0.3 - 0.6 / 8000
        f.write_audio(np.full(800, 3000, np.int16), again)   # wholly over audio written: dropped
        f.write_audio(np.full(1600, 4000, np.int16), again)  # its first half is over audio written
        stats = f.stats
    pcm = decode_pcm(path, 8000, 1)[:, 0]
    expected = np.concatenate([np.full(2400, 1000), np.full(800, 2000), np.full(800, 4000)])
    np.testing.assert_array_equal(pcm, expected)
    assert stats["audio_samples_in"] == 4000
    assert stats["audio_samples_filled"] == 1600
    assert stats["audio_samples_cut"] == 1600
    assert stats["audio_samples_out"] == 4000
    assert stats["audio_time"] == pytest.approx(0.5)


def test_layouts_give_the_same_samples(tmp_path):
    stereo = (np.arange(2000, dtype=np.int16).reshape(1000, 2) * 7)
    wide = np.zeros((1000, 5), np.int16)
    wide[:, 1:5:2] = stereo  # channels two apart, frames five apart
    inputs = {
        "array": stereo,
        "strided": wide[:, 1:5:2],
        "bytes": stereo.tobytes(),
        "bytearray": bytearray(stereo.tobytes()),
        "memoryview": memoryview(stereo),
        "unaligned": np.frombuffer(b"\0" + stereo.tobytes(), np.int16, offset=1).reshape(1000, 2),
    }
    for name, samples in inputs.items():
        with quevarra.MediaFile(tmp_path / f"{name}.wav", sample_rate=8000, channels=2) as f:
            f.write_audio(samples, 0)
        np.testing.assert_array_equal(read_wav(tmp_path / f"{name}.wav")[0], stereo, err_msg=name)


def test_mono_takes_flat_and_column_arrays(tmp_path):
    mono = np.arange(-500, 500, dtype=np.int16)
    with quevarra.MediaFile(tmp_path / "mono.wav", sample_rate=8000, channels=1) as f:
        f.write_audio(mono, 0)
        f.write_audio(mono.reshape(-1, 1), len(mono) / 8000)
    np.testing.assert_array_equal(read_wav(tmp_path / "mono.wav")[0][:, 0], np.concatenate([mono, mono]))


def test_resampling_and_channel_mapping(tmp_path):
    path = tmp_path / "up.wav"
    with quevarra.MediaFile(path, sample_rate=44100, channels=2, input_sample_rate=22050, input_channels=1) as f:
        f.write_audio(np.full(22050, 1234, np.int16), 0)
        stats = f.stats
    pcm, rate = read_wav(path)
    assert rate == 44100 and pcm.shape[1] == 2
    assert abs(len(pcm) - 44100) <= 2
    assert np.all(pcm[10:-10] == 1234)
    assert stats["audio_samples_in"] == 22050
    assert abs(stats["audio_samples_out"] - 44100) <= 2


@pytest.mark.parametrize("samples, error, message", [
    (np.zeros((100, 3), np.int16), ValueError, r"expected shape \(n, 2\) for 2 channels, got \(100, 3\)"),
    (np.zeros(100, np.int16), ValueError, r"expected shape \(n, 2\)"),
    (np.zeros((100, 2), np.float32), TypeError, "expected int16 data, got float32"),
    (np.zeros((100, 2), np.int32), TypeError, "expected int16 data, got int32"),
    (bytes(6), ValueError, "6 bytes are not whole frames of 2 16-bit samples"),
    (None, TypeError, "expected an int16 array"),
])
def test_bad_samples_name_what_was_expected_and_write_nothing(tmp_path, samples, error, message):
    with quevarra.MediaFile(tmp_path / "x.wav", channels=2) as f:
        with pytest.raises(error, match=message):
            f.write_audio(samples, 0)
        assert f.stats["audio_samples_in"] == 0
        assert f.write_audio(np.zeros((0, 2), np.int16), 0) == 0
