#!/usr/bin/env python3
"""Writes the seed inputs of every fuzz target into fuzz/corpus/<target>/.

Each seed is a short, valid call sequence in the byte order that the target
decodes (see the comment at the top of each fuzz/<target>_fuzz.cpp); the
fuzzer mutates from there. Run again after changing a target's decoding."""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def u8(*v): return bytes(v)
def u16(v): return struct.pack('<H', v & 0xFFFF)
def u32(v): return struct.pack('<I', v & 0xFFFFFFFF)
def i64(v): return struct.pack('<q', v)


def write(target, name, data):
    os.makedirs(os.path.join(HERE, target), exist_ok=True)
    with open(os.path.join(HERE, target, name), 'wb') as f:
        f.write(data)


# utf: conversion, mode (bit 0 lenient, bit 1 capacity near the full size), capacity, source.
write('utf', 'utf8_every_length', u8(0, 0, 64) + 'A\u0080\u0800\U00010000\U0010FFFF'.encode())
write('utf', 'utf8_encoded_surrogate', u8(1, 1, 16) + b'\xed\xa0\x80x\xf4\x90\x80\x80')
write('utf', 'utf16_lone_high_last', u8(2, 2, 4) + struct.pack('<3H', 0x41, 0xDC00, 0xD800))
write('utf', 'utf32_beyond_unicode', u8(3, 3, 7) + struct.pack('<3I', 0x41, 0x110000, 0xD800))
write('utf', 'utf8toW_short_capacity', u8(4, 0, 3) + b'abc\x00def')
write('utf', 'wtoutf8_terminated', u8(5, 2, 4) + struct.pack('<4I', 0xE9, 0x4E2D, 0, 0x1F600))

# audio_converter: in/out channels, in/out rates (index into 8000 ... 192000),
# capacity, remainder; then operations: 0/1 Put (count, samples), 2 Get (count),
# 3 Reset, 4 ConvertData (count, samples).
def put(samples): return u8(0) + u16(len(samples)) + struct.pack('<%dh' % len(samples), *samples)
def get(n): return u8(2) + u16(n)
write('audio_converter', 'mono_22050_to_44100', u8(0, 0, 3, 5, 16) + u16(0) + put([100, 200, 300, 400]) + get(8))
write('audio_converter', 'mono_44100_to_22050', u8(0, 0, 5, 3, 16) + u16(0) + put([10, 20, 30, 40, 50]) + get(3)
      + put([60, 70, 80, 90, 100]) + get(100))
write('audio_converter', 'stereo_to_mono_odd_count', u8(1, 0, 5, 6, 2) + u16(64) + put([1, 1, -3, -4, 3]) + get(1) + u8(3)
      + put([-32768, 32767] * 20) + get(65535))
write('audio_converter', 'mono_to_stereo_grows', u8(0, 1, 0, 9, 0) + u16(0) + put(list(range(0, 450, 3))) + get(500)
      + u8(4) + u16(6) + struct.pack('<6h', 1, 2, 3, 4, 5, 6))
write('audio_converter', 'equal_formats_default_capacity', u8(1, 1, 5, 5, 250) + u16(0xFFC0) + put([5, -7, 9, 11]) + get(2) + get(2))

# mediafile: noise seed, plugin behaviour, revisions (255: none), lists, codes,
# container (0 frame-count, 1 time-stamp, 2 COPY), output side x2, rate,
# methods, output rate, output channels, flags; video info (present, w, h, fps,
# aspect); audio info (present, rate, channels, bits); then operations.
def header(container, ow, oh, rate, methods, orate, och, vw, vh, vfps, aspect, irate, ich, lists=0, codes=0):
    return (u32(7) + u16(0) + u8(255, 255, lists, codes, container, ow - 1, oh - 1, rate, methods, orate, och, 0)
            + u8(0, vw - 1, vh - 1, vfps, aspect) + u8(0, irate, ich, 0))
def video(layout, step, choices=(0, 0, 0), stamp=0):
    return u8(1, layout) + u8(*choices) + u8(0) + u16(step) + u8(stamp)
def video_at(kind, layout=0):  # kind 6: INT64 extreme, 5: backwards
    return u8(1, layout, 0, 0, 0, kind) + u16(2000) + u8(0)
def audio(nbytes, step, kind=0):
    return u8(0) + u16(nbytes) + u8(kind) + u16(step)
write('mediafile', 'resize_and_convert', header(0, 32, 24, 0, 1, 0, 1, 64, 48, 0, 0, 2, 0)
      + video(0, 12500) + audio(1764, 12500) + video(0x07, 12500, (3, 9, 15)) + audio(1763, 12500) + audio(200, 40000)
      + video(0, 0))
write('mediafile', 'timestamp_negative_pitches', header(1, 40, 30, 2, 0, 1, 1, 40, 30, 1, 200, 1, 1)
      + video(0x05, 6250) + video_at(5, 0x02) + video_at(6) + audio(4000, 1000) + audio(16, 0, 5) + video(0, 12500))
write('mediafile', 'copy_with_null_plane', header(2, 16, 16, 0, 0, 0, 1, 33, 17, 0, 0, 0, 1)
      + video(0x81, 12500) + video(0, 12500, (0xF0, 0, 0)) + audio(7, 12500))
write('mediafile', 'audio_holes_and_overlaps', header(0, 8, 8, 0, 23, 0, 1, 9, 7, 3, 255, 0, 1, lists=2)
      + audio(4096, 30000) + audio(999, 0, 5) + audio(17, 60000) + audio(4096, 0, 6) + video(0, 12500))

