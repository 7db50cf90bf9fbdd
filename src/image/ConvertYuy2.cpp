// Packed 4:2:2 (YUY2 / UYVY) conversions to and from 24-bit RGB and planar
// 4:2:0, and rectangle copies between packed or planar pictures.
#include <quevarra/qv_color.h>

#include <stdint.h>
#include <string.h>

#include <algorithm>

#include "image/ColorRows.h"

using namespace qv::color;

namespace {

// Byte positions inside a 4-byte macropixel: Y0 U Y1 V when bYUY2 is not 0,
// U Y0 V Y1 otherwise.
struct PackedOrder {
    int y0, u, y1, v;
};

PackedOrder OrderOf(unsigned bYUY2) {
    return bYUY2 ? PackedOrder{0, 1, 2, 3} : PackedOrder{1, 0, 3, 2};
}

// A 24-bit source whose reads stay inside the nHeight x nPitch bytes it
// describes: a pixel that would reach past the end reads the last whole pixel.
struct Rgb24Source {
    const uint8_t* base;
    ptrdiff_t lastPixel;  // offset of the last whole pixel, or -1 when unknown
    const uint8_t* Pixel(ptrdiff_t offset) const {
        return base + (lastPixel >= 0 && offset > lastPixel ? lastPixel : offset);
    }
};

void RgbRowToPacked(const Rgb24Source& src, ptrdiff_t rowOffset, uint8_t* __restrict dst,
                    int pairs, PackedOrder o) {
    for (int k = 0; k < pairs; ++k) {
        const ptrdiff_t at = rowOffset + ptrdiff_t{k} * 6;
        const FwdPixel a = FastForwardBgr(src.Pixel(at));
        const FwdPixel b = FastForwardBgr(src.Pixel(at + 3));
        uint8_t* m = dst + k * 4;
        m[o.y0] = static_cast<uint8_t>(a.y);
        m[o.y1] = static_cast<uint8_t>(b.y);
        m[o.u] = Chroma2(a.u, b.u);
        m[o.v] = Chroma2(a.v, b.v);
    }
}

void PackedRowToRgb(const uint8_t* __restrict src, uint8_t* __restrict dst, int pairs,
                    PackedOrder o) {
    for (int k = 0; k < pairs; ++k) {
        const uint8_t* m = src + k * 4;
        const InvTerms t = InverseTerms(m[o.u], m[o.v]);
        StoreBgr(dst + k * 6, m[o.y0], t);
        StoreBgr(dst + k * 6 + 3, m[o.y1], t);
    }
}

// Two packed rows into two luma rows and one chroma row (vertical floor mean).
void PackedRowPairTo420(const uint8_t* __restrict top, const uint8_t* __restrict bottom,
                        uint8_t* __restrict y0, uint8_t* __restrict y1, uint8_t* __restrict u,
                        uint8_t* __restrict v, int pairs, PackedOrder o) {
    for (int k = 0; k < pairs; ++k) {
        const uint8_t* a = top + k * 4;
        const uint8_t* b = bottom + k * 4;
        y0[2 * k] = a[o.y0];
        y0[2 * k + 1] = a[o.y1];
        y1[2 * k] = b[o.y0];
        y1[2 * k + 1] = b[o.y1];
        u[k] = static_cast<uint8_t>((a[o.u] + b[o.u]) >> 1);
        v[k] = static_cast<uint8_t>((a[o.v] + b[o.v]) >> 1);
    }
}

// Two luma rows and one chroma row into two packed rows (chroma repeated).
void RowPair420ToPacked(const uint8_t* __restrict y0, const uint8_t* __restrict y1,
                        const uint8_t* __restrict u, const uint8_t* __restrict v,
                        uint8_t* __restrict top, uint8_t* __restrict bottom, int pairs,
                        PackedOrder o) {
    for (int k = 0; k < pairs; ++k) {
        uint8_t* a = top + k * 4;
        uint8_t* b = bottom + k * 4;
        a[o.y0] = y0[2 * k];
        a[o.y1] = y0[2 * k + 1];
        b[o.y0] = y1[2 * k];
        b[o.y1] = y1[2 * k + 1];
        a[o.u] = b[o.u] = u[k];
        a[o.v] = b[o.v] = v[k];
    }
}

// Swaps the bytes of each pair of a 4-byte group: YUY2 <-> UYVY. Safe in place.
void SwapPackedRow(const uint8_t* src, uint8_t* dst, int groups) {
    for (int k = 0; k < groups; ++k) {
        const uint8_t b0 = src[4 * k], b1 = src[4 * k + 1], b2 = src[4 * k + 2],
                      b3 = src[4 * k + 3];
        dst[4 * k] = b1;
        dst[4 * k + 1] = b0;
        dst[4 * k + 2] = b3;
        dst[4 * k + 3] = b2;
    }
}

// A cx x cy rectangle at (xp, yp) of a packed picture and at (xq, yq) of a
// planar 4:2:0 one. Rows go in pairs and widths in macropixels, so one more of
// each may be touched.
bool PackedAnd420Addressable(int64_t xp, int64_t yp, int pitch, int64_t xq, int64_t yq, int pitchY,
                             int pitchU, int pitchV, int cx, int cy) {
    const int64_t width = int64_t{cx} + 1, rows = int64_t{cy} + 1;
    return Addressable((xp + width) * 2, yp + rows, pitch) && Addressable(xq + width, yq + rows, pitchY) &&
           Addressable(xq / 2 + width / 2, yq / 2 + rows / 2, pitchU) &&
           Addressable(xq / 2 + width / 2, yq / 2 + rows / 2, pitchV);
}

ptrdiff_t At(int row, int pitch, ptrdiff_t column) {
    return static_cast<ptrdiff_t>(row) * pitch + column;
}

}  // namespace

