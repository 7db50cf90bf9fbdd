// Packed 4-byte and 8-bit resizers (nearest, bilinear) and the packed dispatcher.
#include <gtest/gtest.h>

#include "image/ImageBuffer.h"

using qvtest::FillPattern;
using qvtest::Image;
using qvtest::Packed;
using qvtest::Px;
using qvtest::SetPx;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint8_t kSentinel = 0xA5;

Bytes PixelBytes(Image& img, int col, int row) { return {Px(img, col, row), Px(img, col, row) + 4}; }

TEST(PackedNearest, StepsColumnsAndPinsLastColumnAndRow) {
    Image src = Packed(3, 1, 0, 0, 3, 1);
    for (int c = 0; c < 3; ++c)
        SetPx(src, c, 0, 10 * c, 10 * c + 1, 10 * c + 2, 10 * c + 3);
    Image dst = Packed(5, 2, 0, 0, 5, 2, kSentinel);
    ASSERT_EQ(DIB_ResizeNear(src.p, dst.p), 1);
    const int cols[5] = {0, 0, 1, 1, 2};
    for (int r = 0; r < 2; ++r)
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(PixelBytes(dst, i, r), PixelBytes(src, cols[i], 0)) << i << "," << r;

    Image sq = Packed(2, 2, 0, 0, 2, 2);
    FillPattern(sq.bytes, 5);
    Image out = Packed(3, 3, 0, 0, 3, 3);
    ASSERT_EQ(DIB_ResizeNear(sq.p, out.p), 1);
    const int idx[3] = {0, 0, 1};
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(PixelBytes(out, c, r), PixelBytes(sq, idx[c], idx[r]));
}

TEST(PackedNearest, EightBitTablesRoundToNearestAndPinTheLast) {
    Image src(4, 1, 0, 0, 4, 1);
    src.bytes = {10, 20, 30, 40};
    Image dst(3, 2, 0, 0, 3, 2, kSentinel);
    ASSERT_EQ(DIB_ResizeNear8(src.p, dst.p), 1);
    // colTable 0, 1, then the pinned 3.
    EXPECT_EQ(dst.Row(0, 0, 3), (Bytes{10, 20, 40}));
    EXPECT_EQ(dst.Row(1, 0, 3), (Bytes{10, 20, 40}));
}

TEST(PackedBiLinear, EightBitPinsLastColumnAndCopiesLastRowNearest) {
    Image src(2, 1, 0, 0, 2, 1);
    src.bytes = {0, 100};
    Image dst(5, 2, 0, 0, 5, 2, kSentinel);
    ASSERT_EQ(DIB_ResizeBiLiner8(src.p, dst.p), 1);
    // Bottom-up: picture row 0 is stored last.
    EXPECT_EQ(dst.Row(1, 0, 5), (Bytes{0, 25, 50, 75, 100}));
    EXPECT_EQ(dst.Row(0, 0, 5), (Bytes{0, 0, 0, 0, 100}));
}

TEST(PackedBiLinear, AlphaByteComesFromUpperLeftNeighbourColourIsInterpolated) {
    Image src = Packed(4, 3, 0, 0, 4, 3);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c)
            SetPx(src, c, r, 60 * c, 60 * r, 255, c % 2 ? 255 : 0);
    Image dst = Packed(7, 5, 0, 0, 7, 5);
    ASSERT_EQ(DIB_ResizeBiLiner(src.p, dst.p), 1);
    bool interpolated = false;
    for (int r = 0; r < 5; ++r)
        for (int c = 0; c < 7; ++c) {
            const uint8_t* p = Px(dst, c, r);
            EXPECT_TRUE(p[3] == 0 || p[3] == 255) << c << "," << r;
            EXPECT_EQ(p[2], 255);
            interpolated |= p[0] % 60 != 0;
        }
    EXPECT_TRUE(interpolated);
}

using Resizer = int (*)(const IMG_PARAM&, IMG_PARAM&);

struct PackedCase {
    const char* name;
    Resizer resize;
    int bpp;
    bool bottomUp;
};

const PackedCase kPacked[] = {
    {"Near", DIB_ResizeNear, 4, true},          {"Near8", DIB_ResizeNear8, 1, false},
    {"BiLiner", DIB_ResizeBiLiner, 4, true},    {"BiLiner8", DIB_ResizeBiLiner8, 1, true},
    {"Convolve", DIB_ResizeConvolve, 4, true},
};

