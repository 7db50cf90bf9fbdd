// Row kernels of the 8-bit plane resizers (luma, chroma, 8-bit images). The
// picture walks in ResizeNear.cpp and ResizeBiLinear.cpp check arguments and
// pick rows; these functions compute one destination row. Every target's
// rows give exactly the bytes of the reference rows.
#ifndef QUEVARRA_SRC_IMAGE_PLANEROWS_H
#define QUEVARRA_SRC_IMAGE_PLANEROWS_H

#include <cstdint>

#include "cpu/Family.h"

namespace qv::image {

// Positions are Q12: destination i lies at source (i * step) >> 12 with the
// weight (i * step) & 4095 on its right neighbour. Steps and counts come from
// accepted descriptors, so i * step stays below 2^31.
struct PlaneRows {
    // out[i] = in[(i * step) >> 12] for i < count.
    void (*nearRow)(const uint8_t* in, uint8_t* out, int count, int64_t step);
    // out[i] = the two-stage bilinear sample of rows in0 (weight 4096 - wy1)
    // and in1 (weight wy1) at column (i * step) >> 12; a right neighbour beyond
    // column `last` (its weight is then 0) reads column `last`.
    void (*bilinearRow)(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                        int64_t step, int last, int wy1);
    // Chroma row in luma units: with xs = ((k * step2) >> 12) + srcX,
    // out[k] = in[xs >> 1] for k < count (in: the chroma row's first sample).
    void (*nearRowUV)(const uint8_t* in, uint8_t* out, int count, int64_t step2, int srcX);
    // Chroma bilinear: columns xs >> 1 and min((xs + 1) >> 1, lastCol) of rows
    // in0 and in1, weights (k * step2) & 4095 and wy1.
    void (*bilinearRowUV)(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                          int64_t step2, int srcX, int lastCol, int wy1);
    // out[i] = in[cols[i]] for i < count.
    void (*tableRow)(const uint8_t* in, uint8_t* out, const int32_t* cols, int count);
    // Truncated mean of columns x0 = (i * step) >> 12 and
    // x1 = min(((i + 1) * step) >> 12, lastCol) of rows in0 and in1.
    void (*averageRow)(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                       int64_t step, int lastCol);
};

// The rows of every compiled target; Active() gives the calling thread's.
qv::cpu::Family<PlaneRows>& PlaneRowFamily();

}  // namespace qv::image

#endif
