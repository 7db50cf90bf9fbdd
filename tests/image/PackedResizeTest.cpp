// Properties shared by every resizer, the packed 4-byte members and cubic convolution.
#include <gtest/gtest.h>

#include "image/ImageBuffer.h"

using namespace qvtest;

namespace {

constexpr uint8_t kSentinel = 0xA5;

struct Kind {
    Resizer f;
    int bpp;
    bool bottomUp;
};
const Kind kCopying[] = {{DIB_ResizeNear, 4, true},     {DIB_ResizeNear8, 1, false},
                         {DIB_ResizeBiLiner, 4, true},  {DIB_ResizeBiLiner8, 1, true},
                         {DIB_ResizeConvolve, 4, true}, {DIB_ResizeNearY, 1, false},
                         {DIB_ResizeBiLinerY, 1, false}};

TEST(AnyResizer, IdentityCopiesRectangleAndLeavesTheRestAlone) {
    for (const Kind& k : kCopying)
        for (int cx = 2; cx <= 7; ++cx)
            for (int cy = 2; cy <= 6; ++cy) {
                Image src(k.bpp * (cx + 3), cy + 4, 2, 3, cx, cy);
                FillPattern(src.bytes, cx * 13 + cy);
                // The luma members fill the margins of covered rows: give them none.
                const int left = k.bottomUp || k.f == DIB_ResizeNear8 ? 1 : 0;
                Image dst(k.bpp * (cx + 2 * left), cy + 3, left, 2, cx, cy, kSentinel);
                ASSERT_EQ(k.f(src.p, dst.p), 1);
                for (int r = 0; r < cy + 3; ++r) {  // picture rows
                    Bytes want(dst.p.pitch, kSentinel);
                    if (r >= 2 && r < 2 + cy) {
                        const Bytes in = src.Row(k.bottomUp ? cy + 2 - r : r + 1, 2 * k.bpp, cx * k.bpp);
                        std::copy(in.begin(), in.end(), want.begin() + k.bpp * left);
                    }
                    ASSERT_EQ(dst.Row(k.bottomUp ? cy + 2 - r : r, 0, dst.p.pitch), want)
                        << k.bpp << "/" << k.bottomUp << " " << cx << "x" << cy << " row " << r;
                }
            }
}

TEST(AnyResizer, NothingOutsideTheSourceRectangleIsRead) {
    const int sizes[][2] = {{9, 7}, {3, 2}, {2, 2}, {5, 12}, {4, 3}};
    for (const Kind& k : kCopying)
        for (const auto& s : sizes) {
            Image dark(k.bpp * 8, 7, 2, 1, 5, 4), light(dark), a(k.bpp * s[0], s[1], 0, 0, s[0], s[1]), b(a);
            FillPattern(dark.bytes, 77);
            for (int r = 0; r < 7; ++r)
                for (int c = 0; c < k.bpp * 8; ++c) {
                    const int pr = k.bottomUp ? 6 - r : r;
                    const bool in = pr >= 1 && pr < 5 && c >= 2 * k.bpp && c < 7 * k.bpp;
                    light.At(c, r) = in ? dark.At(c, r) : 255 - dark.At(c, r);
                }
            ASSERT_EQ(k.f(dark.p, a.p), 1);
            ASSERT_EQ(k.f(light.p, b.p), 1);
            EXPECT_EQ(a.bytes, b.bytes) << k.bpp << " -> " << s[0] << "x" << s[1];
        }
}

TEST(AnyResizer, RefusesWithoutWritingWhatItCannotWalk) {
    Image src(32, 8, 0, 0, 4, 4, 50);
    for (Resizer f : {DIB_ResizeNear, DIB_ResizeNear8, DIB_ResizeNearY, DIB_ResizeNearUV,
                      DIB_ResizeBiLiner, DIB_ResizeBiLiner8, DIB_ResizeBiLinerY, DIB_ResizeBiLinerUV,
                      DIB_ResizeBiLinerY_Simulate, DIB_ResizeConvolve, DIB_AlphaResizeBiLiner,
                      StretchMaskResizeNear, StretchMaskResizeBiLiner})
        for (int v = 0; v < 10; ++v) {
            Image dst(32, 8, 0, 0, 4, 4, kSentinel);
            IMG_PARAM s = src.p, d = dst.p;
            switch (v) {
            case 0: d.cx = 1; break;
            case 1: d.cy = 1; break;
            case 2: d.cy = -4; break;
            case 3: d.x = -1; break;
            case 4: d.pitch = -32; break;
            case 5: d.pBits = nullptr; break;
            case 6: s.pBits = nullptr; break;
            case 7: s.cx = 0; break;
            case 8: s.y = -2; break;
            case 9: s.cx = 1 << 19; break;  // cx << 12 would overflow
            }
            EXPECT_EQ(f(s, d), 0) << v;
            EXPECT_EQ(dst.bytes, Bytes(256, kSentinel)) << v;
        }
    // Bottom-up rectangles must lie within `height` rows.
    for (Resizer f : {DIB_ResizeNear, DIB_ResizeBiLiner8, DIB_ResizeConvolve, StretchMaskResizeNear}) {
        Image dst(32, 8, 0, 5, 4, 4, kSentinel);
        EXPECT_EQ(f(src.p, dst.p), 0);
        EXPECT_EQ(dst.bytes, Bytes(256, kSentinel));
    }
}

TEST(AnyResizer, LastColumnIsPinnedOnlyWhereStated) {
    // Columns 0, 0, 200 onto 4 columns (step 2730): the last one sits at 1 + 4094 / 4096.
    const struct {
        Resizer f;
        int bpp;
        bool bottomUp;
        int firstRow, lastRow;
    } cases[] = {{DIB_ResizeNear, 4, true, 200, 200},   {DIB_ResizeNear8, 1, false, 200, 200},
                 {DIB_ResizeBiLiner, 4, true, 200, 200}, {DIB_ResizeBiLiner8, 1, true, 200, 200},
                 {DIB_ResizeNearY, 1, false, 0, 0},      {DIB_ResizeBiLinerY, 1, false, 199, 0},
                 {DIB_ResizeBiLinerY_Simulate, 1, false, 100, 0}};
    for (const auto& k : cases) {
        Image src(3 * k.bpp, 3, 0, 0, 3, 3), dst(4 * k.bpp, 4, 0, 0, 4, 4);
        for (int r = 0; r < 3; ++r)
            std::fill_n(&src.At(2 * k.bpp, r), k.bpp, 200);
        ASSERT_EQ(k.f(src.p, dst.p), 1);
        EXPECT_EQ(dst.At(3 * k.bpp, k.bottomUp ? 3 : 0), k.firstRow) << k.bpp << k.bottomUp;
        EXPECT_EQ(dst.At(3 * k.bpp, k.bottomUp ? 0 : 3), k.lastRow) << k.bpp << k.bottomUp;
    }
}

TEST(PackedResize, BiLinearTakesAlphaFromUpperLeftAndInterpolatesColour) {
    Image src = Packed(4, 3, 0, 0, 4, 3), dst = Packed(7, 5, 0, 0, 7, 5);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c)
            SetPx(src, c, r, {uint8_t(60 * c), uint8_t(60 * r), 255, uint8_t(c % 2 ? 255 : 0)});
    ASSERT_EQ(DIB_ResizeBiLiner(src.p, dst.p), 1);
    EXPECT_EQ(PxBytes(dst, 1, 1), (Bytes{30, 30, 255, 0}));  // at (0.5, 0.5): alpha of (0, 0)
    EXPECT_EQ(PxBytes(dst, 2, 1), (Bytes{60, 30, 255, 255}));
    EXPECT_EQ(PxBytes(dst, 6, 1), (Bytes{180, 0, 255, 255}));  // last column: (3, 0) whole
}

