"""Video: containers and codecs, pixel formats and strides, sizes, resizing and pacing."""
import numpy as np
import pytest

import quevarra
from conftest import decode_rgb, probe, read_y4m, solid, stream

RED, GREEN, BLUE, WHITE = (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 255)
# The library's BT.601 studio-range values (its fast converters floor).
YUV_WHITE, YUV_RED = (235, 128, 128), (81, 90, 239)


def in_layout(rgb_picture, pixel_format):
    """An R, G, B picture rearranged into a packed pixel format."""
    order = {"rgb24": [0, 1, 2], "bgr24": [2, 1, 0], "rgba": [0, 1, 2, 3], "bgra": [2, 1, 0, 3]}[pixel_format]
    rgba = np.concatenate([rgb_picture, np.full(rgb_picture.shape[:2] + (1,), 255, np.uint8)], axis=2)
    return np.ascontiguousarray(rgba[..., order])


@pytest.mark.parametrize("name, options, video, audio", [
    ("defaults.mp4", {}, "mpeg4", "aac"),
    ("x.mkv", dict(video_codec="libx264", audio_codec="FLAC"), "h264", "flac"),
    ("x.webm", {}, "vp9", "opus"),
    ("x.mov", dict(video_codec="mjpeg", audio_codec="ac3"), "mjpeg", "ac3"),
    ("x.avi", dict(video_codec="H264", audio_codec="mp3"), "h264", "mp3"),
    ("frag.mp4", dict(format="fmp4", video_codec="hevc"), "hevc", "aac"),
    ("x.data", dict(format="matroska", video_codec="av1", audio_codec="opus"), "av1", "opus"),
    ("x.m4a", {}, None, "aac"),
    ("x.wav", {}, None, "pcm_s16le"),
    ("x.y4m", {}, "rawvideo", None),
])
def test_containers_and_codecs(tmp_path, name, options, video, audio):
    path = tmp_path / name
    # 64x64: some encoders revise smaller pictures upwards.
    with quevarra.MediaFile(path, width=64, height=64, fps=25, sample_rate=48000, **options) as f:
        for i in range(10):
            if video:
                f.write_video(solid(64, 64, (20 * i, 100, 200)), i / 25)
            if audio:
                f.write_audio(np.zeros((1920, 2), np.int16), i / 25)
    info = probe(path)
    v, a = stream(info, "video"), stream(info, "audio")
    assert (v and v["codec_name"]) == video
    assert (a and a["codec_name"]) == audio
    if video:
        assert (v["width"], v["height"]) == (64, 64)
        assert int(v["nb_read_frames"]) == 10
    if audio:
        # Lossy codecs add their priming and padding.
        assert abs(float(a.get("duration") or info["format"]["duration"]) - 0.4) < 0.12


@pytest.mark.parametrize("pixel_format", ["rgb24", "bgr24", "rgba", "bgra"])
def test_colours_survive_a_real_codec(tmp_path, pixel_format):
    # Quadrants catch swapped components as well as flipped rows or columns.
    picture = np.zeros((48, 64, 3), np.uint8)
    picture[:24, :32], picture[:24, 32:], picture[24:, :32], picture[24:, 32:] = RED, GREEN, BLUE, WHITE
    path = tmp_path / "colours.mp4"
    with quevarra.MediaFile(path, width=64, height=48, video_codec="h264", audio=False,
                            pixel_format=pixel_format) as f:
        for i in range(3):
            f.write_video(in_layout(picture, pixel_format), i / 24)
    decoded = decode_rgb(path, 64, 48)[-1].astype(int)
    for (y, x), rgb in {(12, 16): RED, (12, 48): GREEN, (36, 16): BLUE, (36, 48): WHITE}.items():
        assert np.abs(decoded[y - 4:y + 4, x - 4:x + 4] - rgb).max() <= 12, (pixel_format, rgb)


