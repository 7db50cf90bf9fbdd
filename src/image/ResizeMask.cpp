// Stretch an 8-bit mask onto the alpha byte of a 4-byte destination,
// clearing destination pixels where the mask is 0.
#include "image/ResizeCommon.h"

using namespace qv::image;

namespace {

bool AcceptMask(const IMG_PARAM& src, const IMG_PARAM& dst) {
    return AcceptRects(src, {Layout::BottomUp, 1}, dst, {Layout::BottomUp, 4});
}

inline void ApplyNear(int m, uint8_t* d) {
    if (m == 0)
        d[0] = d[1] = d[2] = 0;
    d[3] = static_cast<uint8_t>(m);
}

inline void ApplyScaled(int m, uint8_t* d) {
    if (m == 0)
        d[0] = d[1] = d[2] = d[3] = 0;
    d[3] = static_cast<uint8_t>(Div255(m * d[3]));
}

using Apply = void (*)(int, uint8_t*);

// Nearest stepped columns, the last one pinned.
void MaskNearRow(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol,
                 Apply apply) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step)
        apply(in[fx >> kShift], out + 4 * i);
    apply(in[lastCol], out + 4 * (count - 1));
}

void MaskBiLinearRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                     int64_t step, int lastCol, int wy1) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step) {
        const int c = static_cast<int>(fx >> kShift);
        const int c1 = c < lastCol ? c + 1 : lastCol;
        ApplyScaled(BiLinearSample(in0[c], in0[c1], in1[c], in1[c1], static_cast<int>(fx & kFrac),
                                   wy1),
                    out + 4 * i);
    }
    ApplyScaled(in0[lastCol], out + 4 * (count - 1));
}

}  // namespace

// Reads one byte per mask pixel whatever the descriptor's bitCount says.
QV_API int StretchMaskResizeNear(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptMask(src, dst))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    int64_t fy = 0;
    for (int j = 0; j < dst.cy; ++j, fy += stepY) {
        const int s = j < dst.cy - 1 ? static_cast<int>(fy >> kShift) + src.y : src.y + src.cy - 1;
        MaskNearRow(RowBottomUp(src, s) + src.x, RowBottomUp(dst, dst.y + j) + 4 * dst.x, dst.cx,
                    stepX, src.cx - 1, ApplyNear);
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
    int64_t fy = 0;
    for (int j = 0; j < dst.cy - 1; ++j, fy += stepY) {
        const int r = static_cast<int>(fy >> kShift) + src.y;
        const int r1 = r < lastRow ? r + 1 : lastRow;
        MaskBiLinearRow(RowBottomUp(src, r) + src.x, RowBottomUp(src, r1) + src.x,
                        RowBottomUp(dst, dst.y + j) + 4 * dst.x, dst.cx, stepX, src.cx - 1,
                        static_cast<int>(fy & kFrac));
    }
    MaskNearRow(RowBottomUp(src, lastRow) + src.x, RowBottomUp(dst, dst.y + dst.cy - 1) + 4 * dst.x,
                dst.cx, stepX, src.cx - 1, ApplyScaled);
    return 1;
}
