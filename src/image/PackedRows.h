// Row kernels of the packed 4-byte resizers (nearest, bilinear, cubic
// convolution, alpha compositing) and of the mask resizers that write into
// packed pixels. The picture walks in ResizeNear.cpp, ResizeBiLinear.cpp,
// ResizeConvolve.cpp, ResizeAlpha.cpp and ResizeMask.cpp check arguments and
// pick source rows; these functions compute one destination row. Every
// target's rows give exactly the reference rows' bytes.
#ifndef QUEVARRA_SRC_IMAGE_PACKEDROWS_H
#define QUEVARRA_SRC_IMAGE_PACKEDROWS_H

#include <cstdint>

#include "cpu/Family.h"

namespace qv::image {

// Cubic convolution works on strips of at most kConvolveStrip destination
// columns so that its scratch fits on the stack. Plans and filtered rows hold
// kConvolvePad columns more, clamped into the source row, so that vector rows
// may run whole vectors past the strip's end.
constexpr int kConvolveStrip = 256;
constexpr int kConvolvePad = 16;
constexpr int kConvolveCols = kConvolveStrip + kConvolvePad;

// The four source rows of one destination row of the convolution, each at the
// source rectangle's left column, with their double weights.
struct RowTaps {
    const uint8_t* rows[4];
    double w[4];
    bool smooth;  // vertical smoothing of the inner taps
};

// The taps of a strip's columns: source columns c - 1 .. c + 2 clamped to
// 0 .. lastCol, their weights, and whether the inner taps are smoothed.
struct ConvolveColumns {
    int count;
    int lastCol;
    bool smooth;
    int32_t tap[4][kConvolveCols];
    double weight[4][kConvolveCols];
};

// One source row filtered horizontally at a strip's columns: the rounded,
// unclamped sums of bytes 0..2 and byte 3 of tap column c (in bits 24..31).
struct ConvolveFiltered {
    int32_t h[3][kConvolveCols];
    uint32_t alpha[kConvolveCols];
};

// Rows address the source rectangle's left column and the destination
// rectangle's left column. Destination column i lies at fx = i * step (Q12):
// source column c = fx >> 12, weight wx = fx & 4095 on column
// c1 = min(c + 1, lastCol); wy1 is the weight of row in1. Steps and counts
// come from accepted descriptors, so every product stays below 2^31.
struct PackedRows {
    // Pixel i < count - 1 copies source pixel c; the last copies lastCol.
    void (*nearRow)(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol);
    // Pixel i < count - 1: bytes 0..2 are the two-stage bilinear sample of
    // rows in0 and in1, byte 3 is byte 3 of in0's pixel c; the last pixel
    // copies in0's pixel lastCol.
    void (*bilinearRow)(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                        int64_t step, int lastCol, int wy1);
    // The pixels of bilinearRow composited source-over onto `out` (byte 3 is
    // the source alpha).
    void (*alphaRow)(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                     int64_t step, int lastCol, int wy1);
    // The pixels of nearRow composited source-over onto `out`.
    void (*alphaNearRow)(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol);
    // 8-bit mask m = in[c] (the last pixel: in[lastCol]): the pixel is cleared
    // where m is 0, then its byte 3 becomes m.
    void (*maskNearRow)(const uint8_t* in, uint8_t* out, int count, int64_t step, int lastCol);
    // The same m, cleared where 0, then byte 3 becomes m * byte 3 / 255.
    void (*maskScaledNearRow)(const uint8_t* in, uint8_t* out, int count, int64_t step,
                              int lastCol);
    // m = the bilinear sample of mask rows in0 and in1 (the last pixel:
    // in0[lastCol]), applied as maskScaledNearRow does.
    void (*maskBiLinearRow)(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count,
                            int64_t step, int lastCol, int wy1);
    // One destination row of the convolution, every column computed whole.
    void (*convolveRow)(const RowTaps& taps, uint8_t* out, int count, int64_t step, int lastCol,
                        bool hSmooth);
    // The convolution in two passes, null in the reference rows (the walk
    // then runs convolveRow): convolveFilter filters one source row at a
    // strip's columns (all count + kConvolvePad of them may be written);
    // convolveCombine weighs four filtered rows (above, at, below, below that)
    // into `count` destination pixels, byte 3 from rows[1]. Together they give
    // convolveRow's bytes.
    void (*convolveFilter)(const uint8_t* in, const ConvolveColumns& cols, ConvolveFiltered& out);
    void (*convolveCombine)(const ConvolveFiltered* const rows[4], const double w[4], bool smooth,
                            uint8_t* out, int count);
};

// The rows of every compiled target; Active() gives the calling thread's.
qv::cpu::Family<PackedRows>& PackedRowFamily();

// Convolution weights of the taps at -1, 0, +1, +2 for the fraction of a Q12
// accumulator, in double precision exactly as the kernel's polynomials give.
void ConvolveWeights(int64_t acc, double w[4]);

// Whether a step smooths the inner taps (scaling by 2 or more either way).
bool ConvolveSmooths(int64_t step);

// Plans destination columns first .. first + count - 1 (count at most
// kConvolveStrip) and the padding after them.
void PlanConvolveColumns(ConvolveColumns& cols, int first, int count, int64_t step, int lastCol,
                         bool smooth);

}  // namespace qv::image

#endif