@pytest.mark.parametrize("pixel_format", ["rgb24", "bgr24", "rgba", "bgra"])
@pytest.mark.parametrize("rows", ["padded", "reversed"])
def test_rgb_strides_and_odd_sizes_convert_exactly(tmp_path, pixel_format, rows):
    # 7x5: odd both ways, so the bottom-right pixel has a chroma sample of its own.
    picture = solid(5, 7, WHITE)
    picture[-1, -1] = RED
    packed = in_layout(picture, pixel_format)
    if rows == "padded":
        wide = np.zeros((5, 16, packed.shape[2]), np.uint8)
        wide[:, :7] = packed
        frame = wide[:, :7]
    else:
        frame = np.flipud(np.ascontiguousarray(np.flipud(packed)))
    assert not frame.flags.c_contiguous
    path = tmp_path / "odd.y4m"
    with quevarra.MediaFile(path, width=7, height=5, pixel_format=pixel_format) as f:
        f.write_video(frame, 0)
    (y, u, v), = read_y4m(path)[0]
    expected_y = np.full((5, 7), YUV_WHITE[0])
    expected_y[-1, -1] = YUV_RED[0]
    np.testing.assert_array_equal(y, expected_y)
    for plane, white, red in ((u, YUV_WHITE[1], YUV_RED[1]), (v, YUV_WHITE[2], YUV_RED[2])):
        expected = np.full((3, 4), white)
        expected[-1, -1] = red
        np.testing.assert_array_equal(plane, expected)


def test_yuv420p_planes_with_padded_and_reversed_rows(tmp_path):
    rng = np.random.default_rng(1)
    y = rng.integers(16, 236, (6, 10), np.uint8)
    u = rng.integers(16, 241, (3, 5), np.uint8)
    v = rng.integers(16, 241, (3, 5), np.uint8)
    padded_y = np.zeros((6, 32), np.uint8)
    padded_y[:, :10] = y
    reversed_u = np.flipud(np.ascontiguousarray(np.flipud(u)))
    path = tmp_path / "planes.y4m"
    with quevarra.MediaFile(path, width=10, height=6, pixel_format="yuv420p") as f:
        f.write_video((padded_y[:, :10], reversed_u, v.tobytes()), 0)
        f.write_video([y, u, v], 1 / 24)
    frames, tags = read_y4m(path)
    assert len(frames) == 2
    for planes in frames:
        for got, want in zip(planes, (y, u, v)):
            np.testing.assert_array_equal(got, want)


def test_input_size_follows_the_output_and_the_library_default(tmp_path):
    # Output size only: the input is the same size.
    with quevarra.MediaFile(tmp_path / "a.y4m", width=64, height=48) as f:
        with pytest.raises(ValueError, match=r"expected shape \(48, 64, 3\).*got \(240, 320, 3\)"):
            f.write_video(np.zeros((240, 320, 3), np.uint8), 0)
        f.write_video(np.zeros((48, 64, 3), np.uint8), 0)
    # Neither: the library's default size for both.
    with quevarra.MediaFile(tmp_path / "b.y4m") as f:
        f.write_video(np.zeros((240, 320, 3), np.uint8), 0)
    # Input size only: the output is the same size.
    with quevarra.MediaFile(tmp_path / "c.y4m", input_width=30, input_height=20) as f:
        f.write_video(np.zeros((20, 30, 3), np.uint8), 0)
    for name, size in (("a", ("64", "48")), ("b", ("320", "240")), ("c", ("30", "20"))):
        _, tags = read_y4m(tmp_path / f"{name}.y4m")
        assert (tags["W"], tags["H"]) == size
    with pytest.raises(ValueError, match="width and height go together"):
        quevarra.MediaFile(tmp_path / "d.y4m", width=64)


def leading_black_columns(luma_row):
    return int(np.argmax(luma_row > 100))


@pytest.mark.parametrize("resize, bar", [("stretch", {0}), ("crop", {0}), ("keep", {16}), ("4:3", {10, 11}),
                                         ("16:9", {3, 4})])
def test_resize_modes(tmp_path, resize, bar):
    # A square picture into a 2:1 frame; its top quarter is red.
    picture = solid(32, 32, WHITE)
    picture[:8] = RED
    path = tmp_path / "resized.y4m"
    with quevarra.MediaFile(path, width=64, height=32, input_width=32, input_height=32, resize=resize,
                            interpolation="nearest") as f:
        f.write_video(picture, 0)
    (y, _, _), = read_y4m(path)[0]
    assert leading_black_columns(y[24]) in bar
    # Cropping to 2:1 keeps the middle rows of the square: the red quarter is cut off.
    assert (y[0, 32] == YUV_RED[0]) == (resize != "crop")


