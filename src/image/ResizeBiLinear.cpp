// Bilinear resizers: packed 4-byte, 8-bit, luma and chroma planes, and the
// averaging luma variant.
#include <cstring>

#include "image/PackedRows.h"
#include "image/PlaneRows.h"
#include "image/ResizeCommon.h"

using namespace qv::image;

namespace {

constexpr uint8_t kLumaBlack = 16;

// Stepped nearest-neighbour row with the last pixel pinned (bpp 1 or 4).
void NearPinnedRow(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol,
                   int bpp) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step)
        std::memcpy(out + bpp * i, in + bpp * (fx >> kShift), bpp);
    std::memcpy(out + bpp * (count - 1), in + bpp * lastCol, bpp);
}

// Shared walk of the bottom-up packed and 8-bit members.
int BiLinerBottomUp(const IMG_PARAM& src, IMG_PARAM& dst, int bpp) {
    if (!AcceptRects(src, {Layout::BottomUp, bpp}, dst, {Layout::BottomUp, bpp}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const int lastCol = src.cx - 1;
    const int lastRow = src.y + src.cy - 1;
    const PackedRows& packed = PackedRowFamily().Active();
    int64_t fy = 0;
    for (int j = 0; j < dst.cy - 1; ++j, fy += stepY) {
        const int r = static_cast<int>(fy >> kShift) + src.y;
        const int r1 = r < lastRow ? r + 1 : lastRow;
        const int wy1 = static_cast<int>(fy & kFrac);
        const uint8_t* in0 = RowBottomUp(src, r) + bpp * src.x;
        const uint8_t* in1 = RowBottomUp(src, r1) + bpp * src.x;
        uint8_t* out = RowBottomUp(dst, dst.y + j) + bpp * dst.x;
        if (bpp == 4) {
            packed.bilinearRow(in0, in1, out, dst.cx, stepX, lastCol, wy1);
        } else {
            PlaneRowFamily().Active().bilinearRow(in0, in1, out, dst.cx - 1, stepX, lastCol, wy1);
            out[dst.cx - 1] = in0[lastCol];
        }
    }
    NearPinnedRow(RowBottomUp(src, lastRow) + bpp * src.x,
                  RowBottomUp(dst, dst.y + dst.cy - 1) + bpp * dst.x, dst.cx, stepX, lastCol, bpp);
    return 1;
}

}  // namespace

QV_API int DIB_ResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst) {
    return BiLinerBottomUp(src, dst, 4);
}

QV_API int DIB_ResizeBiLiner8(const IMG_PARAM& src, IMG_PARAM& dst) {
    return BiLinerBottomUp(src, dst, 1);
}

QV_API int DIB_ResizeBiLinerY(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::TopDown, 1}, dst, {Layout::TopDown, 1}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const int lastRow = src.y + src.cy - 1;
    const int right = dst.x + dst.cx;
    const PlaneRows& rows = PlaneRowFamily().Active();
    int64_t fy = 0;
    for (int j = 0; j < dst.cy; ++j, fy += stepY) {
        uint8_t* row = RowTopDown(dst, dst.y + j);
        std::memset(row, kLumaBlack, dst.x);
        if (j < dst.cy - 1) {
            const int r = static_cast<int>(fy >> kShift) + src.y;
            const int r1 = r < lastRow ? r + 1 : lastRow;
            rows.bilinearRow(RowTopDown(src, r) + src.x, RowTopDown(src, r1) + src.x, row + dst.x,
                             dst.cx, stepX, src.cx - 1, static_cast<int>(fy & kFrac));
        } else {
            rows.nearRow(RowTopDown(src, lastRow) + src.x, row + dst.x, dst.cx, stepX);
        }
        std::memset(row + right, kLumaBlack, RowLength(dst) - right);
    }
    return 1;
}

QV_API int DIB_ResizeBiLinerUV(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::Chroma, 1}, dst, {Layout::Chroma, 1}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    // The (xs + 1) / 2 neighbour passes the rectangle's last chroma sample
    // only when its weight is 0; reading that sample instead is exact.
    const int lastCol = (src.x + src.cx - 1) / 2;
    const int lastRow = (src.y + src.cy - 1) / 2;
    // Every second luma column c from dst.x writes chroma sample c / 2.
    const int count = (dst.cx + 1) / 2;
    const PlaneRows& rows = PlaneRowFamily().Active();
    int r = dst.y;
    int64_t fy = 0;
    for (; r < dst.y + dst.cy - 2; r += 2, fy += 2 * stepY) {
        const int ys = static_cast<int>(fy >> kShift) + src.y;
        const uint8_t* in0 = RowTopDown(src, ys / 2);
        const uint8_t* in1 = RowTopDown(src, (ys + 1) / 2 < lastRow ? (ys + 1) / 2 : lastRow);
        rows.bilinearRowUV(in0, in1, RowTopDown(dst, r / 2) + dst.x / 2, count, 2 * stepX, src.x,
                           lastCol, static_cast<int>(fy & kFrac));
    }
    // Last chroma row: nearest neighbour along the source's last luma row.
    rows.nearRowUV(RowTopDown(src, lastRow), RowTopDown(dst, r / 2) + dst.x / 2, count, 2 * stepX,
                   src.x);
    return 1;
}

QV_API int DIB_ResizeBiLinerY_Simulate(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::TopDown, 1}, dst, {Layout::TopDown, 1}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const PlaneRows& rows = PlaneRowFamily().Active();
    int64_t fy = 0;
    for (int j = 0; j < dst.cy - 1; ++j, fy += stepY) {
        // (fy + stepY) never passes the rectangle's last row before the last
        // destination row, so only the column needs holding.
        const uint8_t* in0 = RowTopDown(src, static_cast<int>(fy >> kShift) + src.y) + src.x;
        const uint8_t* in1 =
            RowTopDown(src, static_cast<int>((fy + stepY) >> kShift) + src.y) + src.x;
        rows.averageRow(in0, in1, RowTopDown(dst, dst.y + j) + dst.x, dst.cx, stepX, src.cx - 1);
    }
    rows.nearRow(RowTopDown(src, src.y + src.cy - 1) + src.x,
                 RowTopDown(dst, dst.y + dst.cy - 1) + dst.x, dst.cx, stepX);
    return 1;
}