// An odd xDst moves the packed side to the macropixel boundary below it and
// converts one pixel more, still reading from xSrc: the row lands one pixel to
// the left of the request. That extra source pixel may lie beyond what the
// pitch check covers; if it would fall past the end of the source buffer it
// reads the last pixel of the buffer instead. An empty request (cxDst or cy
// of 0 or less) writes nothing, even with an odd xDst: widening a request for
// no pixels into one converted macropixel would surprise the caller.
void Rgb24_2_YUY2(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cxDst,
                  int cy, unsigned bYUY2, unsigned char* lpBitsSrc, int nHeightSrc,
                  int nPitchSrc, int xSrc, int ySrc) {
    QV_COLOR_REQUIRE("Rgb24_2_YUY2", lpBitsDst && lpBitsSrc);
    QV_COLOR_REQUIRE_TEXT("Rgb24_2_YUY2", (int64_t{xDst} + cxDst) * 2 <= nPitchDst,
                          "(xDst + cxDst) * 2 <= nPitchDst");
    QV_COLOR_REQUIRE_TEXT("Rgb24_2_YUY2", int64_t{nPitchSrc} / 3 - xSrc >= cxDst,
                          "nPitchSrc / 3 - xSrc >= cxDst");
    if (cxDst <= 0 || cy <= 0) return;
    QV_COLOR_REQUIRE_TEXT("Rgb24_2_YUY2", xDst >= 0 && yDst >= 0 && xSrc >= 0 && ySrc >= 0 &&
                                              int64_t{ySrc} + cy <= nHeightSrc,
                          "positions >= 0 && ySrc + cy <= nHeightSrc");
    QV_COLOR_REQUIRE_TEXT("Rgb24_2_YUY2", Addressable((int64_t{xDst} + cxDst + 1) * 2, int64_t{yDst} + cy, nPitchDst) &&
                                              Addressable((int64_t{xSrc} + cxDst + 1) * 3, nHeightSrc, nPitchSrc),
                          QV_OFFSETS_FIT);
    if (xDst & 1) {
        xDst -= 1;
        cxDst += 1;
    }
    const int n = cxDst & ~1;
    const PackedOrder o = OrderOf(bYUY2);
    const ptrdiff_t total = static_cast<ptrdiff_t>(nHeightSrc) * nPitchSrc;
    const Rgb24Source src{lpBitsSrc, total >= 3 ? total - 3 : -1};
    auto srcRow = [&](int r) { return At(nHeightSrc - 1 - ySrc - r, nPitchSrc, ptrdiff_t{xSrc} * 3); };
    auto dstRow = [&](int r) { return lpBitsDst + At(yDst + r, nPitchDst, ptrdiff_t{xDst} * 2); };

    for (int r = 0; r < cy; ++r) RgbRowToPacked(src, srcRow(r), dstRow(r), n / 2, o);
    if (cxDst & 1) {
        for (int r = 0; r < cy; ++r) {
            const FwdPixel p = FastForwardBgr(src.Pixel(srcRow(r) + ptrdiff_t{n} * 3));
            uint8_t* m = dstRow(r) + n * 2;
            m[o.y0] = m[o.y1] = static_cast<uint8_t>(p.y);
            m[o.u] = static_cast<uint8_t>(p.u + 128);
            m[o.v] = static_cast<uint8_t>(p.v + 128);
        }
    }
}

