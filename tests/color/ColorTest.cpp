// The colour converters: tables, per-pixel forms, reference converters,
// planar 4:2:0 to and from RGB, and the precondition reports.
#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "color/ColorTestUtil.h"
#include "common/TestSupport.h"

using namespace colortest;

TEST(ColorForms, TablesHoldExactProducts) {
    for (auto [table, k] : {std::pair{mul_8258, 8258}, {mul_1606, 1606}, {mul_4768, 4768}, {mul_7193, 7193},
                            {mul_1163, 1163}, {mul_9536, 9536}, {mul_6660, 6660}})
        for (int i = 0; i < 256; ++i) ASSERT_EQ(table[i], k * i) << "K=" << k << " i=" << i;
}

// Rows: r, g, b -> y, u, v and y, u, v -> r, g, b; out-of-range inputs are clamped like any result.
TEST(ColorForms, PerPixelFormsRoundAndClamp) {
    const int fwd[][6] = {{255, 255, 255, 235, 128, 128}, {0, 0, 0, 16, 128, 128}, {255, 0, 0, 81, 90, 240},
                          {0, 0, 255, 41, 240, 110}, {INT_MAX, INT_MAX, INT_MIN, 235, 16, 240}};
    const int inv[][6] = {{16, 128, 128, 0, 0, 0}, {235, 128, 128, 255, 255, 255}, {300, 255, 255, 255, 178, 255}, {16, 0, 255, 203, 0, 0}};
    int a, b, c;
    for (auto& t : fwd) { PixelRGB_2_YUV(t[0], t[1], t[2], a, b, c); EXPECT_EQ((std::vector{a, b, c}), std::vector(t + 3, t + 6)); }
    for (auto& t : inv) { PixelYUV_2_RGB(t[0], t[1], t[2], a, b, c); EXPECT_EQ((std::vector{a, b, c}), std::vector(t + 3, t + 6)); }
}

// The reference converters only cover the even part of the picture.
TEST(ColorForms, SimpleConvertersLeaveOddLastColumnAndRowUntouched) {
    Dib rgb(3, 3, 24), back(3, 3, 24);
    for (int i = 0; i < 9; ++i) rgb.Set(i % 3, i / 3, kRed);
    Yuv yuv(3, 3);
    Rgb24_2_yuv420Simple(QV_PLANES(yuv), QV_PITCHES(yuv), &rgb.header, rgb.bits.data());
    Yuv420_2_rgb24Simple(&back.header, back.bits.data(), QV_PLANES(yuv), QV_PITCHES(yuv));
    for (int i = 0, x = 0, row = 0; i < 9; ++i, x = i % 3, row = i / 3)
        EXPECT_TRUE(yuv.Y(x, row) == (row < 2 && x < 2 ? 81 : kSentinel) && back.Px(x, row)[1] == (row < 2 && x < 2 ? 0 : kSentinel)) << i;
    EXPECT_EQ((std::vector<int>{yuv.U(0, 0), yuv.V(0, 0), yuv.U(1, 0)}), (std::vector<int>{90, 240, kSentinel}));
}

using FwdFn = void (*)(Dib&, Yuv&);
#define QV_HDR(fn) [](Dib& s, Yuv& d) { fn(QV_PLANES(d), QV_PITCHES(d), &s.header, s.bits.data()); }
#define QV_EX(sign) [](Dib& s, Yuv& d) { Rgb32_2_yuv420_Ex(QV_PLANES(d), QV_PITCHES(d), s.bits.data(), 3, sign 3, 12); }
const FwdFn kAlphaPlane = [](Dib& s, Yuv& d) { Rgb32_2_yuv420A(QV_PLANES(d), d.a.data(), QV_PITCHES(d), &s.header, s.bits.data()); };

