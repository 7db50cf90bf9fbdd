// Nearest-neighbour resizers: packed 4-byte, 8-bit, luma and chroma planes.
#include <cstring>
#include <new>

#include "image/ResizeCommon.h"

using namespace qv::image;

namespace {

constexpr uint8_t kLumaBlack = 16;

// 4-byte pixels: stepped columns, the last one pinned to `lastCol`.
void NearRow32(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step)
        std::memcpy(out + 4 * i, in + 4 * (fx >> kShift), 4);
    std::memcpy(out + 4 * (count - 1), in + 4 * lastCol, 4);
}

// Chroma row in luma units: every second luma column c from dstX while
// c < dstX + dstCx is written at c / 2 from the source column xs / 2.
void NearRowUV(const uint8_t* in, int srcX, uint8_t* out, int dstX, int dstCx, int64_t step) {
    int64_t fx = 0;
    for (int c = dstX; c < dstX + dstCx; c += 2, fx += 2 * step) {
        const int xs = static_cast<int>(fx >> kShift) + srcX;
        out[c / 2] = in[xs / 2];
    }
}

// Table row of single bytes, four at a time over the bulk of the row.
void TableRow8(const uint8_t* in, uint8_t* out, const int32_t* cols, int count) {
    const int bulk = count - count % 4;
    int i = 0;
    for (; i < bulk; i += 4) {
        out[i] = in[cols[i]];
        out[i + 1] = in[cols[i + 1]];
        out[i + 2] = in[cols[i + 2]];
        out[i + 3] = in[cols[i + 3]];
    }
    for (; i < count; ++i)
        out[i] = in[cols[i]];
}

// Index of the source sample nearest to i * srcLen / dstLen (halves rounded up),
// absolute; the last entry is pinned to the rectangle's last sample. Enlarging
// by more than 2x, the rounding reaches one sample past the rectangle for the
// entries just before the last: that sample is read where the buffer has it
// (`extent` samples) and the buffer's last sample stands in where it has not.
void FillTable(int32_t* table, int dstLen, int srcStart, int srcLen, int extent) {
    for (int i = 0; i < dstLen - 1; ++i) {
        const int64_t at = (dstLen / 2 + static_cast<int64_t>(i) * srcLen) / dstLen + srcStart;
        table[i] = static_cast<int32_t>(at < extent ? at : extent - 1);
    }
    table[dstLen - 1] = srcStart + srcLen - 1;
}

}  // namespace

QV_API int DIB_ResizeNear(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::BottomUp, 4}, dst, {Layout::BottomUp, 4}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const int lastCol = src.cx - 1;
    int64_t fy = 0;
    for (int j = 0; j < dst.cy; ++j, fy += stepY) {
        const int s = j < dst.cy - 1 ? static_cast<int>(fy >> kShift) + src.y : src.y + src.cy - 1;
        NearRow32(RowBottomUp(src, s) + 4 * src.x, RowBottomUp(dst, dst.y + j) + 4 * dst.x, dst.cx,
                  stepX, lastCol);
    }
    return 1;
}

QV_API int DIB_ResizeNear8(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::TopDown, 1}, dst, {Layout::TopDown, 1}))
        return 0;
    // An allocation failure is reported like any refusal (0, nothing written)
    // rather than thrown across the C-style API.
    int32_t* colTable = new (std::nothrow) int32_t[dst.cx];
    int32_t* rowTable = new (std::nothrow) int32_t[dst.cy];
    if (!colTable || !rowTable) {
        delete[] colTable;
        delete[] rowTable;
        return 0;
    }
    FillTable(colTable, dst.cx, src.x, src.cx, ExtentColumns(src, 1));
    FillTable(rowTable, dst.cy, src.y, src.cy, ExtentRows(src));
    for (int j = 0; j < dst.cy; ++j)
        TableRow8(RowTopDown(src, rowTable[j]), RowTopDown(dst, dst.y + j) + dst.x, colTable,
                  dst.cx);
    delete[] colTable;
    delete[] rowTable;
    return 1;
}

QV_API int DIB_ResizeNearY(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::TopDown, 1}, dst, {Layout::TopDown, 1}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const int right = dst.x + dst.cx;
    int64_t fy = 0;
    for (int j = 0; j < dst.cy; ++j, fy += stepY) {
        uint8_t* row = RowTopDown(dst, dst.y + j);
        std::memset(row, kLumaBlack, dst.x);
        const int s = static_cast<int>(fy >> kShift) + src.y;
        NearRow8(RowTopDown(src, s) + src.x, row + dst.x, dst.cx, stepX);
        std::memset(row + right, kLumaBlack, RowLength(dst) - right);
    }
    return 1;
}

QV_API int DIB_ResizeNearUV(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::Chroma, 1}, dst, {Layout::Chroma, 1}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    int r = dst.y;
    int64_t fy = 0;
    for (; r < dst.y + dst.cy - 2; r += 2, fy += 2 * stepY) {
        const int s = static_cast<int>(fy >> kShift) + src.y;
        NearRowUV(RowTopDown(src, s / 2), src.x, RowTopDown(dst, r / 2), dst.x, dst.cx, stepX);
    }
    // The last chroma row comes from the source rectangle's last luma row.
    NearRowUV(RowTopDown(src, (src.y + src.cy - 1) / 2), src.x, RowTopDown(dst, r / 2), dst.x,
              dst.cx, stepX);
    return 1;
}
