// The packed 4-byte and mask rows of every target against the reference
// rows, row by row over widths 1..70 and large ones in every ratio class, then
// the six packed resizers whole over random bottom-up rectangles, offsets and
// pitches (either sign), with alpha and mask values of 0, 255 or anything.
#include <gtest/gtest.h>

#include <quevarra/qv_image.h>

#include <algorithm>
#include <memory>

#include "checkasm/Guarded.h"
#include "image/PackedRows.h"

namespace {

using checkasm::Guarded;
using qv::image::PackedRows;

// Widths 1..70, then large ones; `strips` stops at the convolution's strip
// boundaries, which are the large widths that matter to it.
std::vector<int> Widths(bool strips = false) {
    std::vector<int> w;
    for (int i = 1; i <= 70; ++i) w.push_back(i);
    if (strips) {
        for (int i : {255, 256, 257, 600}) w.push_back(i);
    } else {
        for (int i : {127, 128, 129, 255, 511, 640, 1280, 1920}) w.push_back(i);
    }
    return w;
}

// Source lengths for `count` outputs: identity, halves, doubles, 3:2, 2:3,
// a single sample, a large reduction and a random one.
std::vector<int> SourceLengths(int count, checkasm::Rng& rng) {
    return {count, 2 * count, 2 * count + 1, count / 2 + 1, count * 3 / 2 + 1, count * 2 / 3 + 1,
            1, 5 * count + 3, rng.Range(1, 3 * count + 2)};
}

int64_t Step(int srcLen, int dstLen) {
    return dstLen < 2 ? 4096 : ((int64_t{srcLen} << 12) - 4096) / (dstLen - 1);
}

// Byte 3 of every pixel (or every byte of a mask) set to 0, 255, or left
// random, so that compositing and masking meet their special cases.
void ShapeAlpha(uint8_t* p, size_t size, size_t stride, int mode) {
    if (mode == 2) return;
    for (size_t i = stride - 1; i < size; i += stride) p[i] = mode == 0 ? 0 : 255;
}

TEST(Checkasm, PackedRowsMatchTheReferenceRows) {
    const PackedRows& ref = qv::image::PackedRowFamily().Reference();
    checkasm::Rng rng(3);
    for (qv::cpu::Target target : checkasm::SimdTargets()) {
        const PackedRows& simd = qv::image::PackedRowFamily().For(target);
        const char* name = qv::cpu::TargetName(target);
        for (int count : Widths())
            for (int srcLen : SourceLengths(count, rng)) {
                const int64_t step = Step(srcLen, count);
                const int lastCol = srcLen - 1;
                const int wy1 = rng.Range(0, 3) == 0 ? 0 : rng.Range(0, 4095);
                const int mode = rng.Range(0, 2);
                const uint64_t seed = rng.Next();
                Guarded in0(4 * srcLen, seed), in1(4 * srcLen, seed + 1);
                Guarded m0(srcLen, seed + 2), m1(srcLen, seed + 3);
                ShapeAlpha(in0.data(), in0.size(), 4, mode);
                ShapeAlpha(m0.data(), m0.size(), 1, mode);
                Guarded a(4 * count, seed + 4), b(4 * count, seed + 4);
                auto same = [&](const char* row) {
                    ASSERT_EQ(a.Bytes(), b.Bytes()) << name << " " << row << ": " << srcLen << " -> " << count;
                };
                ref.nearRow(in0.data(), a.data(), count, step, lastCol);
                simd.nearRow(in0.data(), b.data(), count, step, lastCol);
                same("nearRow");
                ref.bilinearRow(in0.data(), in1.data(), a.data(), count, step, lastCol, wy1);
                simd.bilinearRow(in0.data(), in1.data(), b.data(), count, step, lastCol, wy1);
                same("bilinearRow");
                // The compositing rows read the destination: both hold the same bytes here.
                ref.alphaRow(in0.data(), in1.data(), a.data(), count, step, lastCol, wy1);
                simd.alphaRow(in0.data(), in1.data(), b.data(), count, step, lastCol, wy1);
                same("alphaRow");
                ref.alphaNearRow(in0.data(), a.data(), count, step, lastCol);
                simd.alphaNearRow(in0.data(), b.data(), count, step, lastCol);
                same("alphaNearRow");
                ref.maskNearRow(m0.data(), a.data(), count, step, lastCol);
                simd.maskNearRow(m0.data(), b.data(), count, step, lastCol);
                same("maskNearRow");
                ref.maskScaledNearRow(m0.data(), a.data(), count, step, lastCol);
                simd.maskScaledNearRow(m0.data(), b.data(), count, step, lastCol);
                same("maskScaledNearRow");
                ref.maskBiLinearRow(m0.data(), m1.data(), a.data(), count, step, lastCol, wy1);
                simd.maskBiLinearRow(m0.data(), m1.data(), b.data(), count, step, lastCol, wy1);
                same("maskBiLinearRow");
            }
    }
}

// The two-pass convolution (each source row filtered per strip of columns,
// then four filtered rows weighed) against the reference's one-pass rows.
TEST(Checkasm, PackedConvolutionPassesMatchTheReferenceRow) {
    const PackedRows& ref = qv::image::PackedRowFamily().Reference();
    checkasm::Rng rng(4);
    for (qv::cpu::Target target : checkasm::SimdTargets()) {
        const PackedRows& simd = qv::image::PackedRowFamily().For(target);
        if (!simd.convolveFilter) continue;
        const char* name = qv::cpu::TargetName(target);
        for (int count : Widths(true))
            for (int srcLen : SourceLengths(count, rng)) {
                const int64_t step = Step(srcLen, count);
                const bool hSmooth = qv::image::ConvolveSmooths(step);
                const uint64_t seed = rng.Next();
                Guarded r0(4 * srcLen, seed), r1(4 * srcLen, seed + 1), r2(4 * srcLen, seed + 2);
                // A hard edge in one row drives the horizontal sums past 0..255.
                for (size_t i = 0; i < r2.size(); ++i) r2.data()[i] = (i / 4) % 3 == 0 ? 255 : 0;
                qv::image::RowTaps taps{{r0.data(), r1.data(), r2.data(), r2.data()}, {}, rng.Range(0, 1) == 1};
                qv::image::ConvolveWeights(rng.Range(0, 4095), taps.w);
                Guarded a(4 * count, seed + 3), b(4 * count, seed + 3);
                ref.convolveRow(taps, a.data(), count, step, srcLen - 1, hSmooth);
                auto cols = std::make_unique<qv::image::ConvolveColumns>();
                auto filtered = std::make_unique<qv::image::ConvolveFiltered[]>(3);
                for (int first = 0; first < count; first += qv::image::kConvolveStrip) {
                    const int n = std::min(count - first, qv::image::kConvolveStrip);
                    qv::image::PlanConvolveColumns(*cols, first, n, step, srcLen - 1, hSmooth);
                    for (int m = 0; m < 3; ++m) simd.convolveFilter(taps.rows[m], *cols, filtered[m]);
                    const qv::image::ConvolveFiltered* rows[4] = {&filtered[0], &filtered[1], &filtered[2],
                                                                  &filtered[2]};
                    simd.convolveCombine(rows, taps.w, taps.smooth, b.data() + 4 * first, n);
                }
                ASSERT_EQ(a.Bytes(), b.Bytes()) << name << " convolve: " << srcLen << " -> " << count
                                                << (hSmooth ? " smoothed" : "");
            }
    }
}

// A bottom-up rectangle in a buffer holding exactly the stored rows it spans,
// from the rectangle's left edge in its first stored row to its right edge in
// its last, with junk in every pitch's padding.
struct Picture {
    IMG_PARAM p;
    std::unique_ptr<Guarded> bytes;
    Picture(checkasm::Rng& rng, int bpp, int cx, int cy, bool negativePitch, uint64_t seed) {
        const int x = rng.Range(0, 4), y = rng.Range(0, 3);
        const int rowBytes = bpp * (x + cx);
        const int pitch = rowBytes + rng.Range(0, 9);
        // height = y + cy: the rectangle's bottom row is stored at offset 0
        // from pBits and its top row (y) (cy - 1) pitches away, either way.
        const int64_t span = int64_t{pitch} * (cy - 1);
        const Guarded::Side side = rng.Range(0, 1) ? Guarded::kGuardAfter : Guarded::kGuardBefore;
        bytes = std::make_unique<Guarded>(span + rowBytes, seed, side);
        uint8_t* bits = bytes->data() + (negativePitch ? span : 0);
        p = IMG_PARAM{bits, x + cx, y + cy, negativePitch ? -pitch : pitch, 8 * bpp, x, y, cx, cy};
    }
};

// Sides for one axis in each ratio class of the convolution's smoothing:
// enlarging 2x or more, in between, reducing to half or less.
void Sides(checkasm::Rng& rng, int maxSide, int& s, int& d) {
    switch (rng.Range(0, 2)) {
    case 0:
        s = rng.Range(1, maxSide / 2), d = rng.Range(2 * s, 2 * maxSide);
        break;
    case 1:
        s = rng.Range(2, maxSide), d = rng.Range(s / 2 + 2, std::max(s / 2 + 2, 2 * s - 2));
        break;
    default:
        d = rng.Range(2, maxSide / 2), s = rng.Range(2 * d, 2 * maxSide);
        break;
    }
}

TEST(Checkasm, PackedResizersMatchTheReferenceWhole) {
    using Resizer = int (*)(const IMG_PARAM&, IMG_PARAM&);
    const struct { const char* name; Resizer f; bool mask; } resizers[] = {
        {"Near", DIB_ResizeNear, false},
        {"BiLiner", DIB_ResizeBiLiner, false},
        {"Convolve", DIB_ResizeConvolve, false},
        {"AlphaBiLiner", DIB_AlphaResizeBiLiner, false},
        {"MaskNear", StretchMaskResizeNear, true},
        {"MaskBiLiner", StretchMaskResizeBiLiner, true}};
    checkasm::Rng rng(5);
    for (qv::cpu::Target target : checkasm::SimdTargets())
        for (int round = 0; round < 80; ++round)
            for (const auto& r : resizers) {
                const bool large = round >= 72;
                int scx, dcx, scy, dcy;
                Sides(rng, large ? 600 : 60, scx, dcx);
                Sides(rng, 24, scy, dcy);
                const bool negative = rng.Range(0, 3) == 0;
                const uint64_t seed = rng.Next();
                Picture src(rng, r.mask ? 1 : 4, scx, scy, negative, seed);
                const int mode = rng.Range(0, 2);
                ShapeAlpha(src.bytes->data(), src.bytes->size(), r.mask ? 1 : 4, mode);
                checkasm::Rng same(seed);  // both destinations alike, junk included
                Picture want(same, 4, dcx, dcy, negative, seed + 1);
                same = checkasm::Rng(seed);
                Picture got(same, 4, dcx, dcy, negative, seed + 1);
                int a, b;
                {
                    qv::cpu::ScopedTarget on(qv::cpu::kReference);
                    a = r.f(src.p, want.p);
                }
                {
                    qv::cpu::ScopedTarget on(target);
                    b = r.f(src.p, got.p);
                }
                ASSERT_EQ(a, 1) << r.name;
                ASSERT_EQ(b, 1) << r.name;
                ASSERT_EQ(want.bytes->Bytes(), got.bytes->Bytes())
                    << qv::cpu::TargetName(target) << " " << r.name << " " << scx << "x" << scy << " -> " << dcx
                    << "x" << dcy << (negative ? " negative pitch" : "") << " alpha mode " << mode;
            }
}

}  // namespace