// 3 x 3 runs all three passes: main chroma is the floored mean of four terms,
// the odd column's of two (red over blue), the odd row's neutral (white beside
// black). Distinct rows pin the row order; the odd-by-odd corner is left alone;
// alpha is ignored, or copied (also to column W) by the alpha-plane form.
TEST(RgbToYuv420, ColoursEdgePassesRowOrderAlphaAndTheUncoveredCorner) {
    const int S = kSentinel;
    const uint8_t alpha[3][3] = {{0, 255, 1}, {128, 254, 0}, {9, 10, 11}};
    const std::tuple<const char*, int, bool, FwdFn> kFwd[] = {
        {"Rgb24", 24, true, QV_HDR(Rgb24_2_yuv420)}, {"Rgb32", 32, true, QV_HDR(Rgb32_2_yuv420)},
        {"Argb", 32, false, QV_HDR(Argb_2_yuv420)},  {"Ex+", 32, false, QV_EX(+)},
        {"Ex-", 32, true, QV_EX(-)},                 {"Rgb32A", 32, true, kAlphaPlane}};
    for (auto [name, bits, bottomUp, run] : kFwd) {
        SCOPED_TRACE(name);
        Dib src(3, 3, bits, bottomUp);
        for (int i = 0; i < 9; ++i) src.Set(i % 3, i / 3, kWhite, alpha[i / 3][i % 3]);
        src.Set(0, 0, kRed), src.Set(2, 0, kRed, 1), src.Set(2, 1, kBlue), src.Set(1, 2, kBlack, 10);
        Yuv dst(3, 3);
        run(src, dst);
        const int luma[3][5] = {{81, 235, 81, 81, S}, {235, 235, 40, 40, S}, {235, 16, S, S, S}};
        for (int i = 0; i < 15; ++i) {
            const int x = i % 5, row = i / 5, a = luma[row][x] == S ? S : alpha[row][std::min(x, 2)];
            EXPECT_EQ(dst.Y(x, row), luma[row][x]) << x << "," << row;
            EXPECT_EQ(dst.A(x, row), run == kAlphaPlane ? a : S) << x << "," << row;
        }
        EXPECT_EQ((std::vector<int>{dst.U(0, 0), dst.U(1, 0), dst.U(0, 1), dst.U(1, 1)}), (std::vector<int>{118, 164, 128, S}));
        EXPECT_EQ((std::vector<int>{dst.V(0, 0), dst.V(1, 0), dst.V(0, 1), dst.V(1, 1)}), (std::vector<int>{155, 174, 128, S}));
    }
    qvtest::InstallTestLog(), qvtest::TakeLog();
    Yuv none(4, 4);  // a zero height writes nothing and says so
    Rgb32_2_yuv420_Ex(QV_PLANES(none), QV_PITCHES(none), none.a.data(), 4, 0, 16);
    EXPECT_TRUE(none.Untouched());
    EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{L"Rgb32_2_yuv420_Ex: assertion failed: nWidth > 0 && nHeight != 0\r\n"});
}

// 3 x 3: luma 235, 16 in the odd row; the odd column takes chroma (1, 0), the
// corner's (1, 1) is never used. Also pins the row order, the 24-bit row
// padding and the fourth byte (kept by rgb32, 255 from Argb).
TEST(Yuv420ToRgb, ColoursEdgeChromaRowOrderAndBytesLeftAlone) {
    const std::tuple<decltype(&Yuv420_2_rgb24), int, bool> kInv[] = {
        {Yuv420_2_rgb24, 24, true}, {Yuv420_2_rgb32, 32, true}, {Yuv420_2_Argb, 32, false}};
    for (auto [run, bits, bottomUp] : kInv) {
        SCOPED_TRACE(bits * 10 + bottomUp);
        Yuv src(3, 3);
        src.y.assign(src.y.size(), 235), src.u.assign(src.u.size(), 128), src.v.assign(src.v.size(), 128);
        std::fill_n(&src.Y(0, 2), 3, uint8_t(16));
        src.U(1, 0) = 200, src.V(1, 0) = 60, src.U(1, 1) = 1, src.V(1, 1) = 1;
        Dib dst(3, 3, bits, bottomUp);  // U 200, V 60 at the edge: red 146 after the floor
        run(&dst.header, dst.bits.data(), QV_PLANES(src), QV_PITCHES(src));
        const Bgr grey{254, 254, 254}, edge{255, 255, 146}, S{kSentinel, kSentinel, kSentinel};
        const Bgr want[3][3] = {{grey, grey, edge}, {grey, grey, edge}, {kBlack, kBlack, S}};
        for (int i = 0; i < 9; ++i) {
            const int x = i % 3, y = i / 3;
            EXPECT_EQ(dst.Get(x, y), want[y][x]) << x << "," << y;
            if (bits == 32) { EXPECT_EQ(dst.Px(x, y)[3], bottomUp || i == 8 ? kSentinel : 255); }
            if (bits == 24 && x == 0) { EXPECT_TRUE(dst.Row(y)[9] == kSentinel && dst.Row(y)[11] == kSentinel); }
        }
    }
}

