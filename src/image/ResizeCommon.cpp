#include "image/ResizeCommon.h"

#include <algorithm>

namespace qv::image {
namespace {

// src.cx << 12 must stay a signed 32-bit value.
constexpr int kMaxSide = (INT32_MAX >> kShift);

bool AcceptPlane(const IMG_PARAM& p, int minSide, PlaneFormat format) {
    if (!p.pBits || p.cx < minSide || p.cy < minSide || p.cx > kMaxSide || p.cy > kMaxSide)
        return false;
    if (p.x < 0 || p.y < 0)
        return false;
    // Bytes of one stored row that the rectangle covers. Rows wider than the
    // pitch would overlap the next row. A negative pitch walks the stored rows
    // upwards in memory (a bottom-up capture buffer addressed from its top
    // row); its magnitude is the row length.
    const int64_t right = static_cast<int64_t>(p.x) + p.cx;
    const int64_t rowBytes =
        format.layout == Layout::Chroma ? (right - 1) / 2 + 1 : right * format.bytesPerPixel;
    if (rowBytes > RowLength(p))
        return false;
    // Bottom-up rows are addressed from `height`; a rectangle reaching below
    // it would be addressed before the buffer's first byte.
    if (format.layout == Layout::BottomUp && static_cast<int64_t>(p.y) + p.cy > p.height)
        return false;
    return true;
}

}  // namespace

int ExtentColumns(const IMG_PARAM& p, int bytesPerPixel) {
    const int64_t reach = int64_t{p.x} + p.cx;
    const int64_t row = RowLength(p) / bytesPerPixel;
    return static_cast<int>(std::min(std::max<int64_t>(p.width, reach), std::max(row, reach)));
}

int ExtentRows(const IMG_PARAM& p) {
    return static_cast<int>(std::max<int64_t>(p.height, int64_t{p.y} + p.cy));
}

bool AcceptRects(const IMG_PARAM& src, PlaneFormat srcFormat, const IMG_PARAM& dst,
                 PlaneFormat dstFormat) {
    return AcceptPlane(src, 1, srcFormat) && AcceptPlane(dst, 2, dstFormat);
}

void NearRow8(const uint8_t* in, uint8_t* out, int count, int64_t step) {
    int64_t fx = 0;
    for (int i = 0; i < count; ++i, fx += step)
        out[i] = in[fx >> kShift];
}

void BiLinearRow8(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                  int64_t step, int last, int wy1) {
    int64_t fx = 0;
    int i = 0;
    // Columns whose right neighbour lies inside the row: no clamping needed.
    // A row sitting exactly on a source row skips the vertical stage.
    if (wy1 == 0) {
        for (; i < count && (fx >> kShift) < last; ++i, fx += step) {
            const int c = static_cast<int>(fx >> kShift);
            out[i] = static_cast<uint8_t>(Lerp12(in0[c], in0[c + 1], static_cast<int>(fx & kFrac)));
        }
    }
    for (; i < count && (fx >> kShift) < last; ++i, fx += step) {
        const int c = static_cast<int>(fx >> kShift);
        const int wx1 = static_cast<int>(fx & kFrac);
        out[i] = static_cast<uint8_t>(
            Lerp12(Lerp12(in0[c], in0[c + 1], wx1), Lerp12(in1[c], in1[c + 1], wx1), wy1));
    }
    // The rest sits on the last column with weight 0 on its neighbour.
    for (; i < count; ++i, fx += step) {
        const int c = static_cast<int>(fx >> kShift);
        out[i] = static_cast<uint8_t>(BiLinearSample(in0[c], in0[last], in1[c], in1[last],
                                                     static_cast<int>(fx & kFrac), wy1));
    }
}

}  // namespace qv::image