// An odd xSrc reads from the macropixel boundary below it.
void YUY2_2_Rgb24(unsigned char* lpBitsDst, int nHeightDst, int nPitchDst, int xDst, int yDst,
                  int cxDst, int cy, unsigned char* lpBitsSrc, int nPitchSrc, unsigned bYUY2,
                  int xSrc, int ySrc) {
    QV_COLOR_REQUIRE("YUY2_2_Rgb24", lpBitsDst && lpBitsSrc);
    if (cxDst <= 0 || cy <= 0) return;
    QV_COLOR_REQUIRE_TEXT("YUY2_2_Rgb24", xDst >= 0 && yDst >= 0 && xSrc >= 0 && ySrc >= 0 &&
                                              int64_t{yDst} + cy <= nHeightDst,
                          "positions >= 0 && yDst + cy <= nHeightDst");
    QV_COLOR_REQUIRE_TEXT("YUY2_2_Rgb24", Addressable((int64_t{xDst} + cxDst) * 3, nHeightDst, nPitchDst) &&
                                              Addressable((int64_t{xSrc} + cxDst + 1) * 2, int64_t{ySrc} + cy, nPitchSrc),
                          QV_OFFSETS_FIT);
    if (xSrc & 1) xSrc -= 1;
    const int n = cxDst & ~1;
    const PackedOrder o = OrderOf(bYUY2);
    auto srcRow = [&](int r) { return lpBitsSrc + At(ySrc + r, nPitchSrc, ptrdiff_t{xSrc} * 2); };
    auto dstRow = [&](int r) {
        return lpBitsDst + At(nHeightDst - 1 - yDst - r, nPitchDst, ptrdiff_t{xDst} * 3);
    };

    for (int r = 0; r < cy; ++r) PackedRowToRgb(srcRow(r), dstRow(r), n / 2, o);
    if (cxDst & 1) {
        for (int r = 0; r < cy; ++r) {
            const uint8_t* m = srcRow(r) + n * 2;
            StoreBgr(dstRow(r) + n * 3, m[o.y0], InverseTerms(m[o.u], m[o.v]));
        }
    }
}

