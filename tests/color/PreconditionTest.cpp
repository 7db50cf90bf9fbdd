// A violated precondition logs one line with its condition and writes nothing.
#include <gtest/gtest.h>

#include <quevarra/qv_color.h>

#include <functional>

#include "color/ColorTestUtil.h"
#include "common/TestSupport.h"

using namespace colortest;

TEST(ColorPreconditions, ViolationLogsTheConditionAndWritesNothing) {
    qvtest::InstallTestLog();
    qvtest::TakeLog();
    Dib rgb24(4, 4, 24), rgb32(4, 4, 32), wrong(4, 4, 16);
    Yuv yuv(4, 4);
    uint8_t* Y = yuv.y.data();
    uint8_t* U = yuv.u.data();
    uint8_t* V = yuv.v.data();
    const int pY = yuv.pitchY, pU = yuv.pitchU, pV = yuv.pitchV;
    const struct {
        std::function<void()> call;
        const wchar_t* line;
    } cases[] = {
        {[&] { Yuv420_2_rgb24(&wrong.header, rgb24.bits.data(), Y, U, V, pY, pU, pV); },
         L"Yuv420_2_rgb24: assertion failed: lpDstBmi && lpDstBmi->biBitCount == 24\r\n"},
        {[&] { Yuv420_2_rgb32(&rgb32.header, rgb32.bits.data(), Y, nullptr, V, pY, pU, pV); },
         L"Yuv420_2_rgb32: assertion failed: lpDstBits && pY && pU && pV\r\n"},
        {[&] { Yuv420_2_Argb(nullptr, rgb32.bits.data(), Y, U, V, pY, pU, pV); },
         L"Yuv420_2_Argb: assertion failed: lpDstBmi && lpDstBmi->biBitCount == 32\r\n"},
        {[&] { Rgb24_2_yuv420(Y, U, V, pY, pU, pV, &rgb32.header, rgb32.bits.data()); },
         L"Rgb24_2_yuv420: assertion failed: lpSrcBmi && lpSrcBmi->biBitCount == 24\r\n"},
        {[&] { Rgb32_2_yuv420(Y, U, V, pY, pU, pV, &rgb24.header, rgb24.bits.data()); },
         L"Rgb32_2_yuv420: assertion failed: lpSrcBmi && lpSrcBmi->biBitCount == 32\r\n"},
        {[&] { Argb_2_yuv420(Y, U, nullptr, pY, pU, pV, &rgb32.header, rgb32.bits.data()); },
         L"Argb_2_yuv420: assertion failed: lpSrcBits && pY && pU && pV\r\n"},
        {[&] { Rgb32_2_yuv420A(Y, U, V, Y, pY, pU, pV, &rgb32.header, nullptr); },
         L"Rgb32_2_yuv420A: assertion failed: lpSrcBits && pY && pU && pV\r\n"},
        {[&] { Rgb32_2_yuv420_Ex(nullptr, U, V, pY, pU, pV, rgb32.bits.data(), 4, 4, 16); },
         L"Rgb32_2_yuv420_Ex: assertion failed: lpSrcBits && pY && pU && pV\r\n"},
        {[&] { Rgb24_2_YUY2(nullptr, 8, 0, 0, 2, 2, 1, rgb24.bits.data(), 4, 12, 0, 0); },
         L"Rgb24_2_YUY2: assertion failed: lpBitsDst && lpBitsSrc\r\n"},
        {[&] { Rgb24_2_YUY2(Y, 8, 1, 0, 4, 2, 1, rgb24.bits.data(), 4, 12, 0, 0); },
         L"Rgb24_2_YUY2: assertion failed: (xDst + cxDst) * 2 <= nPitchDst\r\n"},
        {[&] { Rgb24_2_YUY2(Y, 8, 0, 0, 4, 2, 1, rgb24.bits.data(), 4, 12, 1, 0); },
         L"Rgb24_2_YUY2: assertion failed: nPitchSrc / 3 - xSrc >= cxDst\r\n"},
        {[&] { YUY2_2_Rgb24(rgb24.bits.data(), 4, 12, 0, 0, 2, 2, nullptr, 8, 1, 0, 0); },
         L"YUY2_2_Rgb24: assertion failed: lpBitsDst && lpBitsSrc\r\n"},
    };
    for (const auto& c : cases) {
        c.call();
        EXPECT_TRUE(yuv.Untouched() && AllSentinel(rgb24.bits) && AllSentinel(rgb32.bits)) << c.line;
        EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{c.line});
    }
}
