// Bilinear resize of a 4-byte source with alpha, composited source-over onto
// the destination's pixels.
#include "image/PackedRows.h"
#include "image/ResizeCommon.h"

using namespace qv::image;

QV_API int DIB_AlphaResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst) {
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
        rows.alphaRow(RowBottomUp(src, r) + 4 * src.x, RowBottomUp(src, r1) + 4 * src.x,
                      RowBottomUp(dst, dst.y + j) + 4 * dst.x, dst.cx, stepX, lastCol,
                      static_cast<int>(fy & kFrac));
    }
    rows.alphaNearRow(RowBottomUp(src, lastRow) + 4 * src.x,
                      RowBottomUp(dst, dst.y + dst.cy - 1) + 4 * dst.x, dst.cx, stepX, lastCol);
    return 1;
}
