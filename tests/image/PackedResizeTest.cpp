// Properties shared by every resizer, the packed 4-byte members, cubic convolution,
// alpha compositing and the stretch-mask resizers.
#include <gtest/gtest.h>

#include "image/ImageBuffer.h"

using namespace qvtest;

namespace {

// The luma members blacken the margins of the rows they cover.
struct Kind { Resizer f; int bpp; bool bottomUp, blackMargins; };
const Kind kCopying[] = {
    {DIB_ResizeNear, 4, true, false},     {DIB_ResizeNear8, 1, false, false},
    {DIB_ResizeBiLiner, 4, true, false},  {DIB_ResizeBiLiner8, 1, true, false},
    {DIB_ResizeConvolve, 4, true, false}, {DIB_ResizeNearY, 1, false, true},
    {DIB_ResizeBiLinerY, 1, false, true}};

TEST(AnyResizer, ReadsAndWritesOnlyTheRectanglesAndIdentityCopies) {
    for (const Kind& k : kCopying)
        for (int cx = 2; cx <= 7; ++cx)
            for (int cy = 2; cy <= 6; ++cy) {
                // Source rectangle at (2, 3); `other` differs from `src` only outside it.
                Image src(k.bpp * (cx + 3), cy + 4, 2, 3, cx, cy), other(src);
                FillPattern(src.bytes, cx * 13 + cy);
                for (int r = 0; r < cy + 4; ++r)
                    for (int c = 0; c < k.bpp * (cx + 3); ++c) {
                        const int pr = k.bottomUp ? cy + 3 - r : r;
                        const bool in = pr >= 3 && pr < 3 + cy && c >= 2 * k.bpp && c < (cx + 2) * k.bpp;
                        other.At(c, r) = in ? src.At(c, r) : 255 - src.At(c, r);
                    }
                for (int dcx : {9 - cx, cx}) {  // scaled, then identity
                    const int dcy = dcx == cx ? cy : 8 - cy;
                    Image dst(k.bpp * (dcx + 3), dcy + 3, 1, 2, dcx, dcy, kSentinel), dst2(dst);
                    ASSERT_EQ(k.f(src.p, dst.p), 1);
                    ASSERT_EQ(k.f(other.p, dst2.p), 1);
                    ASSERT_EQ(dst.bytes, dst2.bytes) << k.bpp << " " << cx << "x" << cy << " to " << dcx;
                    for (int r = 0; dcx == cx && r < cy + 3; ++r) {  // picture rows
                        const bool covered = r >= 2 && r < 2 + cy;
                        Bytes want(dst.p.pitch, covered && k.blackMargins ? 16 : kSentinel);
                        if (covered) {
                            const Bytes in = src.Row(k.bottomUp ? cy + 2 - r : r + 1, 2 * k.bpp, cx * k.bpp);
                            std::copy(in.begin(), in.end(), want.begin() + k.bpp);
                        }
                        ASSERT_EQ(dst.Row(k.bottomUp ? cy + 2 - r : r, 0, dst.p.pitch), want) << cx << "x" << cy;
                    }
                }
            }
}

TEST(AnyResizer, RefusesWithoutWritingWhatItCannotWalk) {
    const struct { bool onSrc; int32_t IMG_PARAM::*field; int value; } bad[] = {
        {false, &IMG_PARAM::cx, 1}, {false, &IMG_PARAM::cy, 1},   {false, &IMG_PARAM::x, -1},
        {false, &IMG_PARAM::pitch, -1}, {true, &IMG_PARAM::cx, 0}, {true, &IMG_PARAM::y, -2},
        {true, &IMG_PARAM::cx, 1 << 19},  // cx << 12 would overflow
        {false, &IMG_PARAM::y, 5}};       // below `height` rows: checked for bottom-up buffers only
    const Resizer bottomUpFirst[] = {
        DIB_ResizeNear, DIB_ResizeBiLiner, DIB_ResizeBiLiner8, DIB_ResizeConvolve, DIB_AlphaResizeBiLiner,
        StretchMaskResizeNear, StretchMaskResizeBiLiner, DIB_ResizeNear8, DIB_ResizeNearY,
        DIB_ResizeNearUV, DIB_ResizeBiLinerY, DIB_ResizeBiLinerUV, DIB_ResizeBiLinerY_Simulate};
    Image src(32, 8, 0, 0, 4, 4, 50);
    for (int i = 0; i < 13; ++i)
        for (int v = 0; v < (i < 7 ? 10 : 9); ++v) {
            Image dst(32, 8, 0, 0, 4, 4, kSentinel);
            IMG_PARAM s = src.p, d = dst.p;
            IMG_PARAM& p = v < 2 ? (v ? s : d) : bad[v - 2].onSrc ? s : d;  // 0, 1: no buffer
            if (v < 2)
                p.pBits = nullptr;
            else
                p.*(bad[v - 2].field) = bad[v - 2].value;
            EXPECT_EQ(bottomUpFirst[i](s, d), 0) << i << " " << v;
            EXPECT_EQ(dst.bytes, Bytes(256, kSentinel)) << i << " " << v;
        }
}

TEST(PackedResize, BiLinearTakesAlphaFromUpperLeftAndBothPinTheLastColumn) {
    Image src = Packed(4, 3, 0, 0, 4, 3), dst = Packed(7, 5, 0, 0, 7, 5);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c)
            std::copy_n(Bytes{uint8_t(60 * c), uint8_t(60 * r), 255, uint8_t(c % 2 ? 255 : 0)}.begin(), 4,
                        Px(src, c, r));
    ASSERT_EQ(DIB_ResizeBiLiner(src.p, dst.p), 1);
    EXPECT_EQ(PxBytes(dst, 1, 1), (Bytes{30, 30, 255, 0}));  // at (0.5, 0.5): alpha of (0, 0)
    EXPECT_EQ(PxBytes(dst, 2, 1), (Bytes{60, 30, 255, 255}));
    // 6 columns (step 2457): column 5 would sit at 2 + 4093 / 4096; it is pinned to 3.
    for (Resizer f : {DIB_ResizeNear, DIB_ResizeBiLiner}) {
        Image six = Packed(6, 5, 0, 0, 6, 5);
        ASSERT_EQ(f(src.p, six.p), 1);
        EXPECT_EQ(PxBytes(six, 5, 1), (Bytes{180, 0, 255, 255}));
        EXPECT_EQ(PxBytes(six, 5, 4), (Bytes{180, 120, 255, 255}));  // last row
    }
}

