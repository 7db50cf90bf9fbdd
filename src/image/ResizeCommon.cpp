#include "image/ResizeCommon.h"

namespace qv::image {
namespace {

// src.cx << 12 must stay a signed 32-bit value.
constexpr int kMaxSide = (INT32_MAX >> kShift);

bool AcceptPlane(const IMG_PARAM& p, int minSide, PlaneSpec spec) {
    if (!p.pBits || p.cx < minSide || p.cy < minSide || p.cx > kMaxSide || p.cy > kMaxSide)
        return false;
    if (p.x < 0 || p.y < 0)
        return false;
    // Bytes of one stored row that the rectangle covers. Rows wider than the
    // pitch (negative pitches included) would overlap the next row.
    const int64_t right = static_cast<int64_t>(p.x) + p.cx;
    const int64_t rowBytes =
        spec.layout == Layout::Chroma ? (right - 1) / 2 + 1 : right * spec.bytesPerPixel;
    if (rowBytes > p.pitch)
        return false;
    // Bottom-up rows are addressed from `height`; a rectangle reaching below
    // it would be addressed before the buffer's first byte.
    if (spec.layout == Layout::BottomUp && static_cast<int64_t>(p.y) + p.cy > p.height)
        return false;
    return true;
}

}  // namespace

bool AcceptRects(const IMG_PARAM& src, PlaneSpec srcSpec, const IMG_PARAM& dst,
                 PlaneSpec dstSpec) {
    return AcceptPlane(src, 1, srcSpec) && AcceptPlane(dst, 2, dstSpec);
}

void NearRow8(const uint8_t* in, uint8_t* out, int count, int64_t step) {
    int64_t fx = 0;
    for (int i = 0; i < count; ++i, fx += step)
        out[i] = in[fx >> kShift];
}

void BiLinearRow8(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                  int64_t step, int last, int wy1) {
    int64_t fx = 0;
    for (int i = 0; i < count; ++i, fx += step) {
        const int c = static_cast<int>(fx >> kShift);
        const int c1 = c < last ? c + 1 : last;
        out[i] = static_cast<uint8_t>(BiLinearSample(in0[c], in0[c1], in1[c], in1[c1],
                                                     static_cast<int>(fx & kFrac), wy1));
    }
}

}  // namespace qv::image
