// Planar YUV 4:2:0 to RGB bitmaps with the fast inverse form. Chroma is
// repeated over its 2x2 block. The row functions (YuvToRgbRows) do the
// arithmetic; the picture walk runs the main pass, the odd-column pass and the
// odd-row pass in turn.
#include <quevarra/qv_color.h>

#include <stdint.h>
#include <string.h>

#include <memory>
#include <new>

#include "image/ColorRows.h"
#include "image/YuvToRgbRows.h"

using namespace qv::color;
using qv::image::YuvToRgbRows;

namespace {

// kBpp 3: blue, green, red. kBpp 4: the fourth byte is left alone unless
// kOpaque, which stores 255 there.
template <int kBpp, bool kOpaque>
inline void StorePixel(uint8_t* px, int luma, const InvTerms& t) {
    StoreBgr(px, luma, t);
    if constexpr (kOpaque) px[3] = 255;
}

template <int kBpp, bool kOpaque>
void OddColumnToRgb(const uint8_t* y0, const uint8_t* y1, const uint8_t* u, const uint8_t* v,
                    uint8_t* d0, uint8_t* d1, int width) {
    const int x = width - 1;
    const InvTerms t = InverseTerms(u[x / 2], v[x / 2]);
    StorePixel<kBpp, kOpaque>(d0 + x * kBpp, y0[x], t);
    StorePixel<kBpp, kOpaque>(d1 + x * kBpp, y1[x], t);
}

// When both sizes are odd, pixel (W-1, H-1) is covered by neither edge pass
// and keeps what the buffer held (with W = H = 1 nothing is written). Callers
// wanting it can convert luma (W-1, H-1) with chroma ((W-1)/2, (H-1)/2).
template <int kBpp, bool kOpaque>
void Yuv420ToRgb(const Planes& src, const RowWalk<uint8_t>& dst, int W, int H) {
    if (W <= 0 || H <= 0) return;
    const int We = W & ~1;
    const int He = H & ~1;
    const YuvToRgbRows& rows = qv::image::YuvToRgbFamily().Active();
    const qv::image::YuvRowPairFn rowPair =
        kBpp == 3 ? rows.rowPair24 : (kOpaque ? rows.rowPair32A : rows.rowPair32);
    const qv::image::YuvLastRowFn lastRow =
        kBpp == 3 ? rows.lastRow24 : (kOpaque ? rows.lastRow32A : rows.lastRow32);
    if (We > 0) {
        for (int j = 0; j < He; j += 2) {
            rowPair(src.LumaRow(j), src.LumaRow(j + 1), src.URow(j / 2), src.VRow(j / 2),
                    dst.Row(j), dst.Row(j + 1), We);
        }
    }
    if (W & 1) {
        for (int j = 0; j < He; j += 2) {
            OddColumnToRgb<kBpp, kOpaque>(src.LumaRow(j), src.LumaRow(j + 1), src.URow(j / 2),
                                          src.VRow(j / 2), dst.Row(j), dst.Row(j + 1), W);
        }
    }
    if ((H & 1) && We > 0) {
        const int y = H - 1;
        lastRow(src.LumaRow(y), src.URow(y / 2), src.VRow(y / 2), dst.Row(y), We);
    }
}

}  // namespace

// Header converters take only a positive biHeight; any other is logged and
// converts nothing.
void Yuv420_2_rgb24(BITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY,
                    unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V) {
    QV_COLOR_REQUIRE("Yuv420_2_rgb24", lpDstBmi && lpDstBmi->biBitCount == 24);
    QV_COLOR_REQUIRE("Yuv420_2_rgb24", lpDstBits && pY && pU && pV);
    const int W = lpDstBmi->biWidth, H = lpDstBmi->biHeight;
    QV_COLOR_REQUIRE("Yuv420_2_rgb24", W > 0 && H > 0);
    QV_COLOR_REQUIRE_TEXT("Yuv420_2_rgb24", PlanesAddressable(W, H, nPt_Y, nPt_U, nPt_V) &&
                                   Addressable(int64_t{W} * 3, H, Dib24Pitch(W)),
                          QV_OFFSETS_FIT);
    Yuv420ToRgb<3, false>(Planes{pY, pU, pV, nPt_Y, nPt_U, nPt_V},
                          BottomUp(lpDstBits, H, Dib24Pitch(W)), W, H);
}

