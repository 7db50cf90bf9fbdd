// Stretch an 8-bit mask onto the alpha byte of a 4-byte destination,
// clearing destination pixels where the mask is 0.
#include "image/PackedRows.h"
#include "image/ResizeCommon.h"

using namespace qv::image;

namespace {

bool AcceptMask(const IMG_PARAM& src, const IMG_PARAM& dst) {
    return AcceptRects(src, {Layout::BottomUp, 1}, dst, {Layout::BottomUp, 4});
}

}  // namespace

// Reads one byte per mask pixel whatever the descriptor's bitCount says.
QV_API int StretchMaskResizeNear(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptMask(src, dst))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const PackedRows& rows = PackedRowFamily().Active();
    int64_t fy = 0;
    for (int j = 0; j < dst.cy; ++j, fy += stepY) {
        const int s = j < dst.cy - 1 ? static_cast<int>(fy >> kShift) + src.y : src.y + src.cy - 1;
        rows.maskNearRow(RowBottomUp(src, s) + src.x, RowBottomUp(dst, dst.y + j) + 4 * dst.x,
                         dst.cx, stepX, src.cx - 1);
    }
    return 1;
}

QV_API int StretchMaskResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst) {
    // Only this member reads the mask's bitCount; deeper masks would be read
    // at an offset while stepping one byte per pixel, so only 8-bit is taken.
    if (src.bitCount != 8 || !AcceptMask(src, dst))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const int lastRow = src.y + src.cy - 1;
    const PackedRows& rows = PackedRowFamily().Active();
    int64_t fy = 0;
    for (int j = 0; j < dst.cy - 1; ++j, fy += stepY) {
        const int r = static_cast<int>(fy >> kShift) + src.y;
        const int r1 = r < lastRow ? r + 1 : lastRow;
        rows.maskBiLinearRow(RowBottomUp(src, r) + src.x, RowBottomUp(src, r1) + src.x,
                             RowBottomUp(dst, dst.y + j) + 4 * dst.x, dst.cx, stepX, src.cx - 1,
                             static_cast<int>(fy & kFrac));
    }
    rows.maskScaledNearRow(RowBottomUp(src, lastRow) + src.x,
                           RowBottomUp(dst, dst.y + dst.cy - 1) + 4 * dst.x, dst.cx, stepX,
                           src.cx - 1);
    return 1;
}
