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
    // Every byte a walk touches, up to one row past the rectangle (edge reads
    // and the luma margins), must lie within what an int offset addresses from
    // pBits: row kernels may index with int.
    const int64_t rows =
        format.layout == Layout::BottomUp ? int64_t{p.height} : int64_t{p.y} + p.cy + 1;
    return rows * RowLength(p) <= INT32_MAX;
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

}  // namespace qv::image
