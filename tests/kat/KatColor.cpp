// Known answers of every colour converter, the packed 4:2:2 converters and the blits.
#include <quevarra/qv_color.h>

#include "kat/Kat.h"

namespace {

using kat::Bytes;

const std::map<std::string, uint64_t> kPlanarPins = {
#include "kat/KatPlanarPins.inc"
};
const std::map<std::string, uint64_t> kPackedPins = {
#include "kat/KatPackedPins.inc"
};

// 4:2:0 planes with room for luma column W and junk in every pitch's padding.
struct Planes {
    int pitchY, pitchU, pitchV;
    Bytes y, u, v, a;
    Planes(kat::Rng& rng, int w, int h, int pad)
        : pitchY(w + 1 + pad), pitchU((w + 1) / 2 + pad % 3), pitchV((w + 1) / 2 + 1),
          y(rng.Fill(size_t(pitchY) * h)), u(rng.Fill(size_t(pitchU) * ((h + 1) / 2))),
          v(rng.Fill(size_t(pitchV) * ((h + 1) / 2))), a(rng.Fill(y.size())) {}
    void AddTo(kat::Digest& d) const { d.Add(y), d.Add(u), d.Add(v), d.Add(a); }
};

struct Bitmap {
    BITMAPINFOHEADER h{};
    Bytes bits;
    Bitmap(kat::Rng& rng, int w, int hgt, int bitCount) {
        h.biSize = 40, h.biWidth = w, h.biHeight = hgt, h.biPlanes = 1, h.biBitCount = uint16_t(bitCount);
        const size_t pitch = bitCount == 24 ? size_t((w * 3 + 3) & ~3) : size_t(w) * 4;
        bits = rng.Fill(pitch * hgt);
    }
};

using ToRgb = void (*)(BITMAPINFOHEADER*, unsigned char*, unsigned char*, unsigned char*,
                       unsigned char*, int, int, int);
using ToYuv = void (*)(unsigned char*, unsigned char*, unsigned char*, int, int, int,
                       BITMAPINFOHEADER*, unsigned char*);

TEST(KnownAnswers, Planar420AndRgbBothWays) {
    kat::Pins pins(kPlanarPins);
    const struct { const char* name; ToRgb f; int bits; } toRgb[] = {
        {"Yuv420_2_rgb24", Yuv420_2_rgb24, 24}, {"Yuv420_2_rgb32", Yuv420_2_rgb32, 32},
        {"Yuv420_2_Argb", Yuv420_2_Argb, 32}, {"Yuv420_2_rgb24Simple", Yuv420_2_rgb24Simple, 24}};
    const struct { const char* name; ToYuv f; int bits; } toYuv[] = {
        {"Rgb32_2_yuv420", Rgb32_2_yuv420, 32}, {"Rgb24_2_yuv420", Rgb24_2_yuv420, 24},
        {"Argb_2_yuv420", Argb_2_yuv420, 32}, {"Rgb24_2_yuv420Simple", Rgb24_2_yuv420Simple, 24}};
    std::vector<std::pair<int, int>> sizes = {{640, 360}, {1920, 8}};
    for (int w : {1, 2, 3, 5, 8, 15, 16, 17, 33, 64, 65, 130})
        for (int h : {1, 2, 3, 4, 7, 16}) sizes.push_back({w, h});
    int n = 0;
    for (auto [w, h] : sizes) {
        const std::string size = std::to_string(w) + "x" + std::to_string(h);
        for (const auto& c : toRgb) {
            kat::Rng rng(n++);
            Planes in(rng, w, h, n % 5);
            Bitmap out(rng, w, h, c.bits);
            c.f(&out.h, out.bits.data(), in.y.data(), in.u.data(), in.v.data(), in.pitchY, in.pitchU, in.pitchV);
            kat::Digest d;
            d.Add(out.bits);
            pins.Check(std::string(c.name) + "/" + size, d);
        }
        for (const auto& c : toYuv) {
            kat::Rng rng(n++);
            Bitmap in(rng, w, h, c.bits);
            Planes out(rng, w, h, n % 5);
            c.f(out.y.data(), out.u.data(), out.v.data(), out.pitchY, out.pitchU, out.pitchV, &in.h, in.bits.data());
            kat::Digest d;
            out.AddTo(d);
            pins.Check(std::string(c.name) + "/" + size, d);
        }
        {
            kat::Rng rng(n++);
            Bitmap in(rng, w, h, 32);
            Planes out(rng, w, h, n % 5);
            Rgb32_2_yuv420A(out.y.data(), out.u.data(), out.v.data(), out.a.data(), out.pitchY,
                            out.pitchU, out.pitchV, &in.h, in.bits.data());
            kat::Digest d;
            out.AddTo(d);
            pins.Check("Rgb32_2_yuv420A/" + size, d);
        }
        for (int sign : {1, -1}) {
            kat::Rng rng(n++);
            const int pitch = w * 4 + (n % 3) * 4 + (n % 2) * 3;
            Bytes in = rng.Fill(size_t(pitch) * h);
            Planes out(rng, w, h, n % 5);
            Rgb32_2_yuv420_Ex(out.y.data(), out.u.data(), out.v.data(), out.pitchY, out.pitchU,
                              out.pitchV, in.data(), w, sign * h, pitch);
            kat::Digest d;
            out.AddTo(d);
            pins.Check("Rgb32_2_yuv420_Ex/" + std::to_string(sign) + "/" + size, d);
        }
    }
    kat::Digest pixels;  // the per-pixel reference forms over a grid of inputs
    for (int a = -10; a < 270; a += 5)
        for (int b = 0; b < 256; b += 3)
            for (int c = 0; c < 256; c += 7) {
                int o[6];
                PixelRGB_2_YUV(a, b, c, o[0], o[1], o[2]);
                PixelYUV_2_RGB(a, b, c, o[3], o[4], o[5]);
                pixels.Add(o, sizeof o);
            }
    pins.Check("Pixel", pixels);
}

// Rectangles: size, destination and source corners.
struct Rect { int cx, cy, xd, yd, xs, ys; };
const Rect kRects[] = {{16, 4, 0, 0, 0, 0}, {17, 5, 1, 1, 2, 3}, {33, 7, 2, 0, 1, 1}, {1, 1, 0, 0, 0, 0},
                       {64, 16, 4, 2, 6, 4}, {5, 3, 3, 2, 0, 1}, {250, 9, 8, 1, 3, 0}, {2, 2, 7, 5, 4, 6}};

TEST(KnownAnswers, PackedYuy2ConvertersAndBlits) {
    kat::Pins pins(kPackedPins);
    int n = 0;
    for (const Rect& r : kRects) {
        const int cols = std::max(r.xd, r.xs) + r.cx + 4, rows = std::max(r.yd, r.ys) + r.cy + 3;
        const int packedPitch = cols * 2 + n % 4, rgbPitch = cols * 3 + (n % 3);
        const std::string rect = std::to_string(n);
        for (unsigned order : {0u, 1u}) {
            const std::string tag = rect + "/" + std::to_string(order);
            kat::Rng rng(n * 7 + order);
            Bytes rgb = rng.Fill(size_t(rgbPitch) * rows), packed = rng.Fill(size_t(packedPitch) * rows);
            Planes planes(rng, cols, rows, n % 5);
            kat::Digest toPacked, toRgb, to420, from420, blt, yv12;
            Bytes p1 = packed;
            Rgb24_2_YUY2(p1.data(), packedPitch, r.xd, r.yd, r.cx, r.cy, order, rgb.data(), rows,
                         rgbPitch, r.xs, r.ys);
            toPacked.Add(p1);
            Bytes rgbOut = rng.Fill(rgb.size());
            YUY2_2_Rgb24(rgbOut.data(), rows, rgbPitch, r.xd, r.yd, r.cx, r.cy, packed.data(),
                         packedPitch, order, r.xs & ~1, r.ys);
            toRgb.Add(rgbOut);
            Planes p420(rng, cols, rows, n % 3);
            YUY2_2_Yuv420(p420.y.data(), p420.u.data(), p420.v.data(), p420.pitchY, p420.pitchU,
                          p420.pitchV, r.xd, r.yd, r.cx, r.cy, packed.data(), packedPitch, order,
                          r.xs & ~1, r.ys);
            p420.AddTo(to420);
            Bytes p2 = rng.Fill(packed.size());
            Yuv420_2_YUY2(p2.data(), packedPitch, r.xd & ~1, r.yd, r.cx, r.cy, order, planes.y.data(),
                          planes.u.data(), planes.v.data(), planes.pitchY, planes.pitchU,
                          planes.pitchV, r.xs, r.ys);
            from420.Add(p2);
            Bytes p3 = rng.Fill(packed.size());
            YUY2_Blt_fast(p3.data(), packedPitch, r.xd & ~1, r.yd, r.cx, r.cy, order, packed.data(),
                          packedPitch, order ? 2u : 1u, r.xs & ~1, r.ys);
            YUY2_Blt_fast(p3.data(), packedPitch, r.xd & ~1, r.yd + 1, r.cx, r.cy, 0, packed.data(),
                          packedPitch, 0, r.xs & ~1, r.ys);
            blt.Add(p3);
            Planes copy(rng, cols, rows, n % 4);
            YV12_Blt_fast(copy.y.data(), copy.u.data(), copy.v.data(), copy.pitchY, copy.pitchU,
                          copy.pitchV, r.xd, r.yd, r.cx, r.yd + r.cy, planes.y.data(),
                          planes.u.data(), planes.v.data(), planes.pitchY, planes.pitchU,
                          planes.pitchV, r.xs, r.ys);
            copy.AddTo(yv12);
            pins.Check("Rgb24_2_YUY2/" + tag, toPacked);
            pins.Check("YUY2_2_Rgb24/" + tag, toRgb);
            pins.Check("YUY2_2_Yuv420/" + tag, to420);
            pins.Check("Yuv420_2_YUY2/" + tag, from420);
            pins.Check("YUY2_Blt_fast/" + tag, blt);
            pins.Check("YV12_Blt_fast/" + tag, yv12);
        }
        ++n;
    }
}

}  // namespace
