// Alpha compositing resize and the stretch-mask resizers.
#include <gtest/gtest.h>

#include "image/ImageBuffer.h"

using namespace qvtest;

namespace {

// A w x h rectangle inside a one-pixel border, every pixel {colour x3, alpha}.
Image Background(int w, int h, uint8_t colour, uint8_t alpha) {
    Image img = Packed(w + 2, h + 2, 1, 1, w, h);
    for (size_t i = 0; i < img.bytes.size(); ++i)
        img.bytes[i] = i % 4 == 3 ? alpha : colour;
    return img;
}

// Every pixel of the rectangle is `inside`, every border pixel `border`.
void ExpectPixels(Image& img, Bytes inside, Bytes border) {
    const int w = img.p.pitch / 4, h = img.p.height;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c)
            ASSERT_EQ(PxBytes(img, c, r), r && c && r < h - 1 && c < w - 1 ? inside : border) << c << "," << r;
}

TEST(AlphaResize, OpaqueSourceMatchesBilinearTransparentChangesNothing) {
    Image src = Packed(5, 4, 0, 0, 5, 4);
    FillPattern(src.bytes, 21);
    for (uint8_t a : {255, 0}) {
        for (size_t i = 3; i < src.bytes.size(); i += 4)
            src.bytes[i] = a;
        Image composed = Background(8, 7, 9, 30), plain = Background(8, 7, 9, 30);
        ASSERT_EQ(DIB_AlphaResizeBiLiner(src.p, composed.p), 1);
        ASSERT_EQ(a ? DIB_ResizeBiLiner(src.p, plain.p) : 1, 1);
        EXPECT_EQ(composed.bytes, plain.bytes) << int(a);
    }
}

TEST(AlphaResize, HalfAlphaBlendsColourAndAlphaForEveryInterpolation) {
    Image src = Packed(2, 2, 0, 0, 2, 2, 255);
    for (size_t i = 3; i < src.bytes.size(); i += 4)
        src.bytes[i] = 128;
    for (uint8_t alpha : {0, 255})
        for (int m : {0, 1, 3, 7}) {
            Image dst = Background(4, 3, 0, alpha);
            ASSERT_EQ(ImageAlphaResize(src.p, dst.p, IMAGE_INTERPOLATION(m)), 1);
            ExpectPixels(dst, {128, 128, 128, uint8_t(alpha ? 255 : 128)}, {0, 0, 0, alpha});
        }
}

TEST(StretchMask, ZeroMaskClearsFullMaskKeepsColour) {
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
}

TEST(StretchMask, BilinearEdgeScalesAlphaAndKeepsColourWhereMaskIsNotZero) {
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
