// RGB bitmaps (24/32-bit, either row order) to planar YUV 4:2:0 with the fast
// forward form. The row functions (RgbToYuvRows) do the arithmetic; the
// picture walk picks rows and runs the main pass, the odd-column pass and the
// odd-row pass in turn.
#include <quevarra/qv_color.h>

#include <stdint.h>

#include "image/ColorRows.h"
#include "image/RgbToYuvRows.h"

using namespace qv::color;
using qv::image::RgbToYuvRows;

namespace {

// The last column of an odd width for one pair of rows. Its luma (and alpha,
// when a0 is given) is also stored at column W, so encoders reading an
// even-padded plane see a repeated edge instead of garbage.
void OddColumnToYuv(const uint8_t* s0, const uint8_t* s1, int bpp, uint8_t* y0, uint8_t* y1,
                    uint8_t* a0, uint8_t* a1, uint8_t* u, uint8_t* v, int width) {
    const int x = width - 1;
    const uint8_t* pa = s0 + static_cast<ptrdiff_t>(x) * bpp;
    const uint8_t* pc = s1 + static_cast<ptrdiff_t>(x) * bpp;
    const FwdPixel a = FastForwardBgr(pa);
    const FwdPixel c = FastForwardBgr(pc);
    y0[x] = y0[x + 1] = static_cast<uint8_t>(a.y);
    y1[x] = y1[x + 1] = static_cast<uint8_t>(c.y);
    if (a0) {
        a0[x] = a0[x + 1] = pa[3];
        a1[x] = a1[x + 1] = pc[3];
    }
    u[x / 2] = Chroma2(a.u, c.u);
    v[x / 2] = Chroma2(a.v, c.v);
}

// The picture walk shared by all five converters: 3 or 4 bytes per pixel,
// with an alpha plane when `alpha` is given (4 bytes only). When both sizes
// are odd the corner (luma/alpha at (W-1, H-1) and (W, H-1), chroma
// ((W-1)/2, (H-1)/2)) is covered by neither edge pass and keeps what the
// planes held; callers that need it can fill it from the single corner pixel.
void RgbToYuv420(const RowWalk<const uint8_t>& src, int bpp, const Planes& dst, uint8_t* alpha,
                 int W, int H) {
    if (W <= 0 || H <= 0) return;
    const int We = W & ~1;
    const int He = H & ~1;
    const RgbToYuvRows& rows = qv::image::RgbToYuvFamily().Active();
    const qv::image::RgbRowPairFn rowPair =
        bpp == 3 ? rows.rowPair24 : (alpha ? rows.rowPair32A : rows.rowPair32);
    const qv::image::RgbLastRowFn lastRow =
        bpp == 3 ? rows.lastRow24 : (alpha ? rows.lastRow32A : rows.lastRow32);
    auto alphaRow = [&](int row) -> uint8_t* {
        return alpha ? alpha + row * dst.pitchY : nullptr;
    };
    if (We > 0) {
        for (int j = 0; j < He; j += 2) {
            rowPair(src.Row(j), src.Row(j + 1), dst.LumaRow(j), dst.LumaRow(j + 1), alphaRow(j),
                    alphaRow(j + 1), dst.URow(j / 2), dst.VRow(j / 2), We);
        }
    }
    if (W & 1) {
        for (int j = 0; j < He; j += 2) {
            OddColumnToYuv(src.Row(j), src.Row(j + 1), bpp, dst.LumaRow(j), dst.LumaRow(j + 1),
                           alphaRow(j), alphaRow(j + 1), dst.URow(j / 2), dst.VRow(j / 2), W);
        }
    }
    if ((H & 1) && We > 0) {
        const int y = H - 1;
        lastRow(src.Row(y), dst.LumaRow(y), alphaRow(y), dst.URow(y / 2), dst.VRow(y / 2), We);
    }
}

}  // namespace

// Header converters take only a positive biHeight (bottom-up, or top-down for
// Argb); any other height is logged and converts nothing.
void Rgb32_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                    int nPt_U, int nPt_V, BITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits) {
    QV_COLOR_REQUIRE("Rgb32_2_yuv420", lpSrcBmi && lpSrcBmi->biBitCount == 32);
    QV_COLOR_REQUIRE("Rgb32_2_yuv420", lpSrcBits && pY && pU && pV);
    const int W = lpSrcBmi->biWidth, H = lpSrcBmi->biHeight;
    QV_COLOR_REQUIRE("Rgb32_2_yuv420", W > 0 && H > 0);
    QV_COLOR_REQUIRE_TEXT("Rgb32_2_yuv420", PlanesAddressable(W, H, nPt_Y, nPt_U, nPt_V) &&
                                   Addressable(int64_t{W} * 4, H, ptrdiff_t{W} * 4),
                          QV_OFFSETS_FIT);
    RgbToYuv420(BottomUp<const uint8_t>(lpSrcBits, H, ptrdiff_t{W} * 4), 4,
                Planes{pY, pU, pV, nPt_Y, nPt_U, nPt_V}, nullptr, W, H);
}

