// The RGB to 4:2:0 rows of every target against the reference rows, row by
// row over every even width up to 140 and large ones, then the five
// converters whole over random sizes, row orders and pitches, with sources
// ending (or starting) at an inaccessible page and planes of exactly the
// size the converters write.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include "checkasm/Guarded.h"
#include "image/RgbToYuvRows.h"

namespace {

using checkasm::Guarded;
using qv::image::RgbToYuvRows;

// Random bytes, or only the extremes of the channel range, where the sums
// reach their bounds.
void Fill(Guarded& g, checkasm::Rng& rng, bool extremes) {
    // Otherwise Guarded already holds random junk.
    if (extremes) checkasm::FillFrom(g, rng, {0, 1, 127, 128, 254, 255});
}

TEST(Checkasm, RgbToYuvRowsMatchTheReferenceRows) {
    const RgbToYuvRows& ref = qv::image::RgbToYuvFamily().Reference();
    checkasm::Rng rng(3);
    for (qv::cpu::Target target : checkasm::SimdTargets()) {
        const RgbToYuvRows& simd = qv::image::RgbToYuvFamily().For(target);
        const char* name = qv::cpu::TargetName(target);
        for (int w : checkasm::EvenWidths())
            for (int bpp : {3, 4, 5}) {  // 5: 4 bytes with alpha
                const int bytes = bpp == 3 ? 3 : 4;
                const bool alpha = bpp == 5;
                const bool extremes = rng.Range(0, 3) == 0;
                const uint64_t seed = rng.Next();
                // Sources end at (or start after) a guard page: nothing outside is read.
                Guarded s0(size_t(w) * bytes, seed, Guarded::kGuardAfter);
                Guarded s1(size_t(w) * bytes, seed + 1, Guarded::kGuardBefore);
                Fill(s0, rng, extremes), Fill(s1, rng, extremes);
                Guarded y0a(w, seed + 2), y1a(w, seed + 3), a0a(w, seed + 4), a1a(w, seed + 5);
                Guarded ua(w / 2, seed + 6), va(w / 2, seed + 7);
                Guarded y0b(w, seed + 2), y1b(w, seed + 3), a0b(w, seed + 4), a1b(w, seed + 5);
                Guarded ub(w / 2, seed + 6), vb(w / 2, seed + 7);
                auto same = [&] {
                    return y0a.Bytes() == y0b.Bytes() && y1a.Bytes() == y1b.Bytes() &&
                           a0a.Bytes() == a0b.Bytes() && a1a.Bytes() == a1b.Bytes() &&
                           ua.Bytes() == ub.Bytes() && va.Bytes() == vb.Bytes();
                };
                const qv::image::RgbRowPairFn pairs[] = {ref.rowPair24,  ref.rowPair32,
                                                         ref.rowPair32A, simd.rowPair24,
                                                         simd.rowPair32, simd.rowPair32A};
                const int k = bpp - 3;
                uint8_t* noAlpha = nullptr;
                pairs[k](s0.data(), s1.data(), y0a.data(), y1a.data(), alpha ? a0a.data() : noAlpha,
                         alpha ? a1a.data() : noAlpha, ua.data(), va.data(), w);
                pairs[3 + k](s0.data(), s1.data(), y0b.data(), y1b.data(),
                             alpha ? a0b.data() : noAlpha, alpha ? a1b.data() : noAlpha, ub.data(),
                             vb.data(), w);
                ASSERT_TRUE(same()) << name << " rowPair bpp " << bpp << " width " << w;
                const qv::image::RgbLastRowFn lasts[] = {ref.lastRow24,  ref.lastRow32,
                                                         ref.lastRow32A, simd.lastRow24,
                                                         simd.lastRow32, simd.lastRow32A};
                for (Guarded* s : {&s0, &s1}) {
                    lasts[k](s->data(), y0a.data(), alpha ? a0a.data() : noAlpha, ua.data(),
                             va.data(), w);
                    lasts[3 + k](s->data(), y0b.data(), alpha ? a0b.data() : noAlpha, ub.data(),
                                 vb.data(), w);
                    ASSERT_TRUE(same()) << name << " lastRow bpp " << bpp << " width " << w;
                }
            }
    }
}

// Bytes from the first byte of a plane to the last one a converter writes:
// full rows of `pitch`, then the last row's extent.
size_t PlaneBytes(int pitch, int rows, int lastExtent) {
    return size_t(pitch) * (rows - 1) + std::max(lastExtent, 1);
}

// Y, U, V and alpha planes with junk in the padding, sized exactly: luma
// rows reach column W when W is odd, except a last odd row, which stops at
// the even width; the last chroma row of an odd height likewise.
struct Output {
    int pitchY, pitchU, pitchV;
    Guarded y, u, v, a;
    Output(int w, int h, int padY, int padU, int padV, bool alpha, uint64_t seed)
        : pitchY(w + 1 + padY),
          pitchU((w + 1) / 2 + padU),
          pitchV((w + 1) / 2 + padV),
          y(PlaneBytes(pitchY, h, LastLuma(w, h)), seed),
          u(PlaneBytes(pitchU, (h + 1) / 2, LastChroma(w, h)), seed + 1),
          v(PlaneBytes(pitchV, (h + 1) / 2, LastChroma(w, h)), seed + 2),
          a(alpha ? y.size() : 1, seed + 3) {}
    static int LastLuma(int w, int h) { return h % 2 ? (w & ~1) : w + w % 2; }
    static int LastChroma(int w, int h) { return h % 2 ? w / 2 : (w + 1) / 2; }
    bool operator==(const Output& o) const {
        return y.Bytes() == o.y.Bytes() && u.Bytes() == o.u.Bytes() && v.Bytes() == o.v.Bytes() &&
               a.Bytes() == o.a.Bytes();
    }
};

TEST(Checkasm, RgbToYuvConvertersMatchTheReferenceWhole) {
    enum Kind { kRgb32, kRgb24, kArgb, kRgb32A, kEx };
    const char* kNames[] = {"Rgb32_2_yuv420", "Rgb24_2_yuv420", "Argb_2_yuv420", "Rgb32_2_yuv420A",
                            "Rgb32_2_yuv420_Ex"};
    checkasm::Rng rng(4);
    for (qv::cpu::Target target : checkasm::SimdTargets())
        for (int round = 0; round < 150; ++round)
            for (int kind = kRgb32; kind <= kEx; ++kind) {
                const bool large = round >= 135;
                const int w = large ? rng.Range(71, 1300) : rng.Range(1, 70),
                          h = rng.Range(1, large ? 4 : 9);
                const int padY = rng.Range(0, 9), padU = rng.Range(0, 3), padV = rng.Range(0, 3);
                // Header forms have their own pitch; the explicit form any pitch from W * 4.
                const int pitch = kind == kRgb24 ? ((w * 3 + 3) & ~3)
                                                 : w * 4 + (kind == kEx ? rng.Range(0, 9) : 0);
                const bool bottomUp = kind == kEx ? rng.Range(0, 1) == 1 : kind != kArgb;
                const uint64_t seed = rng.Next();
                // The last row in memory ends at the guard (or the first starts after it).
                const size_t srcBytes =
                    size_t(pitch) * (h - 1) + (kind == kEx ? size_t(w) * 4 : size_t(pitch));
                Guarded src(srcBytes, seed,
                            rng.Range(0, 1) ? Guarded::kGuardAfter : Guarded::kGuardBefore);
                Fill(src, rng, rng.Range(0, 4) == 0);
                BITMAPINFOHEADER header{};
                header.biSize = sizeof header, header.biWidth = w, header.biHeight = h,
                header.biPlanes = 1;
                header.biBitCount = kind == kRgb24 ? 24 : 32;
                Output want(w, h, padY, padU, padV, kind == kRgb32A, seed + 10);
                Output got(w, h, padY, padU, padV, kind == kRgb32A, seed + 10);
                for (Output* out : {&want, &got}) {
                    qv::cpu::ScopedTarget on(out == &want ? qv::cpu::kReference : target);
                    uint8_t *y = out->y.data(), *u = out->u.data(), *v = out->v.data();
                    switch (kind) {
                        case kRgb32:
                            Rgb32_2_yuv420(y, u, v, out->pitchY, out->pitchU, out->pitchV, &header,
                                           src.data());
                            break;
                        case kRgb24:
                            Rgb24_2_yuv420(y, u, v, out->pitchY, out->pitchU, out->pitchV, &header,
                                           src.data());
                            break;
                        case kArgb:
                            Argb_2_yuv420(y, u, v, out->pitchY, out->pitchU, out->pitchV, &header,
                                          src.data());
                            break;
                        case kRgb32A:
                            Rgb32_2_yuv420A(y, u, v, out->a.data(), out->pitchY, out->pitchU,
                                            out->pitchV, &header, src.data());
                            break;
                        case kEx:
                            Rgb32_2_yuv420_Ex(y, u, v, out->pitchY, out->pitchU, out->pitchV,
                                              src.data(), w, bottomUp ? -h : h, pitch);
                            break;
                    }
                }
                ASSERT_TRUE(want == got)
                    << qv::cpu::TargetName(target) << " " << kNames[kind] << " " << w << "x" << h
                    << " pitch " << pitch << (bottomUp ? " bottom-up" : " top-down");
            }
}

}  // namespace
