// Row kernels of the fast inverse form: planar 4:2:0 to RGB, and packed
// 4:2:2 to 24-bit RGB. The walks in ConvertYuv420ToRgb.cpp and
// ConvertYuy2.cpp check arguments, order rows and convert odd columns; these
// functions convert whole rows. Every target's rows give
// exactly the bytes of the reference rows.
#ifndef QUEVARRA_SRC_IMAGE_YUVTORGBROWS_H
#define QUEVARRA_SRC_IMAGE_YUVTORGBROWS_H

#include <cstdint>

#include "cpu/Family.h"

namespace qv::image {

// Pixels are blue, green, red, then for 32-bit rows a fourth byte that the
// plain variant leaves alone and the opaque variant sets to 255. `evenWidth`
// is even; luma rows hold that many samples and the chroma row half as many,
// each serving a 2-pixel column pair. Nothing beyond them is read and nothing
// beyond evenWidth pixels is written.
//
// Row pair: luma rows y0 and y1 share the chroma row and go to d0 and d1.
using YuvRowPairFn = void (*)(const uint8_t* y0, const uint8_t* y1, const uint8_t* u,
                              const uint8_t* v, uint8_t* d0, uint8_t* d1, int evenWidth);

// Last row of an odd height: one luma row with its chroma row.
using YuvLastRowFn = void (*)(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* d,
                              int evenWidth);

// Packed 4:2:2 to 24-bit pixels: `pairs` macropixels (YUY2 order when yuy2,
// else UYVY) to 2 * pairs pixels.
using PackedToRgbFn = void (*)(const uint8_t* src, uint8_t* dst, int pairs, bool yuy2);

struct YuvToRgbRows {
    YuvRowPairFn rowPair24;
    YuvRowPairFn rowPair32;   // fourth byte left alone
    YuvRowPairFn rowPair32A;  // fourth byte 255
    YuvLastRowFn lastRow24;
    YuvLastRowFn lastRow32;
    YuvLastRowFn lastRow32A;
    PackedToRgbFn packedToRgb24;
};

// The rows of every compiled target; Active() gives the calling thread's.
qv::cpu::Family<YuvToRgbRows>& YuvToRgbFamily();

}  // namespace qv::image

#endif