def test_interpolation(tmp_path):
    checker = np.kron([[0, 1], [1, 0]], np.ones((2, 2), int)).astype(np.uint8)
    picture = np.repeat(checker[:, :, None] * 255, 3, axis=2)
    levels = {}
    for interpolation in ("nearest", "bilinear"):
        path = tmp_path / f"{interpolation}.y4m"
        with quevarra.MediaFile(path, width=16, height=16, input_width=4, input_height=4, resize="stretch",
                                interpolation=interpolation) as f:
            f.write_video(picture, 0)
        levels[interpolation] = set(np.unique(read_y4m(path)[0][0][0]))
    assert levels["nearest"] == {16, 235}
    assert len(levels["bilinear"]) > 2


def grey_luma(level):
    """Y of an R = G = B pixel in the library's fast BT.601 form."""
    return ((4211 + 8258 + 1606) * level >> 14) + 16


def test_variable_rate_times_are_paced_onto_the_output_rate(tmp_path):
    path = tmp_path / "paced.y4m"
    times = [0, 0.12, 0.13, 0.36, 0.41, 0.93]
    greys = [0, 200, 60, 120, 250, 30]
    with quevarra.MediaFile(path, width=8, height=8, fps=10) as f:
        results = [f.write_video(solid(8, 8, (g, g, g)), t) for g, t in zip(greys, times)]
        stats = f.stats
    # At 10 fps a frame fills the slots from its time, rounded, on: the third
    # and fifth land in slots already filled and are dropped, gaps repeat.
    shown = [int(planes[0][0, 0]) for planes in read_y4m(path)[0]]
    assert shown == [grey_luma(greys[i]) for i in (0, 1, 3, 3, 3, 5, 5, 5, 5, 5)]
    assert [r > 0 for r in results] == [True, True, False, True, False, True]
    assert stats["video_frames_in"] == 6 and stats["video_frames_out"] == 10
    assert stats["video_frames_repeated"] == 6 and stats["video_frames_dropped"] == 2
    assert stats["video_time"] == pytest.approx(1.0)
    assert int(stream(probe(path), "video")["nb_read_frames"]) == 10


@pytest.mark.parametrize("frame, error, message", [
    (np.zeros((48, 64, 4), np.uint8), ValueError, r"expected shape \(48, 64, 3\).*got \(48, 64, 4\)"),
    (np.zeros((64, 48, 3), np.uint8), ValueError, r"expected shape \(48, 64, 3\)"),
    (np.zeros((48, 64, 3), np.float32), TypeError, "expected uint8 data, got float32"),
    (np.zeros((48, 128, 3), np.uint8)[:, ::2], ValueError, "pixels of a row must be contiguous"),
    (bytes(48 * 64 * 3 - 1), ValueError, "expected shape"),
    ([[0] * 3] * 64, TypeError, "expected a uint8 array of shape \\(48, 64, 3\\), got list"),
])
def test_bad_frames_name_what_was_expected_and_write_nothing(tmp_path, frame, error, message):
    with quevarra.MediaFile(tmp_path / "x.y4m", width=64, height=48) as f:
        with pytest.raises(error, match=message):
            f.write_video(frame, 0)
        assert f.stats["video_frames_in"] == 0
        f.write_video(bytes(48 * 64 * 3), 0)  # a flat buffer of the whole picture is fine


def test_bad_planes_and_times(tmp_path):
    with quevarra.MediaFile(tmp_path / "x.y4m", width=8, height=6, pixel_format="yuv420p") as f:
        y, uv = np.zeros((6, 8), np.uint8), np.zeros((3, 4), np.uint8)
        with pytest.raises(TypeError, match="tuple of three planes"):
            f.write_video(y, 0)
        with pytest.raises(ValueError, match=r"V plane: expected shape \(3, 4\), got \(6, 8\)"):
            f.write_video((y, uv, y), 0)
        with pytest.raises(ValueError, match="three planes"):
            f.write_video((y, uv), 0)
        with pytest.raises(ValueError, match="time: expected a finite number"):
            f.write_video((y, uv, uv), float("nan"))
        assert f.stats["video_frames_in"] == 0