# resize: function (0 ImageResize, 1 ImageResize8, 2 Y, 3 UV, 4 alpha, 5 mask,
# 6 mask nearest, 7 Y simulate, 8 YV12), interpolation, CPU target, noise seed,
# then the descriptors: cx-1, cy-1, x, y, shape, pitch slack, fields.
def desc(cx, cy, x, y, shape=0, slack=0, fields=3):
    return u8(cx - 1, cy - 1, x, y, shape, slack, fields)
for which, method in [(0, 0), (0, 3), (1, 1), (1, 2), (2, 0), (3, 1), (4, 0), (5, 0), (6, 1), (7, 0)]:
    write('resize', 'fn%d_method%d' % (which, method), u8(which, method, which) + u32(which)
          + desc(16, 12, 1, 2, 0x21, 3, 0x0F) + desc(23, 17, 3, 1, 0x02, 5, 0x0B))
write('resize', 'yv12_negative_pitches', u8(8, 2, 0) + u32(8) + desc(15, 9, 1, 1, 0x20, 2) + desc(20, 14, 2, 3, 0x01, 1)
      + u8(0x81, 3, 0x80, 5))
write('resize', 'refused_short_pitch', u8(2, 1, 1) + u32(9) + desc(10, 10, 0, 0, 0, 250) + desc(12, 12, 0, 0))

# color: converter (0-3 YUV->RGB, 4-9 RGB->YUV, 10-12 packed, 13-15 planar
# rectangles, 16 xTraceImage, 17 per-pixel), noise seed, then its sizes,
# positions and pitches.
write('color', 'yuv_to_rgb24_odd', u8(0) + u32(1) + u8(6, 4, 0, 3, 0x81, 2))  # 7x5
write('color', 'yuv_to_argb', u8(2) + u32(2) + u8(8, 8, 0, 0, 0, 0))
write('color', 'rgb32_to_yuv_odd_width', u8(4) + u32(3) + u8(4, 5, 0, 0, 1, 0x81, 2, 3))
write('color', 'rgb32_ex_bottom_up', u8(8) + u32(4) + u8(9, 3, 0, 1, 0x83, 1, 0x80, 0, 0))
write('color', 'rgb24_to_yuy2_odd_x', u8(10) + u32(5) + u8(4, 3, 2, 1, 3, 0, 1, 0, 1, 2, 0, 4))
write('color', 'yuy2_blt_swap', u8(12) + u32(6) + u8(6, 2, 0, 0, 2, 1, 1, 0, 0, 3, 0, 2))
write('color', 'yv12_blt_odd', u8(15) + u32(7) + u8(6, 4, 1, 2, 3, 1, 0, 1, 2, 3, 4, 0x85, 6))
write('color', 'yuy2_to_rgb24', u8(11) + u32(10) + u8(6, 3, 3, 0, 2, 1, 0, 0, 1, 2, 0, 3))
write('color', 'yuy2_to_yuv420_odd', u8(13) + u32(11) + u8(6, 4, 2, 1, 3, 1, 1, 0, 3, 0, 1, 2, 3))
write('color', 'yuv420_to_uyvy', u8(14) + u32(12) + u8(7, 5, 1, 1, 2, 2, 0, 1, 2, 3, 4, 0, 2))
write('color', 'trace_after_header', u8(16) + u32(8) + u8(5, 3, 1))
write('color', 'pixels_extreme', u8(17) + u32(9) + u32(0x7FFFFFFF) + u32(0x80000000) + u32(255))

# plugin_scan: flags, depth and its directory lengths, entry count, entries
# (kind: 0 bytes, 1 empty, 2 ELF magic, 3 directory, 4 symlink, 5 plugin copy,
# 6 plugin link; then the name), the records of four plugins (encoders: code,
# type, two texts; muxers: code, three texts, audio and video lists, flags),
# the number of initialisations.
def name(stem, prefix=0, suffix=0):
    """prefix 0: plx, 3: PLX, 4: none; suffix 0: .dylib, 3: .DYLIB, 4: .dylib.bak"""
    assert len(stem) < 12
    return u8(len(stem), prefix + 6 * suffix) + stem
def modes(*codes):
    return u8(len(codes) + 1 if codes else 0) + u8(*codes) if codes else u8(0)
def plugin(encoders, muxers):
    out = u8(len(encoders))
    for code, typ in encoders:
        out += u8(code, typ, 1, 2)
    out += u8(len(muxers))
    for code, audio, video in muxers:
        out += u8(code, 3, 4, 5) + audio + video + u8(0)
    return out
none = plugin([], [])
write('plugin_scan', 'empty_directory', u8(0, 0, 0) + none * 4 + u8(1))
write('plugin_scan', 'plugin_copy_publishes', u8(0, 0, 3) + u8(5) + name(b'a') + u8(6) + name(b'b')
      + u8(5) + name(b'capital', 3)
      + plugin([(0, 1), (2, 0)], [(4, modes(2, 3), modes(0)), (5, u8(0), modes(1))])
      + plugin([(1, 1)], [(4, modes(1), u8(0))]) + none * 2 + u8(2))
write('plugin_scan', 'junk_entries', u8(0x80, 0, 7) + u8(0, 4) + b'zzzz' + name(b'junk') + u8(1) + name(b'empty')
      + u8(2, 8) + b'\x02\x01\x01' + name(b'elf') + u8(3) + name(b'dir') + u8(4) + name(b'ln')
      + u8(0x84) + name(b'self') + u8(1) + name(b'notplugin', 4, 4) + none * 4 + u8(1))
write('plugin_scan', 'deep_path', u8(0, 3, 149, 149, 149, 2) + u8(5) + u8(250, 0) + b'p' * 226 + u8(1) + name(b'')
      + plugin([(0, 1)], [(4, u8(0), modes(0))]) + none * 3 + u8(0))
