// Helpers shared by the resizer families: argument checks, Q12 stepping,
// row addressing and the bilinear sample.
#ifndef QUEVARRA_SRC_IMAGE_RESIZECOMMON_H
#define QUEVARRA_SRC_IMAGE_RESIZECOMMON_H

#include <quevarra/qv_image.h>

#include <cstddef>
#include <cstdint>

namespace qv::image {

// One source pixel in 12-bit fixed point.
constexpr int kOne = 4096;
constexpr int kShift = 12;
constexpr int kFrac = kOne - 1;

// How a descriptor's rows are stored and how its columns are addressed.
enum class Layout {
    TopDown,   // picture row r at pBits + r * pitch
    BottomUp,  // picture row r at pBits + (height - 1 - r) * pitch
    Chroma,    // top-down half-resolution plane addressed with luma coordinates
};

struct PlaneFormat {
    Layout layout;
    int bytesPerPixel;
};

// Bytes of one stored row: the pitch's magnitude, whichever way rows run.
inline int64_t RowLength(const IMG_PARAM& p) { return p.pitch < 0 ? -int64_t{p.pitch} : p.pitch; }

// Columns and rows of the top-down buffer a descriptor describes: `width` and
// `height` where the host filled them, never less than the rectangle reaches
// and never more columns than one stored row holds. Formulas that read one
// element past the rectangle stay exact inside this extent and are clamped to
// its last element beyond it.
int ExtentColumns(const IMG_PARAM& p, int bytesPerPixel);
int ExtentRows(const IMG_PARAM& p);

// True when both descriptors can be walked safely: buffers present, source
// rectangle at least 1x1, destination at least 2x2, the Q12 products
// representable, rectangles starting inside the buffers, each rectangle row
// inside one pitch, bottom-up rectangles inside `height` rows, and every
// offset from pBits within INT32_MAX.
// Every resizer refuses (returns 0, writes nothing) otherwise. Top-down
// buffers are not checked against `height`: hosts need not fill it for them.
bool AcceptRects(const IMG_PARAM& src, PlaneFormat srcFormat, const IMG_PARAM& dst,
                 PlaneFormat dstFormat);

// Distance between neighbouring destination pixels in source pixels, Q12.
// Callers have passed AcceptRects, so the shift cannot overflow.
inline int64_t Q12Step(int srcLen, int dstLen) {
    return ((static_cast<int64_t>(srcLen) << kShift) - kOne) / (dstLen - 1);
}

inline uint8_t* RowTopDown(const IMG_PARAM& p, int r) {
    return p.pBits + static_cast<ptrdiff_t>(r) * p.pitch;
}

inline uint8_t* RowBottomUp(const IMG_PARAM& p, int r) {
    return p.pBits + static_cast<ptrdiff_t>(p.height - 1 - r) * p.pitch;
}

// (a * (4096 - w) + b * w) >> 12 with one multiplication: a * 4096 is a whole
// multiple of 4096, so the floor of the sum is a plus the floor of the rest
// (the shift of a negative int is arithmetic). Exact for every a, b, w.
// Asks for a source row's cache lines before the rows that need it run. A
// host's frames usually arrive straight from a decoder, out of cache, and
// the hardware prefetchers stop at every page boundary of a row. A prefetch
// never faults and changes no result.
inline void PrefetchRow(const uint8_t* row, int bytes) {
    for (int i = 0; i < bytes; i += 64) __builtin_prefetch(row + i);
}

inline int Lerp12(int a, int b, int w) { return a + (((b - a) * w) >> kShift); }

// Two-stage bilinear sample; both stages truncate, as the operands are never
// negative the result stays within 0..255.
inline int BiLinearSample(int s00, int s10, int s01, int s11, int wx1, int wy1) {
    return Lerp12(Lerp12(s00, s10, wx1), Lerp12(s01, s11, wx1), wy1);
}

// Truncating division by 255 (operands are never negative); the compiler
// turns the constant division into a multiply and shift.
inline int Div255(int v) { return v / 255; }

}  // namespace qv::image

#endif