// Grey 0, 0, 90, 90, ... along one direction: the first destination pixel (fraction 0,
// taps 0, 0, 1, 2) is (0 + 0 + 90 / 3) / 2 = 15 if the inner taps are smoothed, else 0.
int FirstConvolved(bool horizontal, int srcLen, int dstLen) {
    Image src = horizontal ? Packed(srcLen, 1, 0, 0, srcLen, 1) : Packed(1, srcLen, 0, 0, 1, srcLen);
    Image dst = horizontal ? Packed(dstLen, 2, 0, 0, dstLen, 2) : Packed(2, dstLen, 0, 0, 2, dstLen);
    for (int i = 2; i < srcLen; ++i)
        std::fill_n(Px(src, horizontal ? i : 0, horizontal ? 0 : i), 3, 90);
    EXPECT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
    return Px(dst, 0, 0)[1];
}

TEST(ConvolveResize, SmoothingThresholdsEdgeTapsClampingAndUniformity) {
    for (bool h : {true, false}) {
        EXPECT_EQ(FirstConvolved(h, 3, 5), 15);  // step 2048
        EXPECT_EQ(FirstConvolved(h, 3, 4), 0);   // step 2730
        EXPECT_EQ(FirstConvolved(h, 5, 3), 15);  // step 8192
    }
    EXPECT_EQ(FirstConvolved(true, 8192, 4097), 0);  // step 8191
    // Column 0, 0, 0, 200 onto 5 rows (step 3072). Row 3: r = 2, g = 0.25, tap rows
    // 1, 2, 3 and 2 again: 200 * W(0.75) = 59.375 -> 59 (50 with row 3 as lowest tap).
    // Row 2: r = 1, g = 0.5: 200 * W(1.5) = -25, clamped to 0.
    Image src = Packed(1, 4, 0, 0, 1, 4), dst = Packed(2, 5, 0, 0, 2, 5);
    std::fill_n(Px(src, 0, 3), 3, 200);
    ASSERT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
    EXPECT_EQ(PxBytes(dst, 1, 3), (Bytes{59, 59, 59, 0}));
    EXPECT_EQ(Px(dst, 0, 2)[0], 0);
    // A hard edge 0, 0, 255, 255 overshoots above 255 at column 4: it must not wrap.
    Image edge = Packed(4, 1, 0, 0, 4, 1, 255), out = Packed(6, 2, 0, 0, 6, 2);
    std::fill_n(Px(edge, 0, 0), 8, 0);
    ASSERT_EQ(DIB_ResizeConvolve(edge.p, out.p), 1);
    EXPECT_EQ(Px(out, 4, 0)[0], 255);
    for (int w : {2, 3, 7, 20})
        for (int h : {2, 5, 9}) {
            Image src = Packed(w, h, 0, 0, w, h, 77), dst = Packed(h + 1, w, 0, 0, h + 1, w);
            ASSERT_EQ(DIB_ResizeConvolve(src.p, dst.p), 1);
            ASSERT_EQ(dst.bytes, Bytes(dst.bytes.size(), 77));
        }
}

