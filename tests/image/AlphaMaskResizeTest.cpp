// Alpha compositing resize and the stretch-mask resizers.
#include <gtest/gtest.h>

#include "image/ImageBuffer.h"

using qvtest::FillPattern;
using qvtest::Image;
using qvtest::Packed;
using qvtest::Px;
using qvtest::SetPx;
using Bytes = std::vector<uint8_t>;

namespace {

Image Background(int w, int h, uint8_t colour, uint8_t alpha) {
    Image img = Packed(w + 2, h + 2, 1, 1, w, h);
    for (int r = 0; r < h + 2; ++r)
        for (int c = 0; c < w + 2; ++c)
            SetPx(img, c, r, colour, colour, colour, alpha);
    return img;
}

bool BorderUnchanged(Image& img, uint8_t colour, uint8_t alpha) {
    const int w = img.p.width, h = img.p.height;
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c)
            if (r == 0 || c == 0 || r == h - 1 || c == w - 1)
                if (Bytes(Px(img, c, r), Px(img, c, r) + 4) != Bytes{colour, colour, colour, alpha})
                    return false;
    return true;
}

TEST(AlphaResize, OpaqueSourceMatchesBilinearAndSetsFullAlpha) {
    Image src = Packed(5, 4, 0, 0, 5, 4);
    FillPattern(src.bytes, 21);
    for (size_t i = 3; i < src.bytes.size(); i += 4)
        src.bytes[i] = 255;
    Image composed = Background(8, 7, 9, 30);
    Image plain = Background(8, 7, 9, 30);
    ASSERT_EQ(DIB_AlphaResizeBiLiner(src.p, composed.p), 1);
    ASSERT_EQ(DIB_ResizeBiLiner(src.p, plain.p), 1);
    EXPECT_EQ(composed.bytes, plain.bytes);
    EXPECT_TRUE(BorderUnchanged(composed, 9, 30));
}

TEST(AlphaResize, TransparentSourceLeavesDestinationUnchanged) {
    Image src = Packed(3, 3, 0, 0, 3, 3);
    FillPattern(src.bytes, 4);
    for (size_t i = 3; i < src.bytes.size(); i += 4)
        src.bytes[i] = 0;
    Image dst = Background(6, 5, 40, 100);
    const Bytes before = dst.bytes;
    ASSERT_EQ(DIB_AlphaResizeBiLiner(src.p, dst.p), 1);
    EXPECT_EQ(dst.bytes, before);
}

TEST(AlphaResize, HalfAlphaBlendsColourAndAccumulatesAlphaForEveryInterpolation) {
    Image src = Packed(2, 2, 0, 0, 2, 2);
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 2; ++c)
            SetPx(src, c, r, 255, 255, 255, 128);
    for (uint8_t alpha : {0, 255}) {
        for (int m : {0, 1, 2, 3, 7}) {
            Image dst = Background(4, 3, 0, alpha);
            ASSERT_EQ(ImageAlphaResize(src.p, dst.p, static_cast<IMAGE_INTERPOLATION>(m)), 1);
            for (int r = 1; r <= 3; ++r)
                for (int c = 1; c <= 4; ++c)
                    EXPECT_EQ(Bytes(Px(dst, c, r), Px(dst, c, r) + 4),
                              (Bytes{128, 128, 128, alpha ? uint8_t(255) : uint8_t(128)}));
            EXPECT_TRUE(BorderUnchanged(dst, 0, alpha));
        }
    }
}

Image Mask(int w, int h, std::initializer_list<uint8_t> values) {
    Image m(w, h, 0, 0, w, h);
    m.bytes = values;
    return m;
}

TEST(StretchMask, AllZeroClearsAndAllFullKeepsColour) {
    for (auto resize : {StretchMaskResizeNear, StretchMaskResizeBiLiner}) {
        Image zero = Mask(2, 2, {0, 0, 0, 0});
        Image dst = Background(5, 3, 60, 200);
        ASSERT_EQ(resize(zero.p, dst.p), 1);
        for (int r = 1; r <= 3; ++r)
            for (int c = 1; c <= 5; ++c)
                EXPECT_EQ(Bytes(Px(dst, c, r), Px(dst, c, r) + 4), Bytes(4, 0));
        EXPECT_TRUE(BorderUnchanged(dst, 60, 200));
    }
    Image full = Mask(2, 2, {255, 255, 255, 255});
    Image nearDst = Background(5, 3, 60, 200), bilDst = Background(5, 3, 60, 200);
    ASSERT_EQ(StretchMaskResizeNear(full.p, nearDst.p), 1);
    ASSERT_EQ(ImageStretchMask(full.p, bilDst.p), 1);
    for (int r = 1; r <= 3; ++r)
        for (int c = 1; c <= 5; ++c) {
            EXPECT_EQ(Bytes(Px(nearDst, c, r), Px(nearDst, c, r) + 4), (Bytes{60, 60, 60, 255}));
            EXPECT_EQ(Bytes(Px(bilDst, c, r), Px(bilDst, c, r) + 4), (Bytes{60, 60, 60, 200}));
        }
}

TEST(StretchMask, BilinearEdgeScalesAlphaAndKeepsColourWhereMaskIsNotZero) {
    Image mask = Mask(2, 1, {0, 255});
    Image dst = Background(5, 2, 60, 200);
    ASSERT_EQ(StretchMaskResizeBiLiner(mask.p, dst.p), 1);
    // Picture row 0: mask 0, 63, 127, 191, then the pinned 255.
    const int m[5] = {0, 63, 127, 191, 255};
    for (int c = 0; c < 5; ++c) {
        const uint8_t colour = m[c] ? 60 : 0;
        EXPECT_EQ(Bytes(Px(dst, c + 1, 1), Px(dst, c + 1, 1) + 4),
                  (Bytes{colour, colour, colour, uint8_t(m[c] * 200 / 255)}))
            << c;
    }
    // Last row: nearest along the mask's last row.
    EXPECT_EQ(Px(dst, 4, 2)[0], 0);
    EXPECT_EQ(Px(dst, 5, 2)[3], 200);
}

TEST(StretchMask, RefusesMaskThatIsNotEightBit) {
    Image mask = Mask(2, 2, {0, 0, 0, 0});
    mask.p.bitCount = 32;
    for (auto resize : {StretchMaskResizeNear, StretchMaskResizeBiLiner}) {
        Image dst = Background(4, 4, 60, 200);
        const Bytes before = dst.bytes;
        EXPECT_EQ(resize(mask.p, dst.p), 0);
        EXPECT_EQ(dst.bytes, before);
    }
}

}  // namespace
