// Cubic convolution resizer: smoothing thresholds, edge taps, clamping.
#include <gtest/gtest.h>

#include "image/ImageBuffer.h"

using qvtest::Image;
using qvtest::Packed;
using qvtest::Px;
using qvtest::SetPx;

namespace {

// A row (or column) of grey pixels 0, 0, 90, 90, ...: at destination index 0
// (fraction 0, taps 0, 0, 1, 2) a smoothed result is (0 + 0 + 90 / 3) / 2 = 15,
// an unsmoothed one the sample itself, 0.
int FirstSampleAlong(bool horizontal, int srcLen, int dstLen) {
    Image src = horizontal ? Packed(srcLen, 1, 0, 0, srcLen, 1) : Packed(1, srcLen, 0, 0, 1, srcLen);
    for (int i = 2; i < srcLen; ++i)
        SetPx(src, horizontal ? i : 0, horizontal ? 0 : i, 90, 90, 90, 0);
    Image dst = horizontal ? Packed(dstLen, 2, 0, 0, dstLen, 2) : Packed(2, dstLen, 0, 0, 2, dstLen);
    EXPECT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
    const uint8_t* p = Px(dst, 0, 0);
    EXPECT_TRUE(p[0] == p[1] && p[1] == p[2]);
    return p[0];
}

TEST(ConvolveResize, SmoothsInnerTapsOnlyFromFactorTwoOrHalf) {
    EXPECT_EQ(FirstSampleAlong(true, 3, 5), 15);        // step 2048: enlarging 2x
    EXPECT_EQ(FirstSampleAlong(true, 3, 4), 0);         // step 2730: 1.5x
    EXPECT_EQ(FirstSampleAlong(true, 5, 3), 15);        // step 8192: half
    EXPECT_EQ(FirstSampleAlong(true, 8192, 4097), 0);   // step 8191
    EXPECT_EQ(FirstSampleAlong(false, 3, 5), 15);
    EXPECT_EQ(FirstSampleAlong(false, 3, 4), 0);
    EXPECT_EQ(FirstSampleAlong(false, 5, 3), 15);
}

TEST(ConvolveResize, SecondToLastRowRepeatsItselfAsLowestTap) {
    // Column 0, 0, 0, 200 to 5 rows: step 3072, row 3 sits at r = 2, g = 0.25,
    // taps rows 1, 2, 3 and 2 again: 200 * W(0.75) = 59.375 -> 59 (not 50, as a
    // lowest tap on row 3 would give).
    Image src = Packed(1, 4, 0, 0, 1, 4);
    SetPx(src, 0, 3, 200, 200, 200, 0);
    Image dst = Packed(2, 5, 0, 0, 2, 5);
    ASSERT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
    EXPECT_EQ(Px(dst, 0, 3)[0], 59);
    EXPECT_EQ(Px(dst, 1, 3)[2], 59);
    EXPECT_EQ(Px(dst, 0, 4)[0], 200);
    // Row 2 (r = 1, g = 0.5) undershoots to -24 and is clamped.
    EXPECT_EQ(Px(dst, 0, 2)[0], 0);
}

TEST(ConvolveResize, HardEdgeOvershootIsClampedNotWrapped) {
    Image src = Packed(4, 1, 0, 0, 4, 1);
    SetPx(src, 2, 0, 255, 255, 255, 0);
    SetPx(src, 3, 0, 255, 255, 255, 0);
    Image dst = Packed(6, 2, 0, 0, 6, 2);  // step 2457: no smoothing
    ASSERT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
    int previous = 0;
    for (int c = 0; c < 6; ++c) {
        const int v = Px(dst, c, 0)[1];
        EXPECT_GE(v, previous) << c;
        previous = v;
    }
    EXPECT_EQ(Px(dst, 0, 0)[1], 0);
    EXPECT_EQ(Px(dst, 4, 0)[1], 255);  // 255 * 1.144 before the clamp
}

TEST(ConvolveResize, UniformStaysUniformAndAlphaComesFromNearestUpperLeft) {
    const int sizes[][2] = {{2, 2}, {3, 5}, {7, 3}, {11, 9}, {20, 2}, {2, 20}};
    for (const auto& s : sizes) {
        for (const auto& d : sizes) {
            Image src = Packed(s[0], s[1], 0, 0, s[0], s[1]);
            for (int r = 0; r < s[1]; ++r)
                for (int c = 0; c < s[0]; ++c)
                    SetPx(src, c, r, 77, 200, 3, static_cast<uint8_t>(c));
            Image dst = Packed(d[0], d[1], 0, 0, d[0], d[1]);
            ASSERT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
            const int64_t stepX = ((int64_t(s[0]) << 12) - 4096) / (d[0] - 1);
            for (int r = 0; r < d[1]; ++r)
                for (int c = 0; c < d[0]; ++c) {
                    const uint8_t* p = Px(dst, c, r);
                    ASSERT_EQ(p[0], 77);
                    ASSERT_EQ(p[1], 200);
                    ASSERT_EQ(p[2], 3);
                    ASSERT_EQ(p[3], (c * stepX) >> 12);
                }
        }
    }
}

}  // namespace