TEST(PackedResize, IdentityCopiesRectangleAndLeavesTheRestOfTheBufferAlone) {
    for (const auto& k : kPacked) {
        for (int cx = 2; cx <= 7; ++cx) {
            for (int cy = 2; cy <= 6; ++cy) {
                Image src(k.bpp * (cx + 3), cy + 4, 2, 3, cx, cy);
                FillPattern(src.bytes, cx * 13 + cy);
                Image dst(k.bpp * (cx + 2), cy + 3, 1, 2, cx, cy, kSentinel);
                ASSERT_EQ(k.resize(src.p, dst.p), 1) << k.name;
                for (int r = 0; r < cy + 3; ++r) {
                    // Picture rows are stored reversed in bottom-up buffers.
                    const int stored = k.bottomUp ? cy + 2 - r : r;
                    const bool rowIn = r >= 2 && r < 2 + cy;
                    Bytes want(k.bpp * (cx + 2), kSentinel);
                    if (rowIn) {
                        const int srow = k.bottomUp ? (cy + 3) - (r - 2 + 3) : r - 2 + 3;
                        const Bytes in = src.Row(srow, 2 * k.bpp, cx * k.bpp);
                        std::copy(in.begin(), in.end(), want.begin() + k.bpp);
                    }
                    ASSERT_EQ(dst.Row(stored, 0, k.bpp * (cx + 2)), want)
                        << k.name << " " << cx << "x" << cy << " row " << r;
                }
            }
        }
    }
}

TEST(PackedResize, NothingOutsideTheSourceRectangleIsRead) {
    // Same rectangle, different surroundings: the results must agree.
    const int sizes[][2] = {{9, 7}, {3, 2}, {2, 2}, {5, 12}, {4, 3}};
    for (const auto& k : kPacked) {
        for (const auto& s : sizes) {
            Image dark(k.bpp * 8, 7, 2, 1, 5, 4, 0), light(k.bpp * 8, 7, 2, 1, 5, 4, 255);
            FillPattern(dark.bytes, 77);
            light.bytes = dark.bytes;
            for (int r = 0; r < 7; ++r)
                for (int c = 0; c < k.bpp * 8; ++c) {
                    const int pr = k.bottomUp ? 6 - r : r;  // picture row
                    if (pr < 1 || pr >= 5 || c < 2 * k.bpp || c >= 7 * k.bpp)
                        light.At(c, r) = 255 - dark.At(c, r);
                }
            Image a(k.bpp * s[0], s[1], 0, 0, s[0], s[1]), b(k.bpp * s[0], s[1], 0, 0, s[0], s[1]);
            ASSERT_EQ(k.resize(dark.p, a.p), 1);
            ASSERT_EQ(k.resize(light.p, b.p), 1);
            EXPECT_EQ(a.bytes, b.bytes) << k.name << " -> " << s[0] << "x" << s[1];
        }
    }
}

TEST(PackedResize, RefusesWithoutWritingBelowTwoPixelsOrOutsideBottomUpBuffer) {
    Image src = Packed(4, 4, 0, 0, 4, 4, 7);
    for (const auto& k : kPacked) {
        // Top-down buffers carry no height that the resizers read.
        for (int variant = 0; variant < (k.bottomUp ? 4 : 2); ++variant) {
            Image dst = Packed(4, 4, 0, 0, 4, 4, kSentinel);
            IMG_PARAM s = src.p;
            IMG_PARAM& d = dst.p;
            if (variant == 0)
                d.cy = 1;
            if (variant == 1)
                d.cx = 1;
            if (variant == 2)
                d.y = 1;  // rows 1..4 of a 4-row buffer
            if (variant == 3)
                s.height = 3;
            EXPECT_EQ(k.resize(s, d), 0) << k.name << " variant " << variant;
            EXPECT_EQ(dst.bytes, Bytes(64, kSentinel)) << k.name << " variant " << variant;
        }
    }
}

TEST(PackedDispatch, SelectsNearestBilinearOrConvolution) {
    Image src = Packed(5, 4, 0, 0, 5, 4);
    FillPattern(src.bytes, 11);
    const Resizer want[] = {DIB_ResizeBiLiner, DIB_ResizeNear, DIB_ResizeBiLiner,
                            DIB_ResizeConvolve};
    for (int m = 0; m < 4; ++m) {
        Image got = Packed(8, 7, 0, 0, 8, 7), ref = Packed(8, 7, 0, 0, 8, 7);
        ASSERT_EQ(ImageResize(src.p, got.p, static_cast<IMAGE_INTERPOLATION>(m)), 1);
        want[m](src.p, ref.p);
        EXPECT_EQ(got.bytes, ref.bytes) << m;
    }
    for (int m : {4, -1}) {
        Image dst = Packed(8, 7, 0, 0, 8, 7, kSentinel);
        EXPECT_EQ(ImageResize(src.p, dst.p, static_cast<IMAGE_INTERPOLATION>(m)), 0);
        EXPECT_EQ(dst.bytes, Bytes(dst.bytes.size(), kSentinel));
    }
}

}  // namespace