void Yuv420_2_rgb32(BITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY,
                    unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V) {
    QV_COLOR_REQUIRE("Yuv420_2_rgb32", lpDstBmi && lpDstBmi->biBitCount == 32);
    QV_COLOR_REQUIRE("Yuv420_2_rgb32", lpDstBits && pY && pU && pV);
    const int W = lpDstBmi->biWidth, H = lpDstBmi->biHeight;
    QV_COLOR_REQUIRE("Yuv420_2_rgb32", W > 0 && H > 0);
    QV_COLOR_REQUIRE_TEXT("Yuv420_2_rgb32", PlanesAddressable(W, H, nPt_Y, nPt_U, nPt_V) &&
                                   Addressable(int64_t{W} * 4, H, ptrdiff_t{W} * 4),
                          QV_OFFSETS_FIT);
    Yuv420ToRgb<4, false>(Planes{pY, pU, pV, nPt_Y, nPt_U, nPt_V},
                          BottomUp(lpDstBits, H, ptrdiff_t{W} * 4), W, H);
}

void Yuv420_2_Argb(BITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY,
                   unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V) {
    QV_COLOR_REQUIRE("Yuv420_2_Argb", lpDstBmi && lpDstBmi->biBitCount == 32);
    QV_COLOR_REQUIRE("Yuv420_2_Argb", lpDstBits && pY && pU && pV);
    const int W = lpDstBmi->biWidth, H = lpDstBmi->biHeight;
    QV_COLOR_REQUIRE("Yuv420_2_Argb", W > 0 && H > 0);
    QV_COLOR_REQUIRE_TEXT("Yuv420_2_Argb", PlanesAddressable(W, H, nPt_Y, nPt_U, nPt_V) &&
                                   Addressable(int64_t{W} * 4, H, ptrdiff_t{W} * 4),
                          QV_OFFSETS_FIT);
    Yuv420ToRgb<4, true>(Planes{pY, pU, pV, nPt_Y, nPt_U, nPt_V},
                         TopDown(lpDstBits, ptrdiff_t{W} * 4), W, H);
}

// Diagnostic hook: converts a YV12 picture (Y, then V, then U) described by a
// bitmap header into a scratch 24-bit picture and discards it.
void xTraceImage(BITMAPINFO* header, unsigned char* bits) {
    if (!header) return;
    BITMAPINFOHEADER bmi;
    memcpy(&bmi, header, sizeof bmi);
    const int W = bmi.biWidth, H = bmi.biHeight;
    if (W <= 0 || H <= 0) return;
    const ptrdiff_t pitch = Dib24Pitch(W);
    // Refused before any size is multiplied out: a huge header would overflow them.
    QV_COLOR_REQUIRE_TEXT("xTraceImage", Addressable(pitch, H, pitch), QV_OFFSETS_FIT);
    bmi.biBitCount = 24;
    bmi.biCompression = 0;
    bmi.biSizeImage = static_cast<uint32_t>(pitch * H);

    uint8_t* pY = bits ? bits : reinterpret_cast<uint8_t*>(header) + sizeof(BITMAPINFOHEADER);
    const ptrdiff_t chromaPitch = (static_cast<ptrdiff_t>(W) + 1) / 2;
    uint8_t* pV = pY + static_cast<ptrdiff_t>(W) * H;
    uint8_t* pU = pV + chromaPitch * ((static_cast<ptrdiff_t>(H) + 1) / 2);

    // The scratch size is computed wide: a huge header must fail the
    // allocation, not wrap around to a small buffer.
    std::unique_ptr<uint8_t[]> rgb(new (std::nothrow) uint8_t[static_cast<size_t>(pitch * H)]);
    if (!rgb) return;
    Yuv420_2_rgb24(&bmi, rgb.get(), pY, pU, pV, W, static_cast<int>(chromaPitch),
                   static_cast<int>(chromaPitch));
}