void Rgb24_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                    int nPt_U, int nPt_V, BITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits) {
    QV_COLOR_REQUIRE("Rgb24_2_yuv420", lpSrcBmi && lpSrcBmi->biBitCount == 24);
    QV_COLOR_REQUIRE("Rgb24_2_yuv420", lpSrcBits && pY && pU && pV);
    const int W = lpSrcBmi->biWidth, H = lpSrcBmi->biHeight;
    QV_COLOR_REQUIRE("Rgb24_2_yuv420", W > 0 && H > 0);
    QV_COLOR_REQUIRE_TEXT("Rgb24_2_yuv420", PlanesAddressable(W, H, nPt_Y, nPt_U, nPt_V) &&
                                   Addressable(int64_t{W} * 3, H, Dib24Pitch(W)),
                          QV_OFFSETS_FIT);
    RgbToYuv420(BottomUp<const uint8_t>(lpSrcBits, H, Dib24Pitch(W)), 3,
                Planes{pY, pU, pV, nPt_Y, nPt_U, nPt_V}, nullptr, W, H);
}

void Argb_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                   int nPt_U, int nPt_V, BITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits) {
    QV_COLOR_REQUIRE("Argb_2_yuv420", lpSrcBmi && lpSrcBmi->biBitCount == 32);
    QV_COLOR_REQUIRE("Argb_2_yuv420", lpSrcBits && pY && pU && pV);
    const int W = lpSrcBmi->biWidth, H = lpSrcBmi->biHeight;
    QV_COLOR_REQUIRE("Argb_2_yuv420", W > 0 && H > 0);
    QV_COLOR_REQUIRE_TEXT("Argb_2_yuv420", PlanesAddressable(W, H, nPt_Y, nPt_U, nPt_V) &&
                                   Addressable(int64_t{W} * 4, H, ptrdiff_t{W} * 4),
                          QV_OFFSETS_FIT);
    RgbToYuv420(TopDown<const uint8_t>(lpSrcBits, ptrdiff_t{W} * 4), 4,
                Planes{pY, pU, pV, nPt_Y, nPt_U, nPt_V}, nullptr, W, H);
}

// pA shares the luma pitch; like pY it needs column W when the width is odd.
// A null pA is not checked by contract; it converts nothing rather than crash.
void Rgb32_2_yuv420A(unsigned char* pY, unsigned char* pU, unsigned char* pV, unsigned char* pA,
                     int nPt_Y, int nPt_U, int nPt_V, BITMAPINFOHEADER* lpSrcBmi,
                     unsigned char* lpSrcBits) {
    QV_COLOR_REQUIRE("Rgb32_2_yuv420A", lpSrcBmi && lpSrcBmi->biBitCount == 32);
    QV_COLOR_REQUIRE("Rgb32_2_yuv420A", lpSrcBits && pY && pU && pV);
    const int W = lpSrcBmi->biWidth, H = lpSrcBmi->biHeight;
    QV_COLOR_REQUIRE("Rgb32_2_yuv420A", W > 0 && H > 0);
    QV_COLOR_REQUIRE_TEXT("Rgb32_2_yuv420A", PlanesAddressable(W, H, nPt_Y, nPt_U, nPt_V) &&
                                                Addressable(int64_t{W} * 4, H, ptrdiff_t{W} * 4),
                          QV_OFFSETS_FIT);
    if (!pA) return;
    RgbToYuv420(BottomUp<const uint8_t>(lpSrcBits, H, ptrdiff_t{W} * 4), 4,
                Planes{pY, pU, pV, nPt_Y, nPt_U, nPt_V}, pA, W, H);
}

// Here a positive height means top-down rows (the reverse of a bitmap
// header); a negative one means bottom-up with -nHeight rows.
void Rgb32_2_yuv420_Ex(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                       int nPt_U, int nPt_V, unsigned char* lpSrcBits, int nWidth, int nHeight,
                       int nPitchSrc) {
    QV_COLOR_REQUIRE("Rgb32_2_yuv420_Ex", lpSrcBits && pY && pU && pV);
    QV_COLOR_REQUIRE_TEXT("Rgb32_2_yuv420_Ex", nWidth > 0 && nHeight != 0 && nHeight != INT32_MIN,
                          "nWidth > 0 && nHeight != 0");
    const int64_t rows = nHeight < 0 ? -int64_t{nHeight} : nHeight;
    QV_COLOR_REQUIRE_TEXT("Rgb32_2_yuv420_Ex", PlanesAddressable(nWidth, rows, nPt_Y, nPt_U, nPt_V) &&
                                                  Addressable(int64_t{nWidth} * 4, rows, nPitchSrc),
                          QV_OFFSETS_FIT);
    const Planes planes{pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    if (nHeight > 0) {
        RgbToYuv420(TopDown<const uint8_t>(lpSrcBits, nPitchSrc), 4, planes, nullptr, nWidth,
                    nHeight);
    } else {
        RgbToYuv420(BottomUp<const uint8_t>(lpSrcBits, -nHeight, nPitchSrc), 4, planes, nullptr,
                    nWidth, -nHeight);
    }
}