TEST(Yuv420ToRgb, TraceImageReadsOnlyTheYV12PictureBehindItsHeader) {
    struct { BITMAPINFOHEADER h; uint8_t yv12[5 * 3 + 2 * 6]; } pic{{40, 5, 3, 1, 12, 0, 0, 0, 0, 0, 0}, {}};  // Y, then V, then U
    xTraceImage(reinterpret_cast<BITMAPINFO*>(&pic), nullptr);
    EXPECT_EQ(pic.h.biBitCount, 12);  // the caller's header is left as it was
}

TEST(ColorPreconditions, ViolationLogsTheConditionAndWritesNothing) {
    qvtest::InstallTestLog(), qvtest::TakeLog();
    Dib d24(4, 4, 24), d32(4, 4, 32), d16(4, 4, 16);
    Yuv p(4, 4);
    uint8_t *Y = p.y.data(), *U = p.u.data(), *V = p.v.data(), *b24 = d24.bits.data(), *b32 = d32.bits.data();
    const std::pair<std::function<void()>, const wchar_t*> cases[] = {
        {[&] { Yuv420_2_rgb24(&d16.header, b24, Y, U, V, 7, 4, 3); }, L"Yuv420_2_rgb24: assertion failed: lpDstBmi && lpDstBmi->biBitCount == 24"},
        {[&] { Yuv420_2_rgb32(&d32.header, b32, Y, nullptr, V, 7, 4, 3); }, L"Yuv420_2_rgb32: assertion failed: lpDstBits && pY && pU && pV"},
        {[&] { Rgb24_2_yuv420(Y, U, V, 7, 4, 3, &d32.header, b32); }, L"Rgb24_2_yuv420: assertion failed: lpSrcBmi && lpSrcBmi->biBitCount == 24"},
        {[&] { Argb_2_yuv420(Y, U, nullptr, 7, 4, 3, &d32.header, b32); }, L"Argb_2_yuv420: assertion failed: lpSrcBits && pY && pU && pV"},
        {[&] { Rgb32_2_yuv420A(Y, U, V, Y, 7, 4, 3, &d32.header, nullptr); }, L"Rgb32_2_yuv420A: assertion failed: lpSrcBits && pY && pU && pV"},
        {[&] { Rgb32_2_yuv420_Ex(nullptr, U, V, 7, 4, 3, b32, 4, 4, 16); }, L"Rgb32_2_yuv420_Ex: assertion failed: lpSrcBits && pY && pU && pV"},
        {[&] { Rgb24_2_YUY2(nullptr, 8, 0, 0, 2, 2, 1, b24, 4, 12, 0, 0); }, L"Rgb24_2_YUY2: assertion failed: lpBitsDst && lpBitsSrc"},
        {[&] { Rgb24_2_YUY2(Y, 8, 1, 0, 4, 2, 1, b24, 4, 12, 0, 0); }, L"Rgb24_2_YUY2: assertion failed: (xDst + cxDst) * 2 <= nPitchDst"},
        {[&] { Rgb24_2_YUY2(Y, 8, 0, 0, 4, 2, 1, b24, 4, 12, 1, 0); }, L"Rgb24_2_YUY2: assertion failed: nPitchSrc / 3 - xSrc >= cxDst"},
        {[&] { YUY2_2_Rgb24(b24, 4, 12, 0, 0, 2, 2, nullptr, 8, 1, 0, 0); }, L"YUY2_2_Rgb24: assertion failed: lpBitsDst && lpBitsSrc"},
    };
    for (const auto& [call, line] : cases) {
        call();
        EXPECT_TRUE(p.Untouched() && AllSentinel(d24.bits) && AllSentinel(d32.bits)) << line;
        EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{std::wstring(line) + L"\r\n"});
    }
}
