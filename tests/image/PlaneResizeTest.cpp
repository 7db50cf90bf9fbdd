// 8-bit, luma and chroma plane resizers and the plane dispatchers.
#include <gtest/gtest.h>

#include "image/ImageBuffer.h"

using namespace qvtest;

namespace {

TEST(PlaneResize, WorkedExamplesPinTheLastColumnOnlyWhereStated) {
    // Row 0, 0, 200 onto 4 columns (step 2730): column 3 sits at 1 + 4094 / 4096.
    constexpr uint8_t B = 16, S = kSentinel;  // margins blackened, margins untouched
    const struct { Resizer f; Bytes want; } cases[] = {
        {DIB_ResizeNearY, {B, 0, 0, 0, 0, B, B, 0, 0, 0, 0, B}},
        {DIB_ResizeBiLinerY, {B, 0, 0, 66, 199, B, B, 0, 0, 0, 0, B}},  // 200 * 1364 >> 12, 200 * 4094 >> 12
        {DIB_ResizeBiLiner8, {S, 0, 0, 0, 200, S, S, 0, 0, 66, 200, S}},  // bottom-up
        {DIB_ResizeBiLinerY_Simulate, {S, 0, 0, 0, 100, S, S, 0, 0, 0, 0, S}},
        {DIB_ResizeNear8, {S, 0, 0, 200, 200, S, S, 0, 0, 200, 200, S}}};  // (2 + 3i) / 4 rounds
    for (const auto& k : cases) {
        Image src(3, 1, 0, 0, 3, 1), dst(6, 2, 1, 0, 4, 2, kSentinel);
        src.bytes = {0, 0, 200};
        ASSERT_EQ(k.f(src.p, dst.p), 1);
        EXPECT_EQ(dst.bytes, k.want);
    }
}

TEST(ChromaResize, WorkedExamplesAndOddPictures) {
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
    // Odd pictures: identity is exact and nothing strays outside exactly sized planes.
    for (int w : {3, 5, 7})
        for (int h : {3, 6})
            for (Resizer f : {DIB_ResizeNearUV, DIB_ResizeBiLinerUV}) {
                Image src((w + 1) / 2, (h + 1) / 2, 0, 0, w, h), same(src), small(2, 2, 0, 0, 4, 3);
                FillPattern(src.bytes, w * 7 + h);
                ASSERT_EQ(f(src.p, same.p), 1);
                EXPECT_EQ(same.bytes, src.bytes) << w << "x" << h;
                EXPECT_EQ(f(src.p, small.p), 1);
            }
}

TEST(Dispatch, PicksTheResizerPerKindOrReturnsZeroAndYv12WalksYThenVThenU) {
    const struct { int (*dispatch)(const IMG_PARAM&, IMG_PARAM&, IMAGE_INTERPOLATION); Resizer byValue[4]; } rows[] = {
        {ImageResize, {DIB_ResizeBiLiner, DIB_ResizeNear, DIB_ResizeBiLiner, DIB_ResizeConvolve}},
        {ImageResize8, {DIB_ResizeBiLiner8, DIB_ResizeNear8, DIB_ResizeBiLiner8, nullptr}},
        {ImageResizeY, {DIB_ResizeBiLinerY, DIB_ResizeNearY, DIB_ResizeBiLinerY, nullptr}},
        {ImageResizeUV, {DIB_ResizeBiLinerUV, DIB_ResizeNearUV, DIB_ResizeBiLinerUV, nullptr}}};
    Image src(20, 4, 0, 0, 5, 4);
    FillPattern(src.bytes, 11);
    for (const auto& row : rows)
        for (int m : {0, 1, 2, 3, 4, -1}) {
            Image got(32, 7, 0, 0, 8, 7, kSentinel), want(got);
            Resizer f = m >= 0 && m < 4 ? row.byValue[m] : nullptr;  // null: none for this kind
            EXPECT_EQ(row.dispatch(src.p, got.p, IMAGE_INTERPOLATION(m)), f ? 1 : 0) << m;
            EXPECT_EQ(f ? f(src.p, want.p) : 0, f ? 1 : 0);
            EXPECT_EQ(got.bytes, want.bytes) << m;
        }
    // The 4:2:0 dispatcher resizes Y, V, U from its pointers and checks only the size.
    Image sy(4, 4, 0, 0, 4, 4), su(2, 2, 0, 0, 4, 4, 10), sv(2, 2, 0, 0, 4, 4, 70);
    for (auto [cx, m] : {std::pair{8, 2}, {1, 2}, {8, 3}}) {
        Image dy(8, 8, 0, 0, 8, 8, kSentinel), du(4, 4, 0, 0, 8, 8, kSentinel);
        IMG_PARAM s{nullptr, 4, 4, -1, 8, 0, 0, 4, 4}, d{nullptr, 8, 8, -1, 8, 0, 0, cx, 8};  // no buffers
        // V and U share one destination: U, written last, remains.
        EXPECT_EQ(ImageResizeYV12(s, sy.bytes.data(), su.bytes.data(), sv.bytes.data(), 4, 2, 2, d,
                                  dy.bytes.data(), du.bytes.data(), du.bytes.data(), 8, 4, 4,
                                  IMAGE_INTERPOLATION(m)), cx > 1 ? 1 : 0);
        const bool done = cx > 1 && m == 2;
        EXPECT_EQ(dy.bytes, Bytes(64, done ? 0 : kSentinel));
        EXPECT_EQ(du.bytes, Bytes(16, done ? 10 : kSentinel));
    }
}

}  // namespace