// Grey 0, 0, 90, 90, ... along one direction: the first destination pixel
// (fraction 0, taps 0, 0, 1, 2) is (0 + 0 + 90 / 3) / 2 = 15 if the inner taps
// are smoothed, else 0.
int FirstConvolved(bool horizontal, int srcLen, int dstLen) {
    Image src = horizontal ? Packed(srcLen, 1, 0, 0, srcLen, 1) : Packed(1, srcLen, 0, 0, 1, srcLen);
    Image dst = horizontal ? Packed(dstLen, 2, 0, 0, dstLen, 2) : Packed(2, dstLen, 0, 0, 2, dstLen);
    for (int i = 2; i < srcLen; ++i)
        SetPx(src, horizontal ? i : 0, horizontal ? 0 : i, {90, 90, 90, 0});
    EXPECT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
    return Px(dst, 0, 0)[1];
}

TEST(ConvolveResize, SmoothsInnerTapsOnlyAtFactorTwoOrHalf) {
    for (bool h : {true, false}) {
        EXPECT_EQ(FirstConvolved(h, 3, 5), 15);  // step 2048
        EXPECT_EQ(FirstConvolved(h, 3, 4), 0);   // step 2730
        EXPECT_EQ(FirstConvolved(h, 5, 3), 15);  // step 8192
    }
    EXPECT_EQ(FirstConvolved(true, 8192, 4097), 0);  // step 8191
}

TEST(ConvolveResize, EdgeTapsAndClamping) {
    // Column 0, 0, 0, 200 onto 5 rows (step 3072). Row 3: r = 2, g = 0.25, tap rows
    // 1, 2, 3 and 2 again: 200 * W(0.75) = 59.375 -> 59 (50 with row 3 as lowest tap).
    // Row 2: r = 1, g = 0.5: 200 * W(1.5) = -25, clamped to 0.
    Image src = Packed(1, 4, 0, 0, 1, 4), dst = Packed(2, 5, 0, 0, 2, 5);
    SetPx(src, 0, 3, {200, 200, 200, 0});
    ASSERT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
    EXPECT_EQ(PxBytes(dst, 1, 3), (Bytes{59, 59, 59, 0}));
    EXPECT_EQ(Px(dst, 0, 2)[0], 0);
    // A hard edge 0, 0, 255, 255 overshoots above 255 at column 4: it must not wrap.
    Image edge = Packed(4, 1, 0, 0, 4, 1), out = Packed(6, 2, 0, 0, 6, 2);
    SetPx(edge, 2, 0, {255, 255, 255, 0});
    SetPx(edge, 3, 0, {255, 255, 255, 0});
    ASSERT_EQ(DIB_ResizeConvolve(edge.p, out.p), 1);
    for (int c = 1; c < 6; ++c)
        EXPECT_GE(Px(out, c, 0)[0], Px(out, c - 1, 0)[0]) << c;
    EXPECT_EQ(Px(out, 4, 0)[0], 255);
}

TEST(ConvolveResize, UniformStaysUniformAtAnyScale) {
    const int sizes[][2] = {{2, 2}, {3, 5}, {7, 3}, {11, 9}, {20, 2}};
    for (const auto& s : sizes)
        for (const auto& d : sizes) {
            Image src = Packed(s[0], s[1], 0, 0, s[0], s[1], 77), dst = Packed(d[0], d[1], 0, 0, d[0], d[1]);
            ASSERT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
            ASSERT_EQ(dst.bytes, Bytes(dst.bytes.size(), 77));
        }
}

}  // namespace
