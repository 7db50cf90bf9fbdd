// Reference rows of the 8-bit plane resizers: the exact arithmetic every
// SIMD target must reproduce.
#include "image/PlaneRows.h"

#include "image/ResizeCommon.h"

namespace qv::image {
namespace {

void NearRow(const uint8_t* in, uint8_t* out, int count, int64_t step) {
    int64_t fx = 0;
    for (int i = 0; i < count; ++i, fx += step) out[i] = in[fx >> kShift];
}

void BiLinearRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count, int64_t step,
                 int last, int wy1) {
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

void NearRowUV(const uint8_t* in, uint8_t* out, int count, int64_t step2, int srcX) {
    int64_t fx = 0;
    for (int k = 0; k < count; ++k, fx += step2) out[k] = in[(static_cast<int>(fx >> kShift) + srcX) >> 1];
}

void BiLinearRowUV(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count, int64_t step2,
                   int srcX, int lastCol, int wy1) {
    int64_t fx = 0;
    for (int k = 0; k < count; ++k, fx += step2) {
        const int xs = static_cast<int>(fx >> kShift) + srcX;
        const int c0 = xs >> 1;
        const int c1 = (xs + 1) >> 1 < lastCol ? (xs + 1) >> 1 : lastCol;
        out[k] = static_cast<uint8_t>(
            BiLinearSample(in0[c0], in0[c1], in1[c0], in1[c1], static_cast<int>(fx & kFrac), wy1));
    }
}

// Four at a time over the bulk of the row.
void TableRow(const uint8_t* in, uint8_t* out, const int32_t* cols, int count) {
    const int bulk = count - count % 4;
    int i = 0;
    for (; i < bulk; i += 4) {
        out[i] = in[cols[i]];
        out[i + 1] = in[cols[i + 1]];
        out[i + 2] = in[cols[i + 2]];
        out[i + 3] = in[cols[i + 3]];
    }
    for (; i < count; ++i) out[i] = in[cols[i]];
}

void AverageRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int count, int64_t step,
                int lastCol) {
    int64_t fx = 0;
    for (int i = 0; i < count; ++i, fx += step) {
        const int x0 = static_cast<int>(fx >> kShift);
        const int next = static_cast<int>((fx + step) >> kShift);
        const int x1 = next < lastCol ? next : lastCol;
        out[i] = static_cast<uint8_t>((in0[x0] + in0[x1] + in1[x0] + in1[x1]) >> 2);
    }
}

constexpr PlaneRows kReferenceRows = {NearRow, BiLinearRow, NearRowUV, BiLinearRowUV, TableRow,
                                      AverageRow};

qv::cpu::Family<PlaneRows> g_family(&kReferenceRows);

}  // namespace

qv::cpu::Family<PlaneRows>& PlaneRowFamily() { return g_family; }

}  // namespace qv::image