// Rows are taken in pairs; before each macropixel pair the V write position is
// checked against the bound, so everything before a violation is written.
void YUY2_2_Yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                   int nPt_U, int nPt_V, int xDst, int yDst, int cx, int cy,
                   unsigned char* lpBitsSrc, int nPitchSrc, unsigned bYUY2, int xSrc, int ySrc) {
    QV_COLOR_REQUIRE("YUY2_2_Yuv420", pY && pU && pV && lpBitsSrc);
    if (cx <= 0 || cy <= 0) return;
    QV_COLOR_REQUIRE_TEXT("YUY2_2_Yuv420", xDst >= 0 && yDst >= 0 && xSrc >= 0 && ySrc >= 0,
                          "positions >= 0");
    QV_COLOR_REQUIRE_TEXT("YUY2_2_Yuv420", PackedAnd420Addressable(xSrc, ySrc, nPitchSrc, xDst, yDst, nPt_Y,
                                                                   nPt_U, nPt_V, cx, cy),
                          QV_OFFSETS_FIT);
    const PackedOrder o = OrderOf(bYUY2);
    const int pairs = (cx + 1) / 2;
    // The bound as an offset from pV; comparing offsets avoids forming
    // out-of-range pointers.
    const int64_t bound = (int64_t{ySrc} + cy) * nPt_V;
    for (int r = 0; r < cy; r += 2) {
        const int64_t vRow = (int64_t{yDst} / 2 + r / 2) * nPt_V + xDst / 2;
        const int64_t room = bound - vRow + 1;  // macropixel pairs allowed on this row
        const int allowed = room <= 0 ? 0 : static_cast<int>(std::min<int64_t>(room, pairs));
        const uint8_t* top = lpBitsSrc + At(ySrc + r, nPitchSrc, ptrdiff_t{xSrc} * 2);
        PackedRowPairTo420(top, top + nPitchSrc, pY + At(yDst + r, nPt_Y, xDst),
                           pY + At(yDst + r + 1, nPt_Y, xDst), pU + At(yDst / 2 + r / 2, nPt_U, xDst / 2),
                           pV + vRow, allowed, o);
        QV_COLOR_REQUIRE_TEXT("YUY2_2_Yuv420", allowed == pairs,
                              "(char*)V <= ((char*)pV + (ySrc + cy) * nPt_V)");
    }
}

void Yuv420_2_YUY2(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cx, int cy,
                   unsigned bYUY2, unsigned char* pY, unsigned char* pU, unsigned char* pV,
                   int nPt_Y, int nPt_U, int nPt_V, int xSrc, int ySrc) {
    QV_COLOR_REQUIRE("Yuv420_2_YUY2", lpBitsDst && pY && pU && pV);
    if (cx <= 0 || cy <= 0) return;
    QV_COLOR_REQUIRE_TEXT("Yuv420_2_YUY2", xDst >= 0 && yDst >= 0 && xSrc >= 0 && ySrc >= 0,
                          "positions >= 0");
    QV_COLOR_REQUIRE_TEXT("Yuv420_2_YUY2", PackedAnd420Addressable(xDst, yDst, nPitchDst, xSrc, ySrc, nPt_Y,
                                                                   nPt_U, nPt_V, cx, cy),
                          QV_OFFSETS_FIT);
    const PackedOrder o = OrderOf(bYUY2);
    const int pairs = (cx + 1) / 2;
    for (int r = 0; r < cy; r += 2) {
        uint8_t* top = lpBitsDst + At(yDst + r, nPitchDst, ptrdiff_t{xDst} * 2);
        RowPair420ToPacked(pY + At(ySrc + r, nPt_Y, xSrc), pY + At(ySrc + r + 1, nPt_Y, xSrc),
                           pU + At(ySrc / 2 + r / 2, nPt_U, xSrc / 2),
                           pV + At(ySrc / 2 + r / 2, nPt_V, xSrc / 2), top, top + nPitchDst, pairs,
                           o);
    }
}

