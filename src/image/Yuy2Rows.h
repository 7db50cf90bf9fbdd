// Row kernels of the packed 4:2:2 converters that only move samples: to and
// from planar 4:2:0, and the byte-order swap. The walks in ConvertYuy2.cpp
// check arguments and place rows; every target's rows give exactly the bytes
// of the reference rows.
#ifndef QUEVARRA_SRC_IMAGE_YUY2ROWS_H
#define QUEVARRA_SRC_IMAGE_YUY2ROWS_H

#include <cstdint>

#include "cpu/Family.h"

namespace qv::image {

// Byte positions inside a 4-byte macropixel: Y0 U Y1 V for YUY2 (a flag not
// 0), U Y0 V Y1 for UYVY.
struct PackedOrder {
    int y0, u, y1, v;
};

inline PackedOrder OrderOf(bool yuy2) {
    return yuy2 ? PackedOrder{0, 1, 2, 3} : PackedOrder{1, 0, 3, 2};
}

// `pairs` macropixels (2 pixels each) per packed row; luma rows hold
// 2 * pairs samples and chroma rows `pairs`. Nothing else is read or written.
//
// Two packed rows to two luma rows and one chroma row, U = (top + bottom) >> 1.
using PackedPairTo420Fn = void (*)(const uint8_t* top, const uint8_t* bottom, uint8_t* y0,
                                   uint8_t* y1, uint8_t* u, uint8_t* v, int pairs, bool yuy2);

// Two luma rows and one chroma row to two packed rows, chroma repeated.
using Pair420ToPackedFn = void (*)(const uint8_t* y0, const uint8_t* y1, const uint8_t* u,
                                   const uint8_t* v, uint8_t* top, uint8_t* bottom, int pairs,
                                   bool yuy2);

// Swaps the bytes of each pair of `groups` 4-byte groups (YUY2 <-> UYVY).
// The rows may be the same row or overlap in any way: the result is that of
// swapping group by group from the left.
using SwapPackedFn = void (*)(const uint8_t* src, uint8_t* dst, int groups);

// 24-bit blue, green, red pixels to packed macropixels with the fast forward
// form: 2 * pairs pixels read from src.
using RgbToPackedFn = void (*)(const uint8_t* src, uint8_t* dst, int pairs, bool yuy2);

struct Yuy2Rows {
    PackedPairTo420Fn packedPairTo420;
    Pair420ToPackedFn pair420ToPacked;
    SwapPackedFn swapPacked;
    RgbToPackedFn rgbToPacked;
};

// The rows of every compiled target; Active() gives the calling thread's.
qv::cpu::Family<Yuy2Rows>& Yuy2Family();

}  // namespace qv::image

#endif
