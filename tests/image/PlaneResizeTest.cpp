// Luma and chroma plane resizers and their dispatchers.
#include <gtest/gtest.h>

#include <climits>

#include "image/ImageBuffer.h"

using qvtest::FillPattern;
using qvtest::Image;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint8_t kSentinel = 0xA5;

TEST(LumaResize, BiLinearInterpolatesRowsAndCopiesLastSourceRowNearest) {
    Image src(2, 1, 0, 0, 2, 1);
    src.At(1, 0) = 100;
    Image dst(5, 2, 0, 0, 5, 2, kSentinel);
    ASSERT_EQ(DIB_ResizeBiLinerY(src.p, dst.p), 1);
    EXPECT_EQ(dst.Row(0, 0, 5), (Bytes{0, 25, 50, 75, 100}));
    EXPECT_EQ(dst.Row(1, 0, 5), (Bytes{0, 0, 0, 0, 100}));
}

TEST(LumaResize, SimulateAveragesFourNeighboursWithColumnHeldAtLast) {
    Image src(4, 2, 0, 0, 4, 2);
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 4; ++c)
            src.At(c, r) = static_cast<uint8_t>(40 * c);
    Image dst(2, 2, 0, 0, 2, 2, kSentinel);
    ASSERT_EQ(DIB_ResizeBiLinerY_Simulate(src.p, dst.p), 1);
    EXPECT_EQ(dst.Row(0, 0, 2), (Bytes{60, 120}));
    EXPECT_EQ(dst.Row(1, 0, 2), (Bytes{0, 120}));
}

TEST(LumaResize, NearestStepsWithoutPinningTheLastColumn) {
    Image src(3, 1, 0, 0, 3, 1);
    src.bytes = {10, 20, 30};
    Image dst(5, 2, 0, 0, 5, 2, kSentinel);
    ASSERT_EQ(DIB_ResizeNearY(src.p, dst.p), 1);
    // stepX = 2048: the last column lands on source column 2 by stepping alone.
    EXPECT_EQ(dst.Row(0, 0, 5), (Bytes{10, 10, 20, 20, 30}));
    EXPECT_EQ(dst.Row(1, 0, 5), (Bytes{10, 10, 20, 20, 30}));
}

TEST(LumaResize, IdentityAtEverySizeWithOffsetsInWiderBuffers) {
    for (int cx = 2; cx <= 9; ++cx) {
        for (int cy = 2; cy <= 9; ++cy) {
            Image src(cx + 5, cy + 3, 3, 2, cx, cy);
            FillPattern(src.bytes, cx * 31 + cy);
            for (auto resize : {DIB_ResizeNearY, DIB_ResizeBiLinerY}) {
                Image dst(cx + 4, cy + 2, 1, 1, cx, cy, kSentinel);
                ASSERT_EQ(resize(src.p, dst.p), 1);
                for (int r = 0; r < cy; ++r)
                    ASSERT_EQ(dst.Row(1 + r, 1, cx), src.Row(2 + r, 3, cx))
                        << cx << "x" << cy << " row " << r;
            }
        }
    }
}

TEST(LumaResize, MarginsOfCoveredRowsBecomeBlackOtherRowsUntouched) {
    Image src(7, 5, 0, 0, 7, 5, 200);
    for (auto resize : {DIB_ResizeNearY, DIB_ResizeBiLinerY}) {
        Image dst(10, 6, 2, 1, 5, 3, kSentinel);
        ASSERT_EQ(resize(src.p, dst.p), 1);
        for (int r = 0; r < 6; ++r) {
            const bool covered = r >= 1 && r <= 3;
            for (int c = 0; c < 10; ++c) {
                const bool inside = covered && c >= 2 && c < 7;
                const uint8_t want = inside ? 200 : covered ? 16 : kSentinel;
                ASSERT_EQ(dst.At(c, r), want) << "col " << c << " row " << r;
            }
        }
    }
    // The averaging variant leaves margins alone.
    Image dst(10, 6, 2, 1, 5, 3, kSentinel);
    ASSERT_EQ(DIB_ResizeBiLinerY_Simulate(src.p, dst.p), 1);
    EXPECT_EQ(dst.At(0, 1), kSentinel);
    EXPECT_EQ(dst.At(9, 3), kSentinel);
}

TEST(ChromaResize, NearestWritesHalfSamplesLastRowFromLastLumaRow) {
    // Luma 4x4 source (2x2 chroma) onto luma 6x4 (3x2 chroma).
    Image src(2, 2, 0, 0, 4, 4);
    src.bytes = {1, 2, 3, 4};
    Image dst(3, 2, 0, 0, 6, 4, kSentinel);
    ASSERT_EQ(DIB_ResizeNearUV(src.p, dst.p), 1);
    // stepX = 12288 / 5 = 2457: luma columns 0, 1, 2 -> chroma 0, 0, 1.
    EXPECT_EQ(dst.Row(0, 0, 3), (Bytes{1, 1, 2}));
    EXPECT_EQ(dst.Row(1, 0, 3), (Bytes{3, 3, 4}));
}