// Flags are compared as integers: 1 and 2 both mean YUY2 but still swap.
void YUY2_Blt_fast(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cx, int cy,
                   unsigned bYUY2Dst, unsigned char* lpBitsSrc, int nPitchSrc, unsigned bYUY2Src,
                   int xSrc, int ySrc) {
    QV_COLOR_REQUIRE("YUY2_Blt_fast", lpBitsDst && lpBitsSrc);
    if (cx <= 0 || cy <= 0) return;
    QV_COLOR_REQUIRE_TEXT("YUY2_Blt_fast", xDst >= 0 && yDst >= 0 && xSrc >= 0 && ySrc >= 0,
                          "positions >= 0");
    QV_COLOR_REQUIRE_TEXT("YUY2_Blt_fast", Addressable((int64_t{xDst} + cx + 1) * 2, int64_t{yDst} + cy, nPitchDst) &&
                                               Addressable((int64_t{xSrc} + cx + 1) * 2, int64_t{ySrc} + cy, nPitchSrc),
                          QV_OFFSETS_FIT);
    for (int r = 0; r < cy; ++r) {
        const uint8_t* src = lpBitsSrc + At(ySrc + r, nPitchSrc, ptrdiff_t{xSrc} * 2);
        uint8_t* dst = lpBitsDst + At(yDst + r, nPitchDst, ptrdiff_t{xDst} * 2);
        if (bYUY2Dst == bYUY2Src) {
            memmove(dst, src, static_cast<size_t>(cx) * 2);
        } else {
            SwapPackedRow(src, dst, (cx + 1) / 2);
        }
    }
}

// yEnd is an exclusive destination row; rows go in pairs, so an odd count
// copies one luma row more. An odd x starts chroma at the next column.
void YV12_Blt_fast(unsigned char* pYDst, unsigned char* pUDst, unsigned char* pVDst, int nPtYDst,
                   int nPtUDst, int nPtVDst, int xDst, int yDst, int cx, int yEnd,
                   unsigned char* pYSrc, unsigned char* pUSrc, unsigned char* pVSrc, int nPtYSrc,
                   int nPtUSrc, int nPtVSrc, int xSrc, int ySrc) {
    QV_COLOR_REQUIRE("YV12_Blt_fast", pYDst && pUDst && pVDst && pYSrc && pUSrc && pVSrc);
    if (cx <= 0 || yEnd <= yDst) return;
    QV_COLOR_REQUIRE_TEXT("YV12_Blt_fast", xDst >= 0 && yDst >= 0 && xSrc >= 0 && ySrc >= 0,
                          "positions >= 0");
    // Luma rows go in pairs: an odd count copies one row more.
    const int64_t rows = int64_t{yEnd} - yDst + 1, chromaRows = rows / 2 + 1;
    const int64_t chromaWidth = (int64_t{cx} + 1) / 2 + 1;
    QV_COLOR_REQUIRE_TEXT("YV12_Blt_fast", Addressable(int64_t{xDst} + cx, yDst + rows, nPtYDst) &&
                                               Addressable(int64_t{xSrc} + cx, ySrc + rows, nPtYSrc) &&
                                               Addressable(xDst / 2 + chromaWidth, yDst / 2 + chromaRows, nPtUDst) &&
                                               Addressable(xDst / 2 + chromaWidth, yDst / 2 + chromaRows, nPtVDst) &&
                                               Addressable(xSrc / 2 + chromaWidth, ySrc / 2 + chromaRows, nPtUSrc) &&
                                               Addressable(xSrc / 2 + chromaWidth, ySrc / 2 + chromaRows, nPtVSrc),
                          QV_OFFSETS_FIT);
    const size_t chromaBytes = (static_cast<size_t>(cx) + 1) / 2;
    for (int i = 0; yDst + 2 * i < yEnd; ++i) {
        const int y = yDst + 2 * i, ys = ySrc + 2 * i;
        memmove(pYDst + At(y, nPtYDst, xDst), pYSrc + At(ys, nPtYSrc, xSrc), cx);
        memmove(pYDst + At(y + 1, nPtYDst, xDst), pYSrc + At(ys + 1, nPtYSrc, xSrc), cx);
        memmove(pUDst + At(yDst / 2 + i, nPtUDst, (xDst + 1) / 2),
                pUSrc + At(ySrc / 2 + i, nPtUSrc, (xSrc + 1) / 2), chromaBytes);
        memmove(pVDst + At(yDst / 2 + i, nPtVDst, (xDst + 1) / 2),
                pVSrc + At(ySrc / 2 + i, nPtVSrc, (xSrc + 1) / 2), chromaBytes);
    }
}
