// Product tables, per-pixel forms and the per-pixel reference converters.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include <climits>

#include "color/ColorTestUtil.h"

using namespace colortest;

namespace {

struct Yuv3 {
    int y, u, v;
};
Yuv3 ToYuv(int r, int g, int b) {
    Yuv3 o;
    PixelRGB_2_YUV(r, g, b, o.y, o.u, o.v);
    return o;
}
Bgr ToRgb(int y, int u, int v) {
    int r, g, b;
    PixelYUV_2_RGB(y, u, v, r, g, b);
    return Bgr{uint8_t(b), uint8_t(g), uint8_t(r)};
}

}  // namespace

TEST(ProductTables, EveryEntryIsTheExactProduct) {
    const struct {
        const int* table;
        int k;
    } tables[] = {{mul_8258, 8258}, {mul_1606, 1606}, {mul_4768, 4768}, {mul_7193, 7193},
                  {mul_1163, 1163}, {mul_9536, 9536}, {mul_6660, 6660}};
    for (const auto& t : tables)
        for (int i = 0; i < 256; ++i) ASSERT_EQ(t.table[i], t.k * i) << "K=" << t.k << " i=" << i;
    EXPECT_EQ(mul_9536[16], 152576);
    EXPECT_EQ(mul_9536[235], 2240960);
    EXPECT_EQ(mul_9536[255], 2431680);
    EXPECT_EQ(mul_7193[255], 1834215);
    EXPECT_EQ(mul_6660[128], 852480);
}

TEST(PixelRGB_2_YUV, RoundsPrimaryColoursIntoStudioRange) {
    auto check = [](int r, int g, int b, int y, int u, int v) {
        const Yuv3 o = ToYuv(r, g, b);
        EXPECT_EQ(o.y, y) << r << "," << g << "," << b;
        EXPECT_EQ(o.u, u) << r << "," << g << "," << b;
        EXPECT_EQ(o.v, v) << r << "," << g << "," << b;
    };
    check(255, 255, 255, 235, 128, 128);
    check(0, 0, 0, 16, 128, 128);
    check(255, 0, 0, 81, 90, 240);
    check(0, 0, 255, 41, 240, 110);
}

TEST(PixelRGB_2_YUV, OutOfRangeInputsClampWithoutOverflow) {
    const Yuv3 low = ToYuv(-1000, -1000, -1000);
    EXPECT_EQ(low.y, 16);
    const Yuv3 high = ToYuv(INT_MAX, INT_MAX, INT_MIN);
    EXPECT_EQ(high.y, 235);
    EXPECT_EQ(high.u, 16);
    EXPECT_EQ(high.v, 240);
    const Yuv3 bright = ToYuv(400, 400, 400);
    EXPECT_EQ(bright.y, 235);
    EXPECT_EQ(bright.u, 128);
}

TEST(PixelYUV_2_RGB, StudioBlackAndWhiteReachTheFullRange) {
    const Bgr black = ToRgb(16, 128, 128);
    EXPECT_EQ(black.r, 0);
    EXPECT_EQ(black.g, 0);
    EXPECT_EQ(black.b, 0);
    const Bgr white = ToRgb(235, 128, 128);
    EXPECT_EQ(white.r, 255);
    EXPECT_EQ(white.g, 255);
    EXPECT_EQ(white.b, 255);
    const Bgr high = ToRgb(300, 255, 255);
    EXPECT_EQ(high.r, 255);
    EXPECT_EQ(high.b, 255);
    EXPECT_EQ(ToRgb(16, 0, 255).b, 0);
}

TEST(SimpleConverters, LeaveAnOddLastColumnAndRowUntouched) {
    Dib rgb(5, 3, 24);
    std::mt19937 rng(7);
    rgb.Randomize(rng);
    Yuv yuv(5, 3);
    Rgb24_2_yuv420Simple(yuv.y.data(), yuv.u.data(), yuv.v.data(), yuv.pitchY, yuv.pitchU,
                         yuv.pitchV, &rgb.header, rgb.bits.data());
    for (int row = 0; row < 3; ++row) {
        for (int x = 0; x < 5; ++x) {
            const bool converted = row < 2 && x < 4;
            EXPECT_EQ(yuv.Y(x, row) != kSentinel, converted) << x << "," << row;
        }
    }
    EXPECT_EQ(yuv.U(2, 0), kSentinel);
    EXPECT_EQ(yuv.U(0, 1), kSentinel);
    // A block's chroma is the floor of the mean of its four rounded values.
    int sumU = 0;
    for (int y = 0; y < 2; ++y)
        for (int x = 2; x < 4; ++x) {
            const uint8_t* p = rgb.Px(x, y);
            sumU += ToYuv(p[2], p[1], p[0]).u;
        }
    EXPECT_EQ(yuv.U(1, 0), sumU >> 2);

    Dib back(5, 3, 24);
    Yuv420_2_rgb24Simple(&back.header, back.bits.data(), yuv.y.data(), yuv.u.data(),
                         yuv.v.data(), yuv.pitchY, yuv.pitchU, yuv.pitchV);
    for (int row = 0; row < 3; ++row)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(back.Px(x, row)[0] != kSentinel || back.Px(x, row)[1] != kSentinel,
                      row < 2 && x < 4)
                << x << "," << row;
    EXPECT_EQ(back.Row(0)[15], kSentinel);  // row padding
}

TEST(SimpleConverters, WriteNothingWhenWidthOrHeightIsOne) {
    for (auto [w, h] : {std::pair{1, 4}, std::pair{4, 1}}) {
        Dib rgb(w, h, 24);
        rgb.Fill(Bgr{10, 20, 30});
        Yuv yuv(w, h);
        Rgb24_2_yuv420Simple(yuv.y.data(), yuv.u.data(), yuv.v.data(), yuv.pitchY, yuv.pitchU,
                             yuv.pitchV, &rgb.header, rgb.bits.data());
        EXPECT_TRUE(yuv.Untouched());
        Dib out(w, h, 24);
        Yuv420_2_rgb24Simple(&out.header, out.bits.data(), yuv.y.data(), yuv.u.data(),
                             yuv.v.data(), yuv.pitchY, yuv.pitchU, yuv.pitchV);
        EXPECT_TRUE(AllSentinel(out.bits));
    }
}