// A w x h rectangle inside a one-pixel border, every pixel {colour x3, alpha}.
Image Background(int w, int h, uint8_t colour, uint8_t alpha) {
    Image img = Packed(w + 2, h + 2, 1, 1, w, h, colour);
    for (size_t i = 3; i < img.bytes.size(); i += 4)
        img.bytes[i] = alpha;
    return img;
}

// Every pixel of the rectangle is `inside`, every border pixel `border`.
void ExpectPixels(Image& img, Bytes inside, Bytes border) {
    const int w = img.p.pitch / 4, h = img.p.height;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c)
            ASSERT_EQ(PxBytes(img, c, r), r && c && r < h - 1 && c < w - 1 ? inside : border) << c << "," << r;
}

TEST(AlphaResize, ComposesSourceOverWhateverTheInterpolation) {
    Image src = Packed(5, 4, 0, 0, 5, 4), half = Packed(2, 2, 0, 0, 2, 2, 255);
    FillPattern(src.bytes, 21);
    for (size_t i = 3; i < half.bytes.size(); i += 4)
        half.bytes[i] = 128;
    for (uint8_t a : {255, 0}) {  // opaque: as the plain resizer; transparent: no change
        for (size_t i = 3; i < src.bytes.size(); i += 4)
            src.bytes[i] = a;
        Image composed = Background(8, 7, 9, 30), plain(composed);
        ASSERT_EQ(ImageAlphaResize(src.p, composed.p, IMAGE_INTERPOLATION(a ? 1 : 7)), 1);
        ASSERT_EQ(a ? DIB_ResizeBiLiner(src.p, plain.p) : 1, 1);
        EXPECT_EQ(composed.bytes, plain.bytes) << int(a);
        // 255 at alpha 128 over 0: colour 255 * 128 / 255; alpha 0 becomes 128, 255 stays.
        Image dst = Background(4, 3, 0, a);
        ASSERT_EQ(ImageAlphaResize(half.p, dst.p, IMAGE_INTERPOLATION(3)), 1);
        ExpectPixels(dst, {128, 128, 128, uint8_t(a ? 255 : 128)}, {0, 0, 0, a});
    }
}

TEST(StretchMask, ClearsWhereMaskIsZeroAndSetsOrScalesAlpha) {
    Image zero(2, 2, 0, 0, 2, 2, 0), full(2, 2, 0, 0, 2, 2, 255);
    for (Resizer f : {StretchMaskResizeNear, StretchMaskResizeBiLiner}) {
        Image dst = Background(5, 3, 60, 200);
        ASSERT_EQ(f(zero.p, dst.p), 1);
        ExpectPixels(dst, {0, 0, 0, 0}, {60, 60, 60, 200});
    }
    Image nearDst = Background(5, 3, 60, 200), bilDst = Background(5, 3, 60, 200);
    full.p.bitCount = 0;  // read only by the bilinear member, which takes 8-bit masks only
    ASSERT_EQ(StretchMaskResizeNear(full.p, nearDst.p), 1);
    EXPECT_EQ(ImageStretchMask(full.p, bilDst.p), 0);
    full.p.bitCount = 8;
    ASSERT_EQ(ImageStretchMask(full.p, bilDst.p), 1);
    ExpectPixels(nearDst, {60, 60, 60, 255}, {60, 60, 60, 200});  // alpha replaced
    ExpectPixels(bilDst, {60, 60, 60, 200}, {60, 60, 60, 200});   // alpha scaled by 255 / 255
    // Between 0 and 255 the bilinear mask keeps colour wherever it is not 0 and scales alpha.
    Image mask(2, 1, 0, 0, 2, 1), dst = Background(5, 2, 60, 200);
    mask.bytes = {0, 255};
    ASSERT_EQ(StretchMaskResizeBiLiner(mask.p, dst.p), 1);
    const int m[5] = {0, 63, 127, 191, 255};  // stepX 1024, last column pinned
    for (int c = 0; c < 5; ++c) {
        const uint8_t colour = m[c] ? 60 : 0;
        EXPECT_EQ(PxBytes(dst, c + 1, 1), (Bytes{colour, colour, colour, uint8_t(m[c] * 200 / 255)}));
    }
    EXPECT_EQ(PxBytes(dst, 4, 2), Bytes(4, 0));  // last row: nearest mask 0, 0, 0, 0, 255
    EXPECT_EQ(PxBytes(dst, 5, 2), (Bytes{60, 60, 60, 200}));
}

}  // namespace
