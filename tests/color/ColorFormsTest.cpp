// Product tables, per-pixel forms, and the fast forms measured against them.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include <climits>
#include <cstdlib>

#include "color/ColorTestUtil.h"

using namespace colortest;

TEST(ColorForms, TablesHoldExactProducts) {
    const std::pair<const int*, int> tables[] = {{mul_8258, 8258}, {mul_1606, 1606}, {mul_4768, 4768},
                                                 {mul_7193, 7193}, {mul_1163, 1163}, {mul_9536, 9536},
                                                 {mul_6660, 6660}};
    for (auto [table, k] : tables)
        for (int i = 0; i < 256; ++i) ASSERT_EQ(table[i], k * i) << "K=" << k << " i=" << i;
    EXPECT_EQ(mul_9536[235], 2240960);
    EXPECT_EQ(mul_6660[128], 852480);
}

TEST(ColorForms, PerPixelFormsRoundAndClamp) {
    const int rgb[][6] = {{255, 255, 255, 235, 128, 128}, {0, 0, 0, 16, 128, 128},
                          {255, 0, 0, 81, 90, 240},       {0, 0, 255, 41, 240, 110},
                          {400, 400, 400, 235, 128, 128}, {INT_MAX, INT_MAX, INT_MIN, 235, 16, 240}};
    for (auto& c : rgb) {
        int y, u, v;
        PixelRGB_2_YUV(c[0], c[1], c[2], y, u, v);
        EXPECT_EQ((std::vector<int>{y, u, v}), (std::vector<int>{c[3], c[4], c[5]})) << c[0];
    }
    const int yuv[][6] = {{16, 128, 128, 0, 0, 0}, {235, 128, 128, 255, 255, 255},
                          {300, 255, 255, 255, 178, 255}, {16, 0, 255, 203, 0, 0}};
    for (auto& c : yuv) {
        int r, g, b;
        PixelYUV_2_RGB(c[0], c[1], c[2], r, g, b);
        EXPECT_EQ((std::vector<int>{r, g, b}), (std::vector<int>{c[3], c[4], c[5]})) << c[0];
    }
}

// The reference converters only cover the even part of the picture.
TEST(ColorForms, SimpleConvertersLeaveOddLastColumnAndRowUntouched) {
    Dib rgb(3, 3, 24), back(3, 3, 24);
    rgb.Fill(kRed);
    Yuv yuv(3, 3);
    Rgb24_2_yuv420Simple(yuv.y.data(), yuv.u.data(), yuv.v.data(), yuv.pitchY, yuv.pitchU, yuv.pitchV,
                         &rgb.header, rgb.bits.data());
    Yuv420_2_rgb24Simple(&back.header, back.bits.data(), yuv.y.data(), yuv.u.data(), yuv.v.data(),
                         yuv.pitchY, yuv.pitchU, yuv.pitchV);
    for (int row = 0; row < 3; ++row)
        for (int x = 0; x < 3; ++x) {
            const bool inside = row < 2 && x < 2;
            EXPECT_EQ(yuv.Y(x, row), inside ? 81 : kSentinel) << x << "," << row;
            EXPECT_EQ(back.Px(x, row)[1], inside ? 0 : kSentinel) << x << "," << row;
        }
    EXPECT_EQ(yuv.U(0, 0), 90);
    EXPECT_EQ(yuv.V(0, 0), 240);
    EXPECT_EQ(yuv.U(1, 0), kSentinel);
}

// The fast forms floor where the per-pixel forms round (and average terms, not
// clamped values), so over random pictures no sample may differ by more than 1.
TEST(ColorForms, FastConvertersStayWithinOneStepOfTheReference) {
    std::mt19937 rng(2024);
    Dib rgb(64, 48, 24);
    for (auto& b : rgb.bits) b = uint8_t(rng());
    Yuv fast(64, 48), ref(64, 48);
    Rgb24_2_yuv420(fast.y.data(), fast.u.data(), fast.v.data(), fast.pitchY, fast.pitchU, fast.pitchV,
                   &rgb.header, rgb.bits.data());
    Rgb24_2_yuv420Simple(ref.y.data(), ref.u.data(), ref.v.data(), ref.pitchY, ref.pitchU, ref.pitchV,
                         &rgb.header, rgb.bits.data());
    auto maxDiff = [](const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
        int m = 0;
        for (size_t i = 0; i < a.size(); ++i) m = std::max(m, std::abs(a[i] - b[i]));
        return m;
    };
    EXPECT_LE(maxDiff(fast.y, ref.y), 1);
    EXPECT_LE(maxDiff(fast.u, ref.u), 1);
    EXPECT_LE(maxDiff(fast.v, ref.v), 1);

    for (auto* plane : {&ref.y, &ref.u, &ref.v})
        for (auto& s : *plane) s = uint8_t(16 + rng() % 220);
    Dib fastRgb(64, 48, 24), refRgb(64, 48, 24);
    Yuv420_2_rgb24(&fastRgb.header, fastRgb.bits.data(), ref.y.data(), ref.u.data(), ref.v.data(),
                   ref.pitchY, ref.pitchU, ref.pitchV);
    Yuv420_2_rgb24Simple(&refRgb.header, refRgb.bits.data(), ref.y.data(), ref.u.data(), ref.v.data(),
                         ref.pitchY, ref.pitchU, ref.pitchV);
    EXPECT_LE(maxDiff(fastRgb.bits, refRgb.bits), 1);
}
