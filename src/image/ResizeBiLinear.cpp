// Bilinear resizers: packed 4-byte, 8-bit, luma and chroma planes, and the
// averaging luma variant.
#include <algorithm>

#include "image/PackedRows.h"
#include "image/PlaneRows.h"
#include "image/ResizeCommon.h"

using namespace qv::image;

namespace {

// Walk of the bottom-up packed member.
int BiLinerBottomUp32(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::BottomUp, 4}, dst, {Layout::BottomUp, 4}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const int lastCol = src.cx - 1;
    const int lastRow = src.y + src.cy - 1;
    const PackedRows& rows = PackedRowFamily().Active();
    int64_t fy = 0;
    for (int j = 0; j < dst.cy - 1; ++j, fy += stepY) {
        const int r = static_cast<int>(fy >> kShift) + src.y;
        const int r1 = r < lastRow ? r + 1 : lastRow;
        rows.bilinearRow(RowBottomUp(src, r) + 4 * src.x, RowBottomUp(src, r1) + 4 * src.x,
                         RowBottomUp(dst, dst.y + j) + 4 * dst.x, dst.cx, stepX, lastCol,
                         static_cast<int>(fy & kFrac));
    }
    // The last row: nearest neighbour along the source's last row.
    rows.nearRow(RowBottomUp(src, lastRow) + 4 * src.x, RowBottomUp(dst, dst.y + dst.cy - 1) + 4 * dst.x,
                 dst.cx, stepX, lastCol);
    return 1;
}

// Picture row r of a top-down or bottom-up 8-bit plane.
uint8_t* PlaneRow(const IMG_PARAM& p, Layout layout, int r) {
    return layout == Layout::BottomUp ? RowBottomUp(p, r) : RowTopDown(p, r);
}

// Walk of the 8-bit luma and bottom-up members over `columns` destination
// columns from the rectangle's left: bilinear rows, then the last row by
// nearest neighbour along the source's last row.
void BiLinearPlane(const IMG_PARAM& src, IMG_PARAM& dst, Layout layout, int columns) {
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const int lastRow = src.y + src.cy - 1;
    const PlaneRows& rows = PlaneRowFamily().Active();
    ColumnStrip strip;
    strip.step = Q12Step(src.cx, dst.cx);
    strip.last = src.cx - 1;
    for (int first = 0; first < columns; first += kStripColumns) {
        SetStrip(strip, first, columns);
        PlanStrip(rows, strip, Taps::BiLinear);
        int64_t fy = 0;
        int fetched = src.y - 1;  // the last source row prefetched
        for (int j = 0; j < dst.cy - 1; ++j, fy += stepY) {
            const int r = static_cast<int>(fy >> kShift) + src.y;
            const int r1 = r < lastRow ? r + 1 : lastRow;
            // The rows that destination row j + 2 reads.
            const int ahead = std::min(static_cast<int>((fy + 2 * stepY) >> kShift) + src.y + 1, lastRow);
            for (; fetched < ahead; ++fetched) PrefetchRow(PlaneRow(src, layout, fetched + 1) + src.x, src.cx);
            rows.bilinearRow(PlaneRow(src, layout, r) + src.x, PlaneRow(src, layout, r1) + src.x,
                             PlaneRow(dst, layout, dst.y + j) + dst.x, strip, static_cast<int>(fy & kFrac));
        }
        rows.nearRow(PlaneRow(src, layout, lastRow) + src.x, PlaneRow(dst, layout, dst.y + dst.cy - 1) + dst.x,
                     strip);
    }
}

// The bottom-up 8-bit member: the plane walk over all but the last column,
// which copies the source rectangle's last column.
int BiLinerBottomUp8(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::BottomUp, 1}, dst, {Layout::BottomUp, 1}))
        return 0;
    BiLinearPlane(src, dst, Layout::BottomUp, dst.cx - 1);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    int64_t fy = 0;
    for (int j = 0; j < dst.cy; ++j, fy += stepY) {
        const int r = j < dst.cy - 1 ? static_cast<int>(fy >> kShift) + src.y : src.y + src.cy - 1;
        RowBottomUp(dst, dst.y + j)[dst.x + dst.cx - 1] = RowBottomUp(src, r)[src.x + src.cx - 1];
    }
    return 1;
}

}  // namespace

QV_API int DIB_ResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst) {
    return BiLinerBottomUp32(src, dst);
}

