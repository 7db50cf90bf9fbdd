// Every colour converter with fuzzed sizes (odd, 1, 0, negative), pitches of
// either sign with slack, rectangles and byte orders, and now and then a bad
// header or a null buffer. Each buffer is exactly the rows and bytes the
// converter's contract lets it touch: for instance the luma plane of an odd-width
// RGB->4:2:0 conversion holds column W, the packed rows of an odd-width YUY2
// rectangle hold the whole last macropixel.
//
// Input: byte 0 the converter, then its sizes, pitches and positions.
//
// Beyond memory safety it checks that a converter writes only what it may
// (no row padding, no fourth byte of rgb32, nothing when it refuses) and that
// the per-pixel forms stay in range for any input.
#include <stdint.h>
#include <string.h>

#include <vector>

#include <quevarra/qv_color.h>

#include "common/FuzzInput.h"
#include "common/Harness.h"

namespace {

using qvfuzz::Plane;

// The bytes [from, to) of stored rows [rowFrom, rowTo) of a plane.
struct Area {
    int rowFrom, rowTo;
    int64_t from, to;
};

// A plane over `area`: its rows and, in the last one, its bytes; a pitch of
// at least the area's row with fuzzed slack and sign. Filled with noise.
struct Buffer {
    Plane plane;
    std::vector<uint8_t> before;
    std::vector<bool> writable;
};

int Pitch(qvfuzz::Input& in, int64_t rowBytes, bool allowNegative = true) {
    const uint8_t v = in.U8();
    const int pitch = static_cast<int>(rowBytes) + v % 8;
    return allowNegative && (v & 0x80) ? -pitch : pitch;
}

void Make(Buffer& b, qvfuzz::Noise& noise, int rows, int pitch, int64_t lastRowBytes) {
    b.plane = Plane(rows, pitch, lastRowBytes);
    noise.Fill(b.plane.Base(), b.plane.Size());
    b.before.assign(b.plane.Base(), b.plane.Base() + b.plane.Size());
    b.writable.assign(b.plane.Size(), false);
}

void Allow(Buffer& b, const Area& a, int stride = 1, int width = 1) {
    for (int s = a.rowFrom; s < a.rowTo; ++s)
        for (int64_t c = a.from; c < a.to; ++c)
            if ((c - a.from) % stride < width) {
                const int64_t at = b.plane.Offset(s, c);
                if (at >= 0 && at < static_cast<int64_t>(b.writable.size())) b.writable[at] = true;
            }
}

void CheckWrites(const Buffer& b) {
    for (size_t i = 0; i < b.before.size(); ++i)
        if (!b.writable[i] && b.plane.Base()[i] != b.before[i])
            qvfuzz::Fail("color_fuzz: a converter wrote outside what it may write");
}

int Side(qvfuzz::Input& in) {
    const uint8_t v = in.U8();
    return v < 250 ? 1 + v % 64 : v - 252;  // 1..64, or -2..3
}

int Position(qvfuzz::Input& in) { return in.U8() % 16; }

// Planar 4:2:0 planes of a w x h picture; `lumaExtra` is the extra column that
// RGB->4:2:0 writes beside an odd width (0 when reading).
struct Yuv {
    Buffer y, u, v, a;
};

void MakeYuv(qvfuzz::Input& in, qvfuzz::Noise& noise, int w, int h, int lumaExtra, Yuv& p) {
    const int cw = (w + 1) / 2, ch = (h + 1) / 2;
    const int lumaRow = w + lumaExtra;
    // The odd-column pass writes column W in the rows it converts: every row
    // but an odd last one. The row last in memory is row 0 for a negative pitch.
    const int pitchY = Pitch(in, lumaRow);
    const int lastRow = pitchY < 0 ? 0 : h - 1;
    const int lastLuma = (h % 2 == 1 && lastRow == h - 1) ? w : lumaRow;
    Make(p.y, noise, h, pitchY, lastLuma);
    Make(p.a, noise, h, pitchY, lastLuma);
    Make(p.u, noise, ch, Pitch(in, cw), cw);
    Make(p.v, noise, ch, Pitch(in, cw), cw);
}

BITMAPINFOHEADER Header(qvfuzz::Input& in, int w, int h, int bits) {
    BITMAPINFOHEADER bmi{};
    bmi.biSize = sizeof bmi;
    bmi.biWidth = w;
    const uint8_t v = in.U8();
    bmi.biHeight = v == 255 ? -h : h;           // top-down headers are refused
    bmi.biBitCount = v == 254 ? 16 : bits;      // so are other depths
    bmi.biPlanes = 1;
    return bmi;
}

bool Converts(const BITMAPINFOHEADER& bmi, int bits) {
    return bmi.biBitCount == bits && bmi.biWidth > 0 && bmi.biHeight > 0;
}

int64_t Dib24Pitch(int w) { return ((int64_t{w} * 24 + 31) & ~int64_t{31}) / 8; }

// YUV -> RGB through the four header converters.
void ToRgb(qvfuzz::Input& in, qvfuzz::Noise& noise, int which) {
    const int w = Side(in), h = Side(in);
    if (w < 1 || h < 1) return;
    const int bits = which == 0 || which == 3 ? 24 : 32;
    const int bpp = bits / 8;
    BITMAPINFOHEADER bmi = Header(in, w, h, bits);
    Yuv src;
    MakeYuv(in, noise, w, h, 0, src);
    Buffer dst;
    const int64_t pitch = bits == 24 ? Dib24Pitch(w) : int64_t{w} * 4;
    Make(dst, noise, h, static_cast<int>(pitch), int64_t{w} * bpp);
    const bool nullPlane = in.U8() == 255;
    uint8_t* pV = nullPlane ? nullptr : src.v.plane.Row0();
    typedef void (*Fn)(BITMAPINFOHEADER*, unsigned char*, unsigned char*, unsigned char*,
                       unsigned char*, int, int, int);
    const Fn fns[] = {Yuv420_2_rgb24, Yuv420_2_rgb32, Yuv420_2_Argb, Yuv420_2_rgb24Simple};
    fns[which](&bmi, dst.plane.Row0(), src.y.plane.Row0(), src.u.plane.Row0(), pV,
               src.y.plane.Pitch(), src.u.plane.Pitch(), src.v.plane.Pitch());
    // The reference converter does not look at the depth.
    const bool converts = (which == 3 ? bmi.biHeight > 0 : Converts(bmi, bits)) && !nullPlane;
    if (converts)  // blue, green, red of every pixel; Argb also alpha
        Allow(dst, Area{0, h, 0, int64_t{w} * bpp}, bpp, which == 2 ? 4 : 3);
    CheckWrites(dst);
}

// RGB -> YUV through the six converters that take a bitmap.
void ToYuv(qvfuzz::Input& in, qvfuzz::Noise& noise, int which) {
    const int w = Side(in), h = Side(in);
    if (w < 1 || h < 1) return;
    const int bits = which == 1 || which == 5 ? 24 : 32;
    const int bpp = bits / 8;
    BITMAPINFOHEADER bmi = Header(in, w, h, bits);
    // Rgb32_2_yuv420_Ex: its own sign convention and pitch.
    const int exHeight = in.Bool() ? -h : h;
    const int exPitch = Pitch(in, int64_t{w} * 4);
    Buffer src;
    const int64_t pitch = which == 4 ? exPitch : bits == 24 ? Dib24Pitch(w) : int64_t{w} * 4;
    Make(src, noise, h, static_cast<int>(pitch), int64_t{w} * bpp);
    Yuv dst;
    MakeYuv(in, noise, w, h, w % 2, dst);
    const bool nullPlane = in.U8() == 255;
    unsigned char* pY = dst.y.plane.Row0();
    unsigned char* pU = nullPlane ? nullptr : dst.u.plane.Row0();
    unsigned char* pV = dst.v.plane.Row0();
    const int nY = dst.y.plane.Pitch(), nU = dst.u.plane.Pitch(), nV = dst.v.plane.Pitch();
    unsigned char* bits0 = src.plane.Row0();
    bool converts = Converts(bmi, bits) && !nullPlane;
    switch (which) {
    case 0: Rgb32_2_yuv420(pY, pU, pV, nY, nU, nV, &bmi, bits0); break;
    case 1: Rgb24_2_yuv420(pY, pU, pV, nY, nU, nV, &bmi, bits0); break;
    case 2: Argb_2_yuv420(pY, pU, pV, nY, nU, nV, &bmi, bits0); break;
    case 3: Rgb32_2_yuv420A(pY, pU, pV, dst.a.plane.Row0(), nY, nU, nV, &bmi, bits0); break;
    case 4:
        // Stored row 0 is the first in memory either way; a negative height
        // only changes which image row it holds.
        Rgb32_2_yuv420_Ex(pY, pU, pV, nY, nU, nV, bits0, w, exHeight, exPitch);
        converts = !nullPlane;
        break;
    default:
        Rgb24_2_yuv420Simple(pY, pU, pV, nY, nU, nV, &bmi, bits0);
        converts = bmi.biHeight > 0 && !nullPlane;  // the depth is not looked at
        break;
    }
    if (converts) {
        Allow(dst.y, Area{0, h, 0, w + w % 2});
        Allow(dst.u, Area{0, (h + 1) / 2, 0, (w + 1) / 2});
        Allow(dst.v, Area{0, (h + 1) / 2, 0, (w + 1) / 2});
        if (which == 3) Allow(dst.a, Area{0, h, 0, w + w % 2});
    }
    for (Buffer* b : {&dst.y, &dst.u, &dst.v, &dst.a}) CheckWrites(*b);
}

// A rectangle of a packed 4:2:2 buffer: rows [y, y + rows), bytes from 2x,
// `bytes` of them; the buffer gets `extraRows` more rows below.
void MakePacked(qvfuzz::Input& in, qvfuzz::Noise& noise, int x, int y, int rows, int64_t bytes,
                Buffer& b) {
    const int64_t need = 2 * int64_t{x} + bytes;
    Make(b, noise, y + rows + in.U8() % 3, Pitch(in, need), need);
}

int Macropixels(int pixels) { return (pixels + 1) / 2; }

void Packed(qvfuzz::Input& in, qvfuzz::Noise& noise, int which) {
    const int cx = Side(in), cy = Side(in);
    if (cx < 1 || cy < 1) return;
    const int xs = Position(in), ys = Position(in), xd = Position(in), yd = Position(in);
    const unsigned order = in.U8() % 3, order2 = in.U8() % 3;  // 1 and 2 both mean YUY2
    Buffer src, dst;
    switch (which) {
    case 0: {  // Rgb24_2_YUY2: bottom-up RGB of nHeight x nPitch bytes; an odd xDst widens left
        const int xdEven = xd & ~1, cxWide = cx + (xd & 1);
        const int heightSrc = ys + cy + in.U8() % 3;
        const int pitchSrc = static_cast<int>(3 * (int64_t{xs} + cx)) + in.U8() % 8;
        Make(src, noise, heightSrc, pitchSrc, pitchSrc);
        MakePacked(in, noise, xdEven, yd, cy, 4 * int64_t{Macropixels(cxWide)}, dst);
        Rgb24_2_YUY2(dst.plane.Row0(), dst.plane.Pitch(), xd, yd, cx, cy, order, src.plane.Row0(),
                     heightSrc, pitchSrc, xs, ys);
        if ((int64_t{xd} + cx) * 2 <= dst.plane.Pitch())
            Allow(dst, Area{yd, yd + cy, 2 * int64_t{xdEven}, 2 * int64_t{xdEven} + 4 * Macropixels(cxWide)});
        break;
    }
    case 1: {  // YUY2_2_Rgb24: an odd xSrc reads from the macropixel below
        const int xsEven = xs & ~1;
        MakePacked(in, noise, xsEven, ys, cy, 4 * int64_t{Macropixels(cx)}, src);
        const int heightDst = yd + cy + in.U8() % 3;
        const int64_t need = 3 * (int64_t{xd} + cx);
        Make(dst, noise, heightDst, Pitch(in, need), need);
        YUY2_2_Rgb24(dst.plane.Row0(), heightDst, dst.plane.Pitch(), xd, yd, cx, cy,
                     src.plane.Row0(), src.plane.Pitch(), order, xs, ys);
        Allow(dst, Area{heightDst - yd - cy, heightDst - yd, 3 * int64_t{xd}, need});
        break;
    }
    default: {  // YUY2_Blt_fast: a swap writes whole macropixels
        const bool same = order == order2;
        const int64_t bytes = same ? 2 * int64_t{cx} : 4 * int64_t{Macropixels(cx)};
        MakePacked(in, noise, xs & ~1, ys, cy, bytes, src);
        MakePacked(in, noise, xd & ~1, yd, cy, bytes, dst);
        YUY2_Blt_fast(dst.plane.Row0(), dst.plane.Pitch(), xd & ~1, yd, cx, cy, order,
                      src.plane.Row0(), src.plane.Pitch(), order2, xs & ~1, ys);
        Allow(dst, Area{yd, yd + cy, 2 * int64_t{xd & ~1}, 2 * int64_t{xd & ~1} + bytes});
        break;
    }
    }
    CheckWrites(dst);
}

// Planes of a 4:2:0 rectangle at (x, y) of cx x rows luma pixels, with
// chroma from column cx0 (x / 2, or (x + 1) / 2 for the plane blit).
void MakeRect420(qvfuzz::Input& in, qvfuzz::Noise& noise, int x, int y, int cx, int rows,
                 int chromaX, int chromaCols, Yuv& p) {
    const int extra = in.U8() % 3;
    Make(p.y, noise, y + rows + extra, Pitch(in, x + cx), x + cx);
    const int chromaRows = y / 2 + (rows + 1) / 2 + extra;
    Make(p.u, noise, chromaRows, Pitch(in, chromaX + chromaCols), chromaX + chromaCols);
    Make(p.v, noise, chromaRows, Pitch(in, chromaX + chromaCols), chromaX + chromaCols);
}

void Planar(qvfuzz::Input& in, qvfuzz::Noise& noise, int which) {
    const int cx = Side(in), cy = Side(in);
    if (cx < 1 || cy < 1) return;
    const int xs = Position(in), ys = Position(in), xd = Position(in), yd = Position(in);
    const unsigned order = in.U8();
    // Rows go in pairs and columns in macropixels: both round up.
    const int rows = cy + cy % 2, cols = 2 * Macropixels(cx);
    Yuv yuv, other;
    Buffer packed;
    switch (which) {
    case 0: {  // YUY2_2_Yuv420 (packed x even)
        const int xsEven = xs & ~1;
        MakePacked(in, noise, xsEven, ys, rows, 2 * int64_t{cols}, packed);
        MakeRect420(in, noise, xd, yd, cols, rows, xd / 2, cols / 2, yuv);
        YUY2_2_Yuv420(yuv.y.plane.Row0(), yuv.u.plane.Row0(), yuv.v.plane.Row0(), yuv.y.plane.Pitch(),
                      yuv.u.plane.Pitch(), yuv.v.plane.Pitch(), xd, yd, cx, cy, packed.plane.Row0(),
                      packed.plane.Pitch(), order, xsEven, ys);
        Allow(yuv.y, Area{yd, yd + rows, xd, xd + cols});
        Allow(yuv.u, Area{yd / 2, yd / 2 + rows / 2, xd / 2, xd / 2 + cols / 2});
        Allow(yuv.v, Area{yd / 2, yd / 2 + rows / 2, xd / 2, xd / 2 + cols / 2});
        for (Buffer* b : {&yuv.y, &yuv.u, &yuv.v}) CheckWrites(*b);
        break;
    }
    case 1: {  // Yuv420_2_YUY2 (packed x even)
        const int xdEven = xd & ~1;
        MakeRect420(in, noise, xs, ys, cols, rows, xs / 2, cols / 2, yuv);
        MakePacked(in, noise, xdEven, yd, rows, 2 * int64_t{cols}, packed);
        Yuv420_2_YUY2(packed.plane.Row0(), packed.plane.Pitch(), xdEven, yd, cx, cy, order,
                      yuv.y.plane.Row0(), yuv.u.plane.Row0(), yuv.v.plane.Row0(), yuv.y.plane.Pitch(),
                      yuv.u.plane.Pitch(), yuv.v.plane.Pitch(), xs, ys);
        Allow(packed, Area{yd, yd + rows, 2 * int64_t{xdEven}, 2 * int64_t{xdEven} + 2 * cols});
        CheckWrites(packed);
        break;
    }
    default: {  // YV12_Blt_fast: yEnd is a destination row; chroma from (x + 1) / 2
        const int yEnd = yd + cy;
        MakeRect420(in, noise, xs, ys, cx, rows, (xs + 1) / 2, Macropixels(cx), other);
        MakeRect420(in, noise, xd, yd, cx, rows, (xd + 1) / 2, Macropixels(cx), yuv);
        YV12_Blt_fast(yuv.y.plane.Row0(), yuv.u.plane.Row0(), yuv.v.plane.Row0(), yuv.y.plane.Pitch(),
                      yuv.u.plane.Pitch(), yuv.v.plane.Pitch(), xd, yd, cx, yEnd,
                      other.y.plane.Row0(), other.u.plane.Row0(), other.v.plane.Row0(),
                      other.y.plane.Pitch(), other.u.plane.Pitch(), other.v.plane.Pitch(), xs, ys);
        Allow(yuv.y, Area{yd, yd + rows, xd, xd + cx});
        for (Buffer* b : {&yuv.u, &yuv.v})
            Allow(*b, Area{yd / 2, yd / 2 + rows / 2, (xd + 1) / 2, (xd + 1) / 2 + Macropixels(cx)});
        for (Buffer* b : {&yuv.y, &yuv.u, &yuv.v}) CheckWrites(*b);
        break;
    }
    }
}

// xTraceImage: a header followed by a YV12 picture (Y, V, U), or a separate one.
void Trace(qvfuzz::Input& in, qvfuzz::Noise& noise) {
    const int w = Side(in), h = Side(in);
    const int64_t picture = w > 0 && h > 0 ? int64_t{w} * h + 2 * int64_t{(w + 1) / 2} * ((h + 1) / 2) : 0;
    const bool after = in.Bool();
    Buffer block;
    Make(block, noise, 1, 0, int64_t{sizeof(BITMAPINFOHEADER)} + (after ? picture : 0));
    BITMAPINFOHEADER bmi{};
    bmi.biSize = sizeof bmi, bmi.biWidth = w, bmi.biHeight = h, bmi.biBitCount = 12;
    memcpy(block.plane.Base(), &bmi, sizeof bmi);
    Buffer separate;
    Make(separate, noise, 1, 0, after ? 0 : picture);
    xTraceImage(reinterpret_cast<BITMAPINFO*>(block.plane.Base()),
                after ? nullptr : separate.plane.Base());
}

void Pixels(qvfuzz::Input& in) {
    for (int i = 0; i < 8 && !in.Empty(); ++i) {
        const int a = static_cast<int>(in.U32()), b = static_cast<int>(in.U32()),
                  c = static_cast<int>(in.U32());
        int y, u, v, r, g, bl;
        PixelRGB_2_YUV(a, b, c, y, u, v);
        QV_FUZZ_CHECK(y >= 16 && y <= 235 && u >= 16 && u <= 240 && v >= 16 && v <= 240);
        PixelYUV_2_RGB(a, b, c, r, g, bl);
        QV_FUZZ_CHECK(r >= 0 && r <= 255 && g >= 0 && g <= 255 && bl >= 0 && bl <= 255);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 256) return -1;
    qvfuzz::Input in(data, size);
    const int which = in.U8() % 18;
    qvfuzz::Noise noise(in.U32());
    if (which < 4) ToRgb(in, noise, which);
    else if (which < 10) ToYuv(in, noise, which - 4);
    else if (which < 13) Packed(in, noise, which - 10);
    else if (which < 16) Planar(in, noise, which - 13);
    else if (which == 16) Trace(in, noise);
    else Pixels(in);
    return 0;
}
