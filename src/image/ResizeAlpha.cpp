// Bilinear resize of a 4-byte source with alpha, composited source-over onto
// the destination's pixels.
#include "image/ResizeCommon.h"

using namespace qv::image;

namespace {

// Source-over of colour s[0..2] with alpha a onto destination pixel d.
inline void Composite(const int s[3], int a, uint8_t* d) {
    for (int k = 0; k < 3; ++k)
        d[k] = static_cast<uint8_t>(Div255(s[k] * a + d[k] * (255 - a)));
    d[3] = static_cast<uint8_t>(a + Div255((255 - a) * d[3]));
}

inline void CompositePixel(const uint8_t* p, uint8_t* d) {
    const int s[3] = {p[0], p[1], p[2]};
    Composite(s, p[3], d);
}

// Stepped row: colour interpolated between rows in0 and in1, alpha from the
// upper-left neighbour; the last column composites `lastCol` of in0 whole.
void AlphaRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count, int64_t step,
              int lastCol, int wy1) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step) {
        const int c = static_cast<int>(fx >> kShift);
        const int c1 = c < lastCol ? c + 1 : lastCol;
        const int wx1 = static_cast<int>(fx & kFrac);
        const uint8_t* a = in0 + 4 * c;
        const uint8_t* b = in0 + 4 * c1;
        const uint8_t* d = in1 + 4 * c;
        const uint8_t* e = in1 + 4 * c1;
        int s[3];
        for (int k = 0; k < 3; ++k)
            s[k] = BiLinearSample(a[k], b[k], d[k], e[k], wx1, wy1);
        Composite(s, a[3], out + 4 * i);
    }
    CompositePixel(in0 + 4 * lastCol, out + 4 * (count - 1));
}

// Last row: nearest stepped columns, the last one pinned.
void AlphaNearRow(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol) {
    int64_t fx = 0;
    for (int i = 0; i < count - 1; ++i, fx += step)
        CompositePixel(in + 4 * (fx >> kShift), out + 4 * i);
    CompositePixel(in + 4 * lastCol, out + 4 * (count - 1));
}

}  // namespace

QV_API int DIB_AlphaResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::BottomUp, 4}, dst, {Layout::BottomUp, 4}))
        return 0;
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const int lastCol = src.cx - 1;
    const int lastRow = src.y + src.cy - 1;
    int64_t fy = 0;
    for (int j = 0; j < dst.cy - 1; ++j, fy += stepY) {
        const int r = static_cast<int>(fy >> kShift) + src.y;
        const int r1 = r < lastRow ? r + 1 : lastRow;
        AlphaRow(RowBottomUp(src, r) + 4 * src.x, RowBottomUp(src, r1) + 4 * src.x,
                 RowBottomUp(dst, dst.y + j) + 4 * dst.x, dst.cx, stepX, lastCol,
                 static_cast<int>(fy & kFrac));
    }
    AlphaNearRow(RowBottomUp(src, lastRow) + 4 * src.x,
                 RowBottomUp(dst, dst.y + dst.cy - 1) + 4 * dst.x, dst.cx, stepX, lastCol);
    return 1;
}