QV_API int DIB_ResizeBiLiner8(const IMG_PARAM& src, IMG_PARAM& dst) {
    return BiLinerBottomUp8(src, dst);
}

QV_API int DIB_ResizeBiLinerY(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::TopDown, 1}, dst, {Layout::TopDown, 1}))
        return 0;
    BiLinearPlane(src, dst, Layout::TopDown, dst.cx);
    BlackenLumaMargins(dst);
    return 1;
}

QV_API int DIB_ResizeBiLinerUV(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::Chroma, 1}, dst, {Layout::Chroma, 1}))
        return 0;
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const int lastRow = (src.y + src.cy - 1) / 2;
    // Every second luma column c from dst.x writes chroma sample c / 2.
    const int count = (dst.cx + 1) / 2;
    const PlaneRows& rows = PlaneRowFamily().Active();
    ColumnStrip strip;
    strip.step = 2 * Q12Step(src.cx, dst.cx);
    strip.srcX = src.x;
    for (int first = 0; first < count; first += kStripColumns) {
        SetStrip(strip, first, count);
        // The (xs + 1) / 2 neighbour passes the rectangle's last chroma sample
        // only when its weight is 0; reading that sample instead is exact.
        strip.last = (src.x + src.cx - 1) / 2;
        PlanStrip(rows, strip, Taps::BiLinearUV);
        int r = dst.y;
        int64_t fy = 0;
        int fetched = src.y / 2 - 1;  // the last chroma row prefetched
        for (; r < dst.y + dst.cy - 2; r += 2, fy += 2 * stepY) {
            const int ys = static_cast<int>(fy >> kShift) + src.y;
            // The rows that the chroma row after next reads.
            const int ahead = std::min((static_cast<int>((fy + 4 * stepY) >> kShift) + src.y + 1) / 2, lastRow);
            for (; fetched < ahead; ++fetched) PrefetchRow(RowTopDown(src, fetched + 1) + src.x / 2, (src.cx + 1) / 2);
            const uint8_t* in0 = RowTopDown(src, ys / 2);
            const uint8_t* in1 = RowTopDown(src, (ys + 1) / 2 < lastRow ? (ys + 1) / 2 : lastRow);
            rows.bilinearRow(in0, in1, RowTopDown(dst, r / 2) + dst.x / 2, strip,
                             static_cast<int>(fy & kFrac));
        }
        // Last chroma row: nearest neighbour along the source's last luma row.
        rows.nearRow(RowTopDown(src, lastRow), RowTopDown(dst, r / 2) + dst.x / 2, strip);
    }
    return 1;
}

QV_API int DIB_ResizeBiLinerY_Simulate(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::TopDown, 1}, dst, {Layout::TopDown, 1}))
        return 0;
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const PlaneRows& rows = PlaneRowFamily().Active();
    ColumnStrip strip;
    strip.step = Q12Step(src.cx, dst.cx);
    strip.last = src.cx - 1;
    for (int first = 0; first < dst.cx; first += kStripColumns) {
        SetStrip(strip, first, dst.cx);
        PlanStrip(rows, strip, Taps::Average);
        int64_t fy = 0;
        int fetched = src.y - 1;  // the last source row prefetched
        for (int j = 0; j < dst.cy - 1; ++j, fy += stepY) {
            // The rows that destination row j + 2 reads.
            const int ahead = std::min(static_cast<int>((fy + 3 * stepY) >> kShift) + src.y, src.y + src.cy - 1);
            for (; fetched < ahead; ++fetched) PrefetchRow(RowTopDown(src, fetched + 1) + src.x, src.cx);
            // (fy + stepY) never passes the rectangle's last row before the last
            // destination row, so only the column needs holding.
            const uint8_t* in0 = RowTopDown(src, static_cast<int>(fy >> kShift) + src.y) + src.x;
            const uint8_t* in1 =
                RowTopDown(src, static_cast<int>((fy + stepY) >> kShift) + src.y) + src.x;
            rows.averageRow(in0, in1, RowTopDown(dst, dst.y + j) + dst.x, strip);
        }
        // The last row: nearest neighbour along the source's last row.
        rows.nearRow(RowTopDown(src, src.y + src.cy - 1) + src.x,
                     RowTopDown(dst, dst.y + dst.cy - 1) + dst.x, strip);
    }
    return 1;
}
