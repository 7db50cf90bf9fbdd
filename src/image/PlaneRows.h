// Row kernels of the 8-bit plane resizers (luma, chroma, 8-bit images). The
// picture walks in ResizeNear.cpp and ResizeBiLinear.cpp check arguments and
// pick rows; these functions compute one destination row. Every target's
// rows give exactly the bytes of the reference rows.
#ifndef QUEVARRA_SRC_IMAGE_PLANEROWS_H
#define QUEVARRA_SRC_IMAGE_PLANEROWS_H

#include <cstdint>

#include <quevarra/qv_image.h>

#include "cpu/Family.h"

namespace qv::image {

// Destination columns per strip: wider rectangles are walked strip by strip
// so that a strip's column plan fits on the stack (nothing is allocated).
constexpr int kStripColumns = 2048;

// How destination column i (counted from the rectangle's left) picks its
// source columns, with fx = i * step (Q12; steps and counts come from
// accepted descriptors, so fx stays below 2^31). Columns c0, c1 are byte
// offsets from the source row pointer handed to the rows, and column i is
// byte i of the destination row pointer.
enum class Taps : uint8_t {
    Near,        // c0 = fx >> 12
    BiLinear,    // c0 = fx >> 12, c1 = min(c0 + 1, last), weight fx & 4095
    NearUV,      // chroma in luma units: xs = (fx >> 12) + srcX, c0 = xs >> 1
    BiLinearUV,  // c0 = xs >> 1, c1 = min((xs + 1) >> 1, last), weight fx & 4095
    Table,       // c0 = cols[i]
    Average,     // c0 = fx >> 12, c1 = min(((i + 1) * step) >> 12, last)
};

// One strip of destination columns [first, first + count): the mapping the
// walk sets, and the plan that the active target's planColumns derives from
// it once per picture (the same for every row). The reference rows read only
// the mapping.
struct ColumnStrip {
    Taps taps = Taps::Near;
    int first = 0;
    int count = 0;
    int64_t step = 0;
    int srcX = 0;
    int last = 0;
    const int32_t* cols = nullptr;

    // The plan, in the layout of the target that built it. `mode` 0 means
    // none: the rows run the scalar loops.
    int mode = 0;
    int stride = 1;   // index bytes per output
    int vectors = 0;  // vector steps over the strip
    int32_t base[kStripColumns / 8 + 8];
    alignas(64) uint8_t idx0[2 * kStripColumns + 128];
    alignas(64) uint8_t idx1[2 * kStripColumns + 128];
    alignas(64) int16_t weight[kStripColumns + 64];
};

// Source columns and weight of destination column i of a strip's mapping.
struct Tap {
    int c0, c1, w;
};
inline Tap TapAt(const ColumnStrip& s, int i) {
    const int64_t fx = int64_t{i} * s.step;
    const int c = static_cast<int>(fx >> 12);
    const int w = static_cast<int>(fx & 4095);
    switch (s.taps) {
    case Taps::Near:
        return {c, c, 0};
    case Taps::BiLinear:
        return {c, c < s.last ? c + 1 : s.last, w};
    case Taps::NearUV:
        return {(c + s.srcX) >> 1, (c + s.srcX) >> 1, 0};
    case Taps::BiLinearUV: {
        const int next = (c + s.srcX + 1) >> 1;
        return {(c + s.srcX) >> 1, next < s.last ? next : s.last, w};
    }
    case Taps::Table:
        return {s.cols[i], s.cols[i], 0};
    case Taps::Average: {
        const int next = static_cast<int>((fx + s.step) >> 12);
        return {c, next < s.last ? next : s.last, 0};
    }
    }
    return {0, 0, 0};
}

struct PlaneRows {
    // Builds the strip's plan for these rows (the reference plans nothing).
    void (*planColumns)(ColumnStrip& strip);
    // out[i] = in[c0] for the strip's columns, whatever its mapping: the
    // bilinear walks take their last row from their two-tap plan. Like every
    // row it may read any column between the lowest and highest c0 or c1.
    void (*nearRow)(const uint8_t* in, uint8_t* out, const ColumnStrip& strip);
    // Two taps (BiLinear, BiLinearUV): out[i] = the two-stage bilinear sample
    // of columns c0, c1 of rows in0 (weight 4096 - wy1) and in1 (weight wy1).
    // With wy1 == 0 the rows may leave in1 unread.
    void (*bilinearRow)(const uint8_t* in0, const uint8_t* in1, uint8_t* out,
                        const ColumnStrip& strip, int wy1);
    // Two taps (Average): the truncated mean of columns c0, c1 of rows in0, in1.
    void (*averageRow)(const uint8_t* in0, const uint8_t* in1, uint8_t* out,
                       const ColumnStrip& strip);
};

// The rows of every compiled target; Active() gives the calling thread's.
qv::cpu::Family<PlaneRows>& PlaneRowFamily();

// Luma black (16) in the bytes left and right of a top-down rectangle, up to
// the pitch, in each row it covers: the luma resizers' margins.
void BlackenLumaMargins(const IMG_PARAM& dst);

// Sets the destination columns of a strip: [first, first + count) of `columns`.
inline void SetStrip(ColumnStrip& strip, int first, int columns) {
    strip.first = first;
    strip.count = columns - first < kStripColumns ? columns - first : kStripColumns;
}

// Gives the strip the `taps` mapping and lets `rows` plan it.
inline void PlanStrip(const PlaneRows& rows, ColumnStrip& strip, Taps taps) {
    strip.taps = taps;
    rows.planColumns(strip);
}

}  // namespace qv::image

#endif
