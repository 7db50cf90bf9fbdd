// Per-pixel BT.601 forms (10 fractional bits, rounded, clamped) and the two
// whole-picture reference converters built on them.
#include <quevarra/qv_color.h>
#include <quevarra/qv_support.h>

#include <stdint.h>

#include "image/ColorRows.h"

namespace qv::color {

void ReportViolation(const char* function, const char* condition) {
    LogEx(L"%s: assertion failed: %s\r\n", function, condition);
}

}  // namespace qv::color

using namespace qv::color;

namespace {

// Inputs outside 0..255 are accepted and clamped; 64-bit sums keep even
// absurd values free of overflow while giving the 32-bit results for sane ones.
int Fixed10(int64_t sum) { return static_cast<int>(ClampInt64(sum >> 10)); }

}  // namespace

void PixelRGB_2_YUV(int r, int g, int b, int& y, int& u, int& v) {
    const int64_t R = r, G = g, B = b;
    y = ClampInt(Fixed10(263 * R + 516 * G + 100 * B + 16896), 16, 235);
    u = ClampInt(Fixed10(-152 * R - 298 * G + 450 * B + 131584), 16, 240);
    v = ClampInt(Fixed10(450 * R - 377 * G - 73 * B + 131584), 16, 240);
}

void PixelYUV_2_RGB(int y, int u, int v, int& r, int& g, int& b) {
    const int64_t Y = y, U = u, V = v;
    r = ClampInt(Fixed10(1192 * Y + 1634 * V - 227712), 0, 255);
    g = ClampInt(Fixed10(1192 * Y - 401 * U - 833 * V + 139392), 0, 255);
    b = ClampInt(Fixed10(1192 * Y + 2065 * U - 282880), 0, 255);
}

// Reference path: only the even part of the picture is converted; an odd last
// column or row is left as the destination held it. Null pointers and
// non-positive sizes are logged and convert nothing.
void Yuv420_2_rgb24Simple(BITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits,
                          unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                          int nPt_U, int nPt_V) {
    QV_COLOR_REQUIRE("Yuv420_2_rgb24Simple", lpDstBmi && lpDstBits && pY && pU && pV);
    const int W = lpDstBmi->biWidth;
    const int H = lpDstBmi->biHeight;
    QV_COLOR_REQUIRE("Yuv420_2_rgb24Simple", W > 0 && H > 0);
    QV_COLOR_REQUIRE_TEXT("Yuv420_2_rgb24Simple", PlanesAddressable(W, H, nPt_Y, nPt_U, nPt_V) &&
                                                     Addressable(int64_t{W} * 3, H, Dib24Pitch(W)),
                          QV_OFFSETS_FIT);
    const RowWalk<uint8_t> dst = BottomUp(lpDstBits, H, Dib24Pitch(W));
    const Planes src{pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    for (int j = 0; j < (H & ~1); j += 2) {
        const uint8_t* uRow = src.URow(j / 2);
        const uint8_t* vRow = src.VRow(j / 2);
        for (int x = 0; x < (W & ~1); x += 2) {
            const int u = uRow[x / 2];
            const int v = vRow[x / 2];
            for (int dy = 0; dy < 2; ++dy) {
                const uint8_t* yRow = src.LumaRow(j + dy);
                uint8_t* out = dst.Row(j + dy);
                for (int dx = 0; dx < 2; ++dx) {
                    int r, g, b;
                    PixelYUV_2_RGB(yRow[x + dx], u, v, r, g, b);
                    uint8_t* px = out + (x + dx) * 3;
                    px[0] = static_cast<uint8_t>(b);
                    px[1] = static_cast<uint8_t>(g);
                    px[2] = static_cast<uint8_t>(r);
                }
            }
        }
    }
}

void Rgb24_2_yuv420Simple(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                          int nPt_U, int nPt_V, BITMAPINFOHEADER* lpSrcBmi,
                          unsigned char* lpSrcBits) {
    QV_COLOR_REQUIRE("Rgb24_2_yuv420Simple", lpSrcBmi && lpSrcBits && pY && pU && pV);
    const int W = lpSrcBmi->biWidth;
    const int H = lpSrcBmi->biHeight;
    QV_COLOR_REQUIRE("Rgb24_2_yuv420Simple", W > 0 && H > 0);
    QV_COLOR_REQUIRE_TEXT("Rgb24_2_yuv420Simple", PlanesAddressable(W, H, nPt_Y, nPt_U, nPt_V) &&
                                                     Addressable(int64_t{W} * 3, H, Dib24Pitch(W)),
                          QV_OFFSETS_FIT);
    const RowWalk<const uint8_t> src = BottomUp<const uint8_t>(lpSrcBits, H, Dib24Pitch(W));
    const Planes dst{pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    for (int j = 0; j < (H & ~1); j += 2) {
        for (int x = 0; x < (W & ~1); x += 2) {
            int sumU = 0, sumV = 0;
            for (int dy = 0; dy < 2; ++dy) {
                const uint8_t* in = src.Row(j + dy);
                uint8_t* yRow = dst.LumaRow(j + dy);
                for (int dx = 0; dx < 2; ++dx) {
                    const uint8_t* px = in + (x + dx) * 3;
                    int y, u, v;
                    PixelRGB_2_YUV(px[2], px[1], px[0], y, u, v);
                    yRow[x + dx] = static_cast<uint8_t>(y);
                    sumU += u;
                    sumV += v;
                }
            }
            dst.URow(j / 2)[x / 2] = static_cast<uint8_t>(sumU >> 2);
            dst.VRow(j / 2)[x / 2] = static_cast<uint8_t>(sumV >> 2);
        }
    }
}
