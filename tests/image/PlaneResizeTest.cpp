// 8-bit, luma and chroma plane resizers and the plane dispatchers.
#include <gtest/gtest.h>

#include "image/ImageBuffer.h"

using namespace qvtest;

namespace {

constexpr uint8_t kSentinel = 0xA5;

// Resizes a whole w x h source holding `in` onto a whole dw x dh destination.
Bytes Resized(Resizer f, int w, int h, Bytes in, int dw, int dh) {
    Image src(w, h, 0, 0, w, h), dst(dw, dh, 0, 0, dw, dh, kSentinel);
    src.bytes = in;
    EXPECT_EQ(f(src.p, dst.p), 1);
    return dst.bytes;
}

TEST(PlaneResize, WorkedExamples) {
    EXPECT_EQ(Resized(DIB_ResizeBiLinerY, 2, 1, {0, 100}, 5, 2),
              (Bytes{0, 25, 50, 75, 100, 0, 0, 0, 0, 100}));
    // Bottom-up: picture row 0 is stored last; the last column is pinned.
    EXPECT_EQ(Resized(DIB_ResizeBiLiner8, 2, 1, {0, 100}, 5, 2),
              (Bytes{0, 0, 0, 0, 100, 0, 25, 50, 75, 100}));
    EXPECT_EQ(Resized(DIB_ResizeBiLinerY_Simulate, 4, 2, {0, 40, 80, 120, 0, 40, 80, 120}, 2, 2),
              (Bytes{60, 120, 0, 120}));
    // Step 2048 reaches the last column by stepping alone.
    EXPECT_EQ(Resized(DIB_ResizeNearY, 3, 1, {10, 20, 30}, 5, 2),
              (Bytes{10, 10, 20, 20, 30, 10, 10, 20, 20, 30}));
    // Tables 0, 1 and the pinned 3.
    EXPECT_EQ(Resized(DIB_ResizeNear8, 4, 1, {10, 20, 30, 40}, 3, 2), (Bytes{10, 20, 40, 10, 20, 40}));
}

TEST(PlaneResize, LumaMarginsOfCoveredRowsBecomeBlackOtherRowsStay) {
    Image src(7, 5, 0, 0, 7, 5, 200);
    for (Resizer f : {DIB_ResizeNearY, DIB_ResizeBiLinerY, DIB_ResizeBiLinerY_Simulate}) {
        Image dst(10, 6, 2, 1, 5, 3, kSentinel);
        ASSERT_EQ(f(src.p, dst.p), 1);
        const uint8_t margin = f == DIB_ResizeBiLinerY_Simulate ? kSentinel : 16;
        for (int r = 0; r < 6; ++r)
            for (int c = 0; c < 10; ++c) {
                const bool rowIn = r >= 1 && r <= 3, in = rowIn && c >= 2 && c < 7;
                ASSERT_EQ(dst.At(c, r), in ? 200 : rowIn ? margin : kSentinel) << c << "," << r;
            }
    }
}

TEST(ChromaResize, WorkedExamples) {
    // Luma 4x4 (chroma 2x2) onto luma 6x4 (chroma 3x2): luma columns 0, 1, 2.
    Image src(2, 2, 0, 0, 4, 4), near(3, 2, 0, 0, 6, 4, kSentinel), dst(4, 4, 0, 0, 8, 8, kSentinel);
    src.bytes = {1, 2, 3, 4};
    ASSERT_EQ(DIB_ResizeNearUV(src.p, near.p), 1);
    EXPECT_EQ(near.bytes, (Bytes{1, 1, 2, 3, 3, 4}));
    src.bytes = {0, 200, 100, 40};
    ASSERT_EQ(DIB_ResizeBiLinerUV(src.p, dst.p), 1);
    // Luma columns 0, 2, 4, 6 at xs 0, 0, 1 (weight 2924), 2: only odd xs mixes samples.
    EXPECT_EQ(dst.Row(0, 0, 4), (Bytes{0, 0, 200 * 2924 >> 12, 200}));
    EXPECT_EQ(dst.Row(3, 0, 4), (Bytes{100, 100, 100, 40}));  // from the last chroma row
    EXPECT_EQ(std::count(dst.bytes.begin(), dst.bytes.end(), kSentinel), 0);
}

TEST(ChromaResize, OddPicturesStayInsideExactPlanes) {
    for (int w : {3, 5, 7})
        for (int h : {3, 6}) {
            Image src((w + 1) / 2, (h + 1) / 2, 0, 0, w, h);
            FillPattern(src.bytes, w * 7 + h);
            for (Resizer f : {DIB_ResizeNearUV, DIB_ResizeBiLinerUV}) {
                Image same((w + 1) / 2, (h + 1) / 2, 0, 0, w, h), small(2, 2, 0, 0, 4, 3);
                ASSERT_EQ(f(src.p, same.p), 1);
                EXPECT_EQ(same.bytes, src.bytes) << w << "x" << h;
                EXPECT_EQ(f(src.p, small.p), 1);
            }
        }
}

TEST(Dispatch, SelectsResizerOrReturnsZeroTouchingNothing) {
    struct Row {
        int (*dispatch)(const IMG_PARAM&, IMG_PARAM&, IMAGE_INTERPOLATION);
        Resizer byValue[4];  // interpolation 0..3, null: none for this kind
    } rows[] = {
        {ImageResize, {DIB_ResizeBiLiner, DIB_ResizeNear, DIB_ResizeBiLiner, DIB_ResizeConvolve}},
        {ImageResize8, {DIB_ResizeBiLiner8, DIB_ResizeNear8, DIB_ResizeBiLiner8, nullptr}},
        {ImageResizeY, {DIB_ResizeBiLinerY, DIB_ResizeNearY, DIB_ResizeBiLinerY, nullptr}},
        {ImageResizeUV, {DIB_ResizeBiLinerUV, DIB_ResizeNearUV, DIB_ResizeBiLinerUV, nullptr}},
    };
    Image src(20, 4, 0, 0, 5, 4);
    FillPattern(src.bytes, 11);
    for (const auto& row : rows)
        for (int m : {0, 1, 2, 3, 4, -1}) {
            Image got(32, 7, 0, 0, 8, 7, kSentinel), want(32, 7, 0, 0, 8, 7, kSentinel);
            Resizer f = m >= 0 && m < 4 ? row.byValue[m] : nullptr;
            EXPECT_EQ(row.dispatch(src.p, got.p, IMAGE_INTERPOLATION(m)), f ? 1 : 0) << m;
            if (f)
                f(src.p, want.p);
            EXPECT_EQ(got.bytes, want.bytes) << m;
        }
}

TEST(Dispatch, Yv12ResizesYThenVThenUIgnoringDescriptorBuffersAndChecksOnlyTheSize) {
    Image sy(4, 4, 0, 0, 4, 4), su(2, 2, 0, 0, 4, 4, 10), sv(2, 2, 0, 0, 4, 4, 70);
    for (int cx : {8, 1})
        for (int m : {2, 3}) {
            Image dy(8, 8, 0, 0, 8, 8, kSentinel), du(4, 4, 0, 0, 8, 8, kSentinel), dv(du);
            IMG_PARAM s = sy.p, d = dy.p;
            s.pBits = d.pBits = nullptr;
            s.pitch = d.pitch = -1;
            d.cx = cx;
            // V and U share one destination: U, written last, remains.
            EXPECT_EQ(ImageResizeYV12(s, sy.bytes.data(), su.bytes.data(), sv.bytes.data(), 4, 2, 2, d,
                                      dy.bytes.data(), du.bytes.data(), du.bytes.data(), 8, 4, 4,
                                      IMAGE_INTERPOLATION(m)),
                      cx > 1 ? 1 : 0);
            const bool done = cx > 1 && m == 2;
            EXPECT_EQ(dy.bytes, Bytes(64, done ? 0 : kSentinel));
            EXPECT_EQ(du.bytes, Bytes(16, done ? 10 : kSentinel));
            EXPECT_EQ(dv.bytes, Bytes(16, kSentinel));
        }
}

}  // namespace