TEST(ChromaResize, BiLinearUpscaleWritesEverySampleLastRowFromLastChromaRow) {
    Image src(2, 2, 0, 0, 4, 4);
    src.bytes = {0, 200, 100, 40};
    Image dst(4, 4, 0, 0, 8, 8, kSentinel);
    ASSERT_EQ(DIB_ResizeBiLinerUV(src.p, dst.p), 1);
    for (uint8_t b : dst.bytes)
        EXPECT_NE(b, kSentinel);
    // stepX = 12288 / 7 = 1755; luma columns 0, 2, 4, 6 sit at xs 0, 0, 1, 2 (fx 0, 3510,
    // 7020, 10530): chroma 0 and 1 are only mixed at the odd luma position xs = 1.
    EXPECT_EQ(dst.Row(0, 0, 4), (Bytes{0, 0, (0 * (4096 - 2924) + 200 * 2924) >> 12, 200}));
    EXPECT_EQ(dst.Row(3, 0, 4), (Bytes{100, 100, 100, 40}));
}

TEST(ChromaResize, IdentityForOddPicturesReadsNothingPastThePlane) {
    for (int w : {3, 5, 7}) {
        for (int h : {3, 5, 6}) {
            const int cw = (w + 1) / 2, ch = (h + 1) / 2;
            Image src(cw, ch, 0, 0, w, h);
            FillPattern(src.bytes, w * 7 + h);
            for (auto resize : {DIB_ResizeNearUV, DIB_ResizeBiLinerUV}) {
                Image dst(cw, ch, 0, 0, w, h, kSentinel);
                ASSERT_EQ(resize(src.p, dst.p), 1);
                EXPECT_EQ(dst.bytes, src.bytes) << w << "x" << h;
            }
        }
    }
}

TEST(ChromaResize, DownscaleOfOddPictureStaysInsideExactBuffers) {
    // Odd source: the (xs + 1) / 2 neighbour of the last sample lies past the plane.
    Image src(4, 4, 0, 0, 7, 7);
    FillPattern(src.bytes, 3);
    Image dst(2, 2, 0, 0, 4, 3, kSentinel);
    EXPECT_EQ(DIB_ResizeBiLinerUV(src.p, dst.p), 1);
    EXPECT_EQ(DIB_ResizeNearUV(src.p, dst.p), 1);
}

TEST(PlaneResize, RefusesDescriptorsThatCannotBeWalked) {
    auto resizers = {DIB_ResizeNearY, DIB_ResizeBiLinerY, DIB_ResizeBiLinerY_Simulate,
                     DIB_ResizeNearUV, DIB_ResizeBiLinerUV, DIB_ResizeNear8};
    Image src(8, 8, 0, 0, 8, 8, 50);
    auto refused = [&](const IMG_PARAM& s, const IMG_PARAM& d) {
        for (auto resize : resizers) {
            Image dst(8, 8, 0, 0, 8, 8, kSentinel);
            IMG_PARAM dp = d;
            dp.pBits = d.pBits ? dst.bytes.data() : nullptr;
            if (resize(s, dp) != 0)
                return false;
            for (uint8_t b : dst.bytes)
                if (b != kSentinel)
                    return false;
        }
        return true;
    };
    Image goodDst(8, 8, 0, 0, 8, 8);
    const IMG_PARAM good = goodDst.p;
    auto with = [&](IMG_PARAM p, int IMG_PARAM::*field, int value) {
        p.*field = value;
        return p;
    };
    EXPECT_TRUE(refused(src.p, with(good, &IMG_PARAM::cx, 1)));
    EXPECT_TRUE(refused(src.p, with(good, &IMG_PARAM::cy, 1)));
    EXPECT_TRUE(refused(src.p, with(good, &IMG_PARAM::cy, -4)));
    EXPECT_TRUE(refused(src.p, with(good, &IMG_PARAM::x, -1)));
    EXPECT_TRUE(refused(src.p, with(good, &IMG_PARAM::pitch, -8)));
    EXPECT_TRUE(refused(with(src.p, &IMG_PARAM::cx, 0), good));
    EXPECT_TRUE(refused(with(src.p, &IMG_PARAM::y, -2), good));
    EXPECT_TRUE(refused(with(src.p, &IMG_PARAM::cx, INT_MAX / 2048), good));
    IMG_PARAM nullDst = good;
    nullDst.pBits = nullptr;
    EXPECT_TRUE(refused(src.p, nullDst));
    IMG_PARAM nullSrc = src.p;
    nullSrc.pBits = nullptr;
    EXPECT_TRUE(refused(nullSrc, good));
}

