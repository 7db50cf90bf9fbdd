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
    // Any 32-bit value is an IMAGE_INTERPOLATION (brace initialisation compiles
    // only with the fixed underlying type); unknown ones are refused.
    for (const auto& row : rows)
        for (int32_t m : {0, 1, 2, 3, 4, -1, INT32_MIN, INT32_MAX}) {
            Image got(32, 7, 0, 0, 8, 7, kSentinel), want(got);
            Resizer f = m >= 0 && m < 4 ? row.byValue[m] : nullptr;  // null: none for this kind
            EXPECT_EQ(row.dispatch(src.p, got.p, IMAGE_INTERPOLATION{m}), f ? 1 : 0) << m;
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

// Enlarging by 3x or more, the rounded tables reach one sample past the
// rectangle: read where the buffer has it, the buffer's last sample where not.
TEST(PlaneResize, NearestTablesStayInsideExactlySizedBuffers) {
    for (int n : {1, 2})
        for (int scale : {3, 4, 5, 8}) {
            const int side = n + 2, out = n * scale;
            // The rectangle in the last corner, then one sample in from it.
            for (int at : {side - n, side - n - 1}) {
                Image src(side, side, at, at, n, n);
                FillPattern(src.bytes, side * 31 + at);
                Bytes exact(src.bytes.size() + 2 * side + 1, 0);  // room for the literal read
                Image roomy(side + 1, side + 1, at, at, n, n);
                for (int r = 0; r < side; ++r)
                    for (int c = 0; c < side; ++c) roomy.At(c, r) = src.At(c, r);
                for (int c = 0; c <= side; ++c) roomy.At(c, side) = roomy.At(std::min(c, side - 1), side - 1);
                for (int r = 0; r <= side; ++r) roomy.At(side, r) = roomy.At(side - 1, std::min(r, side - 1));
                Image got(out, out, 0, 0, out, out, kSentinel), want(got);
                ASSERT_EQ(ImageResize8(src.p, got.p, IMAGE_INTERPOLATION_NEAREST), 1);
                ASSERT_EQ(DIB_ResizeNear8(roomy.p, want.p), 1);
                EXPECT_EQ(got.bytes, want.bytes) << n << "x" << n << " at " << at << " by " << scale;
            }
        }
}

// Planes stored bottom-up and passed as their top row with a negative pitch
// resize exactly as the same planes stored top-down.
TEST(PlaneResize, NegativePitchesWalkRowsUpwards) {
    const Resizer topDown[] = {DIB_ResizeNearY, DIB_ResizeBiLinerY, DIB_ResizeNearUV,
                               DIB_ResizeBiLinerUV, DIB_ResizeNear8, DIB_ResizeBiLinerY_Simulate};
    for (Resizer f : topDown)
        for (auto [dcx, dcy] : {std::pair{5, 7}, {12, 3}}) {
            Image src(9, 6, 1, 1, 7, 4), flipped(src);
            FillPattern(src.bytes, dcx * 3 + dcy);
            for (int r = 0; r < 6; ++r)
                for (int c = 0; c < 9; ++c) flipped.At(c, 5 - r) = src.At(c, r);
            Image want(16, 8, 2, 1, dcx, dcy, kSentinel), got(want);
            for (int r = 0; r < 8; ++r)
                for (int c = 0; c < 16; ++c) got.At(c, 7 - r) = want.At(c, r);
            flipped.p.pBits += 5 * 9, flipped.p.pitch = -9;
            got.p.pBits += 7 * 16, got.p.pitch = -16;
            ASSERT_EQ(f(src.p, want.p), 1);
            ASSERT_EQ(f(flipped.p, got.p), 1);
            got.p.pitch = 16;  // read back as stored
            for (int r = 0; r < 8; ++r) EXPECT_EQ(got.Row(7 - r, 0, 16), want.Row(r, 0, 16)) << r;
        }
}

}  // namespace
