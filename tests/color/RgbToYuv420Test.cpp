// RGB to planar 4:2:0: colours, edge passes, row orders, alpha, height sign.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include "color/ColorTestUtil.h"

using namespace colortest;

namespace {

struct Fwd {
    const char* name;
    int bits;
    bool bottomUp;
    void (*run)(Dib&, Yuv&);
};
#define QV_PLANES(d) d.y.data(), d.pU(), d.v.data()
#define QV_PITCHES(d) d.pitchY, d.pitchU, d.pitchV
const Fwd kFwd[] = {
    {"Rgb24_2_yuv420", 24, true,
     [](Dib& s, Yuv& d) { Rgb24_2_yuv420(QV_PLANES(d), QV_PITCHES(d), &s.header, s.bits.data()); }},
    {"Rgb32_2_yuv420", 32, true,
     [](Dib& s, Yuv& d) { Rgb32_2_yuv420(QV_PLANES(d), QV_PITCHES(d), &s.header, s.bits.data()); }},
    {"Argb_2_yuv420", 32, false,
     [](Dib& s, Yuv& d) { Argb_2_yuv420(QV_PLANES(d), QV_PITCHES(d), &s.header, s.bits.data()); }},
    {"Rgb32_2_yuv420A", 32, true,
     [](Dib& s, Yuv& d) {
         Rgb32_2_yuv420A(QV_PLANES(d), d.a.data(), QV_PITCHES(d), &s.header, s.bits.data());
     }},
    {"Rgb32_2_yuv420_Ex+", 32, false,
     [](Dib& s, Yuv& d) {
         Rgb32_2_yuv420_Ex(QV_PLANES(d), QV_PITCHES(d), s.bits.data(), s.header.biWidth,
                           s.header.biHeight, s.pitch);
     }},
    {"Rgb32_2_yuv420_Ex-", 32, true,
     [](Dib& s, Yuv& d) {
         Rgb32_2_yuv420_Ex(QV_PLANES(d), QV_PITCHES(d), s.bits.data(), s.header.biWidth,
                           -s.header.biHeight, s.pitch);
     }},
};

}  // namespace

// 3 x 3 runs all three passes. The main block's chroma is the floored mean of
// four terms (one red among whites: -38 / 4, 111 / 4); the odd column's, red
// over blue, of two (-38 + 111, 111 - 19); the odd row's, white beside black,
// is neutral. Distinct rows pin the row order; the corner of an odd-by-odd
// picture is covered by no pass and keeps the sentinel.
TEST(RgbToYuv420, ColoursEdgePassesRowOrderAndTheUncoveredCorner) {
    for (const Fwd& f : kFwd) {
        SCOPED_TRACE(f.name);
        Dib src(3, 3, f.bits, f.bottomUp);
        src.Fill(kWhite, 77);
        src.Set(0, 0, kRed), src.Set(2, 0, kRed), src.Set(2, 1, kBlue), src.Set(1, 2, kBlack);
        Yuv dst(3, 3);
        f.run(src, dst);
        const int S = kSentinel;
        const int luma[3][5] = {{81, 235, 81, 81, S}, {235, 235, 40, 40, S}, {235, 16, S, S, S}};
        for (int row = 0; row < 3; ++row)
            for (int x = 0; x < 5; ++x) EXPECT_EQ(dst.Y(x, row), luma[row][x]) << x << "," << row;
        EXPECT_EQ((std::vector<int>{dst.U(0, 0), dst.U(1, 0), dst.U(0, 1), dst.U(1, 1)}),
                  (std::vector<int>{118, 164, 128, S}));
        EXPECT_EQ((std::vector<int>{dst.V(0, 0), dst.V(1, 0), dst.V(0, 1), dst.V(1, 1)}),
                  (std::vector<int>{155, 174, 128, S}));
    }
}

TEST(RgbToYuv420, ExNegativeHeightReadsBottomUpAndZeroHeightWritesNothing) {
    std::mt19937 rng(3);
    Dib top(6, 5, 32, false), bottom(6, 5, 32, true);
    for (auto& byte : top.bits) byte = uint8_t(rng());
    for (int y = 0; y < 5; ++y) std::copy_n(top.Row(y), top.pitch, bottom.Row(y));
    Yuv a(6, 5), b(6, 5), flipped(6, 5), none(6, 5);
    kFwd[4].run(top, a);
    kFwd[5].run(bottom, b);
    kFwd[4].run(bottom, flipped);
    EXPECT_TRUE(a.y == b.y && a.u == b.u && a.v == b.v);
    EXPECT_NE(flipped.y, a.y);
    Rgb32_2_yuv420_Ex(QV_PLANES(none), QV_PITCHES(none), top.bits.data(), 6, 0, top.pitch);
    EXPECT_TRUE(none.Untouched());
}

TEST(RgbToYuv420, AlphaIsIgnoredByArgbAndCopiedByTheAlphaPlaneForm) {
    const uint8_t alpha[2][3] = {{0, 255, 1}, {128, 254, 0}};
    Dib argb(3, 2, 32, false), rgba(3, 2, 32, true);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) {
            argb.Set(x, y, Bgr{uint8_t(40 * x), 90, uint8_t(70 * y)}, alpha[y][x]);
            rgba.Set(x, y, argb.Get(x, y), alpha[y][x]);
        }
    Yuv a(3, 2), b(3, 2);
    kFwd[2].run(argb, a);
    kFwd[3].run(rgba, b);
    EXPECT_TRUE(a.y == b.y && a.u == b.u && a.v == b.v);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x) EXPECT_EQ(b.A(x, y), alpha[y][x]) << x << "," << y;
        EXPECT_EQ(b.A(3, y), alpha[y][2]) << "duplicated column, row " << y;
        EXPECT_EQ(b.A(4, y), kSentinel);
    }
    EXPECT_TRUE(AllSentinel(a.a));
}