TEST(PlaneDispatch, SelectsResizerByInterpolation) {
    Image src(2, 1, 0, 0, 2, 1);
    src.At(1, 0) = 100;
    Image bilinear(5, 2, 0, 0, 5, 2), nearest(5, 2, 0, 0, 5, 2);
    for (auto m : {IMAGE_INTERPOLATION_DEFAULT, IMAGE_INTERPOLATION_BILINEAR}) {
        Image dst(5, 2, 0, 0, 5, 2);
        ASSERT_EQ(ImageResizeY(src.p, dst.p, m), 1);
        EXPECT_EQ(dst.Row(0, 0, 5), (Bytes{0, 25, 50, 75, 100}));
    }
    Image dst(5, 2, 0, 0, 5, 2);
    ASSERT_EQ(ImageResizeY(src.p, dst.p, IMAGE_INTERPOLATION_NEAREST), 1);
    EXPECT_EQ(dst.Row(0, 0, 5), (Bytes{0, 0, 0, 0, 100}));

    Image csrc(2, 2, 0, 0, 4, 4);
    csrc.bytes = {0, 200, 100, 40};
    Image cnear(4, 4, 0, 0, 8, 8), cbil(4, 4, 0, 0, 8, 8), wantNear(4, 4, 0, 0, 8, 8),
        wantBil(4, 4, 0, 0, 8, 8);
    ASSERT_EQ(ImageResizeUV(csrc.p, cnear.p, IMAGE_INTERPOLATION_NEAREST), 1);
    ASSERT_EQ(ImageResizeUV(csrc.p, cbil.p, IMAGE_INTERPOLATION_DEFAULT), 1);
    DIB_ResizeNearUV(csrc.p, wantNear.p);
    DIB_ResizeBiLinerUV(csrc.p, wantBil.p);
    EXPECT_EQ(cnear.bytes, wantNear.bytes);
    EXPECT_EQ(cbil.bytes, wantBil.bytes);
    EXPECT_NE(cnear.bytes, cbil.bytes);
}

TEST(PlaneDispatch, UnknownInterpolationReturnsZeroAndTouchesNothing) {
    Image src(4, 4, 0, 0, 4, 4, 9);
    for (int m : {3, 4, -1}) {
        const auto method = static_cast<IMAGE_INTERPOLATION>(m);
        for (auto dispatch : {ImageResize8, ImageResizeY, ImageResizeUV}) {
            Image dst(6, 6, 1, 1, 4, 4, kSentinel);
            EXPECT_EQ(dispatch(src.p, dst.p, method), 0) << m;
            EXPECT_EQ(dst.bytes, Bytes(36, kSentinel)) << m;
        }
    }
}

struct Yv12 {
    Image y, u, v;
    Yv12(int w, int h, uint8_t fill)
        : y(w, h, 0, 0, w, h, fill),
          u((w + 1) / 2, (h + 1) / 2, 0, 0, w, h, fill),
          v((w + 1) / 2, (h + 1) / 2, 0, 0, w, h, fill) {}
};

TEST(PlaneDispatch, Yv12ResizesPlanesInOrderYVUIgnoringDescriptorBuffers) {
    Yv12 src(4, 4, 0);
    src.u.bytes = {10, 10, 10, 10};
    src.v.bytes = {70, 70, 70, 70};
    Yv12 dst(8, 8, kSentinel);
    IMG_PARAM s = src.y.p, d = dst.y.p;
    s.pBits = d.pBits = nullptr;
    s.pitch = d.pitch = -1;
    // One chroma destination for both: the plane written last (U) remains.
    ASSERT_EQ(ImageResizeYV12(s, src.y.bytes.data(), src.u.bytes.data(), src.v.bytes.data(), 4, 2,
                              2, d, dst.y.bytes.data(), dst.u.bytes.data(), dst.u.bytes.data(), 8,
                              4, 4, IMAGE_INTERPOLATION_BILINEAR),
              1);
    EXPECT_EQ(dst.y.bytes, Bytes(64, 0));
    EXPECT_EQ(dst.u.bytes, Bytes(16, 10));
    EXPECT_EQ(dst.v.bytes, Bytes(16, kSentinel));
}

TEST(PlaneDispatch, Yv12RefusesNarrowDestinationAndSkipsUnknownInterpolation) {
    Yv12 src(4, 4, 1);
    for (int cx : {1, 8}) {
        Yv12 dst(8, 8, kSentinel);
        IMG_PARAM d = dst.y.p;
        d.cx = cx;
        const int want = cx == 1 ? 0 : 1;
        EXPECT_EQ(ImageResizeYV12(src.y.p, src.y.bytes.data(), src.u.bytes.data(),
                                  src.v.bytes.data(), 4, 2, 2, d, dst.y.bytes.data(),
                                  dst.u.bytes.data(), dst.v.bytes.data(), 8, 4, 4,
                                  cx == 1 ? IMAGE_INTERPOLATION_NEAREST
                                          : IMAGE_INTERPOLATION_CONVOLVE),
                  want);
        EXPECT_EQ(dst.y.bytes, Bytes(64, kSentinel));
        EXPECT_EQ(dst.u.bytes, Bytes(16, kSentinel));
        EXPECT_EQ(dst.v.bytes, Bytes(16, kSentinel));
    }
}

}  // namespace
