// Nearest-neighbour resizers: packed 4-byte, 8-bit, luma and chroma planes.
#include <cstring>
#include <new>

#include "image/PackedRows.h"
#include "image/PlaneRows.h"
#include "image/ResizeCommon.h"

using namespace qv::image;

namespace {

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
    const PackedRows& rows = PackedRowFamily().Active();
    int64_t fy = 0;
    int previous = -1;
    for (int j = 0; j < dst.cy; ++j, fy += stepY) {
        const int s = j < dst.cy - 1 ? static_cast<int>(fy >> kShift) + src.y : src.y + src.cy - 1;
        uint8_t* out = RowBottomUp(dst, dst.y + j) + 4 * dst.x;
        // Enlarging repeats source rows: the row just written is copied whole.
        if (s == previous)
            std::memcpy(out, RowBottomUp(dst, dst.y + j - 1) + 4 * dst.x, 4 * size_t(dst.cx));
        else
            rows.nearRow(RowBottomUp(src, s) + 4 * src.x, out, dst.cx, stepX, lastCol);
        previous = s;
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
    const PlaneRows& rows = PlaneRowFamily().Active();
    ColumnStrip strip;
    strip.cols = colTable;
    for (int first = 0; first < dst.cx; first += kStripColumns) {
        SetStrip(strip, first, dst.cx);
        PlanStrip(rows, strip, Taps::Table);
        for (int j = 0; j < dst.cy; ++j)
            rows.nearRow(RowTopDown(src, rowTable[j]), RowTopDown(dst, dst.y + j) + dst.x, strip);
    }
    delete[] colTable;
    delete[] rowTable;
    return 1;
}

QV_API int DIB_ResizeNearY(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::TopDown, 1}, dst, {Layout::TopDown, 1}))
        return 0;
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const PlaneRows& rows = PlaneRowFamily().Active();
    ColumnStrip strip;
    strip.step = Q12Step(src.cx, dst.cx);
    for (int first = 0; first < dst.cx; first += kStripColumns) {
        SetStrip(strip, first, dst.cx);
        PlanStrip(rows, strip, Taps::Near);
        int64_t fy = 0;
        for (int j = 0; j < dst.cy; ++j, fy += stepY) {
            const int s = static_cast<int>(fy >> kShift) + src.y;
            rows.nearRow(RowTopDown(src, s) + src.x, RowTopDown(dst, dst.y + j) + dst.x, strip);
        }
    }
    BlackenLumaMargins(dst);
    return 1;
}

QV_API int DIB_ResizeNearUV(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::Chroma, 1}, dst, {Layout::Chroma, 1}))
        return 0;
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    // Every second luma column c from dst.x writes chroma sample c / 2.
    const int count = (dst.cx + 1) / 2;
    const PlaneRows& rows = PlaneRowFamily().Active();
    ColumnStrip strip;
    strip.step = 2 * Q12Step(src.cx, dst.cx);
    strip.srcX = src.x;
    for (int first = 0; first < count; first += kStripColumns) {
        SetStrip(strip, first, count);
        PlanStrip(rows, strip, Taps::NearUV);
        int r = dst.y;
        int64_t fy = 0;
        for (; r < dst.y + dst.cy - 2; r += 2, fy += 2 * stepY) {
            const int s = static_cast<int>(fy >> kShift) + src.y;
            rows.nearRow(RowTopDown(src, s / 2), RowTopDown(dst, r / 2) + dst.x / 2, strip);
        }
        // The last chroma row comes from the source rectangle's last luma row.
        rows.nearRow(RowTopDown(src, (src.y + src.cy - 1) / 2), RowTopDown(dst, r / 2) + dst.x / 2,
                     strip);
    }
    return 1;
}
