// Reference rows of the 8-bit plane resizers: the exact arithmetic every
// SIMD target must reproduce.
#include "image/PlaneRows.h"

#include <cstring>

#include "image/ResizeCommon.h"

namespace qv::image {
namespace {

constexpr uint8_t kLumaBlack = 16;

void NearRow(const uint8_t* in, uint8_t* out, int first, int end, int64_t step) {
    int64_t fx = first * step;
    for (int i = first; i < end; ++i, fx += step) out[i] = in[fx >> kShift];
}

void NearRowUV(const uint8_t* in, uint8_t* out, int first, int end, int64_t step2, int srcX) {
    int64_t fx = first * step2;
    for (int k = first; k < end; ++k, fx += step2)
        out[k] = in[(static_cast<int>(fx >> kShift) + srcX) >> 1];
}

// Four at a time over the bulk of the row.
void TableRow(const uint8_t* in, uint8_t* out, const int32_t* cols, int first, int end) {
    const int bulk = end - (end - first) % 4;
    int i = first;
    for (; i < bulk; i += 4) {
        out[i] = in[cols[i]];
        out[i + 1] = in[cols[i + 1]];
        out[i + 2] = in[cols[i + 2]];
        out[i + 3] = in[cols[i + 3]];
    }
    for (; i < end; ++i) out[i] = in[cols[i]];
}

void NearRows(const uint8_t* in, uint8_t* out, const ColumnStrip& s) {
    const int end = s.first + s.count;
    if (s.taps == Taps::NearUV || s.taps == Taps::BiLinearUV)
        NearRowUV(in, out, s.first, end, s.step, s.srcX);
    else if (s.taps == Taps::Table)
        TableRow(in, out, s.cols, s.first, end);
    else
        NearRow(in, out, s.first, end, s.step);
}

void BiLinearRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int first, int end,
                 int64_t step, int last, int wy1) {
    int64_t fx = first * step;
    int i = first;
    // Columns whose right neighbour lies inside the row: no clamping needed.
    // A row sitting exactly on a source row skips the vertical stage.
    if (wy1 == 0) {
        for (; i < end && (fx >> kShift) < last; ++i, fx += step) {
            const int c = static_cast<int>(fx >> kShift);
            out[i] = static_cast<uint8_t>(Lerp12(in0[c], in0[c + 1], static_cast<int>(fx & kFrac)));
        }
    }
    for (; i < end && (fx >> kShift) < last; ++i, fx += step) {
        const int c = static_cast<int>(fx >> kShift);
        const int wx1 = static_cast<int>(fx & kFrac);
        out[i] = static_cast<uint8_t>(
            Lerp12(Lerp12(in0[c], in0[c + 1], wx1), Lerp12(in1[c], in1[c + 1], wx1), wy1));
    }
    // The rest sits on the last column with weight 0 on its neighbour.
    for (; i < end; ++i, fx += step) {
        const int c = static_cast<int>(fx >> kShift);
        out[i] = static_cast<uint8_t>(BiLinearSample(in0[c], in0[last], in1[c], in1[last],
                                                     static_cast<int>(fx & kFrac), wy1));
    }
}

void BiLinearRowUV(const uint8_t* in0, const uint8_t* in1, uint8_t* out, int first, int end,
                   int64_t step2, int srcX, int lastCol, int wy1) {
    int64_t fx = first * step2;
    for (int k = first; k < end; ++k, fx += step2) {
        const int xs = static_cast<int>(fx >> kShift) + srcX;
        const int c0 = xs >> 1;
        const int c1 = (xs + 1) >> 1 < lastCol ? (xs + 1) >> 1 : lastCol;
        out[k] = static_cast<uint8_t>(
            BiLinearSample(in0[c0], in0[c1], in1[c0], in1[c1], static_cast<int>(fx & kFrac), wy1));
    }
}

void BiLinearRows(const uint8_t* in0, const uint8_t* in1, uint8_t* out, const ColumnStrip& s,
                  int wy1) {
    const int end = s.first + s.count;
    if (s.taps == Taps::BiLinearUV)
        BiLinearRowUV(in0, in1, out, s.first, end, s.step, s.srcX, s.last, wy1);
    else
        BiLinearRow(in0, in1, out, s.first, end, s.step, s.last, wy1);
}

void AverageRow(const uint8_t* in0, const uint8_t* in1, uint8_t* out, const ColumnStrip& s) {
    const int64_t step = s.step;
    int64_t fx = s.first * step;
    for (int i = s.first; i < s.first + s.count; ++i, fx += step) {
        const int x0 = static_cast<int>(fx >> kShift);
        const int next = static_cast<int>((fx + step) >> kShift);
        const int x1 = next < s.last ? next : s.last;
        out[i] = static_cast<uint8_t>((in0[x0] + in0[x1] + in1[x0] + in1[x1]) >> 2);
    }
}

// The reference rows step through positions themselves.
void PlanNothing(ColumnStrip& strip) { strip.mode = 0; }

constexpr PlaneRows kReferenceRows = {PlanNothing, NearRows, BiLinearRows, AverageRow};

qv::cpu::Family<PlaneRows> g_family(&kReferenceRows);

}  // namespace

qv::cpu::Family<PlaneRows>& PlaneRowFamily() { return g_family; }

void BlackenLumaMargins(const IMG_PARAM& dst) {
    const int right = dst.x + dst.cx;
    for (int j = 0; j < dst.cy; ++j) {
        uint8_t* row = RowTopDown(dst, dst.y + j);
        std::memset(row, kLumaBlack, dst.x);
        std::memset(row + right, kLumaBlack, RowLength(dst) - right);
    }
}

}  // namespace qv::image
