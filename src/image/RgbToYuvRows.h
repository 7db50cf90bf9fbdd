// Row kernels of the RGB to planar 4:2:0 converters. The picture walk in
// ConvertRgbToYuv420.cpp checks arguments, orders rows and converts the odd
// column; these functions convert whole rows. Every target's rows give
// exactly the bytes of the reference rows.
#ifndef QUEVARRA_SRC_IMAGE_RGBTOYUVROWS_H
#define QUEVARRA_SRC_IMAGE_RGBTOYUVROWS_H

#include <cstdint>

#include "cpu/Family.h"

namespace qv::image {

// Pixels are blue, green, red (and a fourth byte for 32-bit rows); `evenWidth`
// is even and the rows hold at least that many pixels. Nothing beyond those
// pixels is read, and nothing beyond evenWidth luma samples and
// evenWidth / 2 chroma samples is written.
//
// Row pair: image rows s0 (above) and s1 give luma rows y0 and y1 and one
// chroma row: each 2x2 block's U = (ua + ub + uc + ud + 512) >> 2 from the
// pixels' floored chroma terms, V likewise. a0 and a1 receive the fourth
// byte of each pixel in the alpha variant and are ignored otherwise.
using RgbRowPairFn = void (*)(const uint8_t* s0, const uint8_t* s1, uint8_t* y0, uint8_t* y1,
                              uint8_t* a0, uint8_t* a1, uint8_t* u, uint8_t* v, int evenWidth);

// Last row of an odd height: luma, and chroma from horizontal pairs,
// U = (ua + ub + 256) >> 1. `a` as a0 above.
using RgbLastRowFn = void (*)(const uint8_t* s, uint8_t* y, uint8_t* a, uint8_t* u, uint8_t* v,
                              int evenWidth);

struct RgbToYuvRows {
    RgbRowPairFn rowPair24;   // 3 bytes per pixel
    RgbRowPairFn rowPair32;   // 4 bytes per pixel, the fourth ignored
    RgbRowPairFn rowPair32A;  // 4 bytes per pixel, the fourth copied to the alpha rows
    RgbLastRowFn lastRow24;
    RgbLastRowFn lastRow32;
    RgbLastRowFn lastRow32A;
};

// The rows of every compiled target; Active() gives the calling thread's.
qv::cpu::Family<RgbToYuvRows>& RgbToYuvFamily();

}  // namespace qv::image

#endif
