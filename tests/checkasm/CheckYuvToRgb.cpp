// The 4:2:0 to RGB rows of every target against the reference rows, row by
// row over every even width up to 140 and large ones, then the three
// converters whole over random sizes and padded pitches, with planes and
// bitmaps of exactly the size the converters touch, ending (or starting) at
// an inaccessible page.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include "checkasm/Guarded.h"
#include "image/YuvToRgbRows.h"

namespace {

using checkasm::Guarded;
using qv::image::YuvToRgbRows;

// Random bytes, or only values where the channel sums reach their clamps.
void Fill(Guarded& g, checkasm::Rng& rng, bool extremes) {
    // Otherwise Guarded already holds random junk.
    if (extremes) checkasm::FillFrom(g, rng, {0, 1, 16, 127, 128, 235, 240, 254, 255});
}

TEST(Checkasm, YuvToRgbRowsMatchTheReferenceRows) {
    const YuvToRgbRows& ref = qv::image::YuvToRgbFamily().Reference();
    checkasm::Rng rng(5);
    for (qv::cpu::Target target : checkasm::SimdTargets()) {
        const YuvToRgbRows& simd = qv::image::YuvToRgbFamily().For(target);
        const char* name = qv::cpu::TargetName(target);
        for (int w : checkasm::EvenWidths())
            for (int kind = 0; kind < 3; ++kind) {
                const int bpp = kind == 0 ? 3 : 4;
                const bool extremes = rng.Range(0, 3) == 0;
                const uint64_t seed = rng.Next();
                Guarded y0(w, seed, Guarded::kGuardAfter), y1(w, seed + 1, Guarded::kGuardBefore);
                Guarded u(w / 2, seed + 2), v(w / 2, seed + 3, Guarded::kGuardBefore);
                for (Guarded* g : {&y0, &y1, &u, &v}) Fill(*g, rng, extremes);
                // Outputs start with the same junk: a fourth byte left alone must keep it.
                Guarded d0a(size_t(w) * bpp, seed + 4), d1a(size_t(w) * bpp, seed + 5);
                Guarded d0b(size_t(w) * bpp, seed + 4, Guarded::kGuardBefore),
                    d1b(size_t(w) * bpp, seed + 5);
                const qv::image::YuvRowPairFn pairs[] = {ref.rowPair24,  ref.rowPair32,
                                                         ref.rowPair32A, simd.rowPair24,
                                                         simd.rowPair32, simd.rowPair32A};
                pairs[kind](y0.data(), y1.data(), u.data(), v.data(), d0a.data(), d1a.data(), w);
                pairs[3 + kind](y0.data(), y1.data(), u.data(), v.data(), d0b.data(), d1b.data(),
                                w);
                ASSERT_TRUE(d0a.Bytes() == d0b.Bytes() && d1a.Bytes() == d1b.Bytes())
                    << name << " rowPair kind " << kind << " width " << w;
                const qv::image::YuvLastRowFn lasts[] = {ref.lastRow24,  ref.lastRow32,
                                                         ref.lastRow32A, simd.lastRow24,
                                                         simd.lastRow32, simd.lastRow32A};
                lasts[kind](y1.data(), u.data(), v.data(), d1a.data(), w);
                lasts[3 + kind](y1.data(), u.data(), v.data(), d1b.data(), w);
                ASSERT_TRUE(d1a.Bytes() == d1b.Bytes())
                    << name << " lastRow kind " << kind << " width " << w;
            }
    }
}

// Bytes from a plane's first byte to the last one read: full rows of
// `pitch`, then the last row's extent.
size_t PlaneBytes(int pitch, int rows, int lastExtent) {
    return size_t(pitch) * (rows - 1) + size_t(lastExtent);
}

TEST(Checkasm, YuvToRgbConvertersMatchTheReferenceWhole) {
    enum Kind { kRgb24, kRgb32, kArgb };
    const char* kNames[] = {"Yuv420_2_rgb24", "Yuv420_2_rgb32", "Yuv420_2_Argb"};
    checkasm::Rng rng(6);
    for (qv::cpu::Target target : checkasm::SimdTargets())
        for (int round = 0; round < 150; ++round)
            for (int kind = kRgb24; kind <= kArgb; ++kind) {
                const bool large = round >= 135;
                const int w = large ? rng.Range(71, 1300) : rng.Range(1, 70),
                          h = rng.Range(1, large ? 4 : 9);
                const int cw = (w + 1) / 2, ch = (h + 1) / 2;
                const int pitchY = w + rng.Range(0, 9), pitchU = cw + rng.Range(0, 3),
                          pitchV = cw + rng.Range(0, 3);
                const int pitch = kind == kRgb24 ? ((w * 3 + 3) & ~3) : w * 4;
                const uint64_t seed = rng.Next();
                const auto side = rng.Range(0, 1) ? Guarded::kGuardAfter : Guarded::kGuardBefore;
                Guarded y(PlaneBytes(pitchY, h, w), seed, side);
                Guarded u(PlaneBytes(pitchU, ch, cw), seed + 1, side);
                Guarded v(PlaneBytes(pitchV, ch, cw), seed + 2, side);
                const bool extremes = rng.Range(0, 4) == 0;
                for (Guarded* g : {&y, &u, &v}) Fill(*g, rng, extremes);
                BITMAPINFOHEADER header{};
                header.biSize = sizeof header, header.biWidth = w, header.biHeight = h,
                header.biPlanes = 1;
                header.biBitCount = kind == kRgb24 ? 24 : 32;
                Guarded want(size_t(pitch) * h, seed + 3), got(size_t(pitch) * h, seed + 3, side);
                for (Guarded* out : {&want, &got}) {
                    qv::cpu::ScopedTarget on(out == &want ? qv::cpu::kReference : target);
                    auto convert = kind == kRgb24   ? Yuv420_2_rgb24
                                   : kind == kRgb32 ? Yuv420_2_rgb32
                                                    : Yuv420_2_Argb;
                    convert(&header, out->data(), y.data(), u.data(), v.data(), pitchY, pitchU,
                            pitchV);
                }
                ASSERT_TRUE(want.Bytes() == got.Bytes())
                    << qv::cpu::TargetName(target) << " " << kNames[kind] << " " << w << "x" << h;
            }
}

}  // namespace
