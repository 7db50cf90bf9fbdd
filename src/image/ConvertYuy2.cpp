// Packed 4:2:2 (YUY2 / UYVY) conversions to and from 24-bit RGB and planar
// 4:2:0, and rectangle copies between packed or planar pictures.
#include <quevarra/qv_color.h>

#include <stdint.h>
#include <string.h>

#include <algorithm>

#include "image/ColorRows.h"
#include "image/YuvToRgbRows.h"
#include "image/Yuy2Rows.h"

using namespace qv::color;
using qv::image::OrderOf;
using qv::image::PackedOrder;

namespace {

// A 24-bit source whose reads stay inside the nHeight x nPitch bytes it
// describes: a pixel that would reach past the end reads the last whole pixel.
struct Rgb24Source {
    const uint8_t* base;
    ptrdiff_t lastPixel;  // offset of the last whole pixel, or -1 when unknown
    const uint8_t* Pixel(ptrdiff_t offset) const {
        return base + (lastPixel >= 0 && offset > lastPixel ? lastPixel : offset);
    }
};

// The pairs whose reads may be clamped, one macropixel at a time.
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

// `rows` rows of `width` bytes, `pitch` apart (either way), from `first`.
struct PlaneRect {
    uint8_t* first;
    ptrdiff_t pitch;
    size_t width;
    int rows;
    uintptr_t Lo() const {
        return reinterpret_cast<uintptr_t>(first) + (pitch < 0 ? (rows - 1) * pitch : 0);
    }
    uintptr_t Hi() const {
        return reinterpret_cast<uintptr_t>(first) + (pitch > 0 ? (rows - 1) * pitch : 0) + width;
    }
};

bool Overlap(const PlaneRect& a, const PlaneRect& b) { return a.Lo() < b.Hi() && b.Lo() < a.Hi(); }

void CopyPlane(const PlaneRect& dst, const PlaneRect& src) {
    if (dst.pitch == static_cast<ptrdiff_t>(dst.width) && src.pitch == dst.pitch) {
        // In pieces that stay in the cache: the C library streams large
        // copies past it, which is slower for a frame read again soon.
        constexpr size_t kPiece = size_t{1} << 19;
        const size_t total = dst.width * static_cast<size_t>(dst.rows);
        for (size_t at = 0; at < total; at += kPiece)
            memcpy(dst.first + at, src.first + at, total - at < kPiece ? total - at : kPiece);
        return;
    }
    for (int r = 0; r < dst.rows; ++r) memcpy(dst.first + r * dst.pitch, src.first + r * src.pitch, dst.width);
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
    const PackedOrder o = OrderOf(bYUY2 != 0);
    const ptrdiff_t total = static_cast<ptrdiff_t>(nHeightSrc) * nPitchSrc;
    const Rgb24Source src{lpBitsSrc, total >= 3 ? total - 3 : -1};
    auto srcRow = [&](int r) { return At(nHeightSrc - 1 - ySrc - r, nPitchSrc, ptrdiff_t{xSrc} * 3); };
    auto dstRow = [&](int r) { return lpBitsDst + At(yDst + r, nPitchDst, ptrdiff_t{xDst} * 2); };

    // Pairs before the clamped end of the source go to the row kernel.
    const qv::image::RgbToPackedFn row = qv::image::Yuy2Family().Active().rgbToPacked;
    for (int r = 0; r < cy; ++r) {
        const ptrdiff_t at = srcRow(r);
        const ptrdiff_t slack = src.lastPixel - at - 3;  // pair k is direct while 6k <= slack
        const ptrdiff_t room = src.lastPixel < 0 ? n / 2 : (slack < 0 ? 0 : slack / 6 + 1);
        const int direct = static_cast<int>(std::min<ptrdiff_t>(room, n / 2));
        row(lpBitsSrc + at, dstRow(r), direct, bYUY2 != 0);
        RgbRowToPacked(src, at + ptrdiff_t{direct} * 6, dstRow(r) + direct * 4, n / 2 - direct, o);
    }
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
    const PackedOrder o = OrderOf(bYUY2 != 0);
    auto srcRow = [&](int r) { return lpBitsSrc + At(ySrc + r, nPitchSrc, ptrdiff_t{xSrc} * 2); };
    auto dstRow = [&](int r) {
        return lpBitsDst + At(nHeightDst - 1 - yDst - r, nPitchDst, ptrdiff_t{xDst} * 3);
    };

    const qv::image::PackedToRgbFn row = qv::image::YuvToRgbFamily().Active().packedToRgb24;
    for (int r = 0; r < cy; ++r) row(srcRow(r), dstRow(r), n / 2, bYUY2 != 0);
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
    const int pairs = (cx + 1) / 2;
    const qv::image::PackedPairTo420Fn row = qv::image::Yuy2Family().Active().packedPairTo420;
    // The bound as an offset from pV; comparing offsets avoids forming
    // out-of-range pointers.
    const int64_t bound = (int64_t{ySrc} + cy) * nPt_V;
    for (int r = 0; r < cy; r += 2) {
        const int64_t vRow = (int64_t{yDst} / 2 + r / 2) * nPt_V + xDst / 2;
        const int64_t room = bound - vRow + 1;  // macropixel pairs allowed on this row
        const int allowed = room <= 0 ? 0 : static_cast<int>(std::min<int64_t>(room, pairs));
        const uint8_t* top = lpBitsSrc + At(ySrc + r, nPitchSrc, ptrdiff_t{xSrc} * 2);
        row(top, top + nPitchSrc, pY + At(yDst + r, nPt_Y, xDst), pY + At(yDst + r + 1, nPt_Y, xDst),
            pU + At(yDst / 2 + r / 2, nPt_U, xDst / 2), pV + vRow, allowed, bYUY2 != 0);
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
    const int pairs = (cx + 1) / 2;
    const qv::image::Pair420ToPackedFn row = qv::image::Yuy2Family().Active().pair420ToPacked;
    for (int r = 0; r < cy; r += 2) {
        uint8_t* top = lpBitsDst + At(yDst + r, nPitchDst, ptrdiff_t{xDst} * 2);
        row(pY + At(ySrc + r, nPt_Y, xSrc), pY + At(ySrc + r + 1, nPt_Y, xSrc),
                           pU + At(ySrc / 2 + r / 2, nPt_U, xSrc / 2),
                           pV + At(ySrc / 2 + r / 2, nPt_V, xSrc / 2), top, top + nPitchDst, pairs,
                           bYUY2 != 0);
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
    const qv::image::SwapPackedFn swap = qv::image::Yuy2Family().Active().swapPacked;
    for (int r = 0; r < cy; ++r) {
        const uint8_t* src = lpBitsSrc + At(ySrc + r, nPitchSrc, ptrdiff_t{xSrc} * 2);
        uint8_t* dst = lpBitsDst + At(yDst + r, nPitchDst, ptrdiff_t{xDst} * 2);
        if (bYUY2Dst == bYUY2Src) {
            memmove(dst, src, static_cast<size_t>(cx) * 2);
        } else {
            swap(src, dst, (cx + 1) / 2);
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
    const int pairs = static_cast<int>((int64_t{yEnd} - yDst + 1) / 2);
    const PlaneRect dst[3] = {
        {pYDst + At(yDst, nPtYDst, xDst), nPtYDst, static_cast<size_t>(cx), 2 * pairs},
        {pUDst + At(yDst / 2, nPtUDst, (xDst + 1) / 2), nPtUDst, chromaBytes, pairs},
        {pVDst + At(yDst / 2, nPtVDst, (xDst + 1) / 2), nPtVDst, chromaBytes, pairs}};
    const PlaneRect src[3] = {
        {pYSrc + At(ySrc, nPtYSrc, xSrc), nPtYSrc, static_cast<size_t>(cx), 2 * pairs},
        {pUSrc + At(ySrc / 2, nPtUSrc, (xSrc + 1) / 2), nPtUSrc, chromaBytes, pairs},
        {pVSrc + At(ySrc / 2, nPtVSrc, (xSrc + 1) / 2), nPtVSrc, chromaBytes, pairs}};
    // When no byte is both written and read, or written twice, the order of
    // the copies cannot show: copy plane by plane, contiguous rows at once.
    bool apart = true;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            apart = apart && !Overlap(dst[i], src[j]) && (j <= i || !Overlap(dst[i], dst[j]));
    if (apart) {
        for (int p = 0; p < 3; ++p) CopyPlane(dst[p], src[p]);
        return;
    }
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
