// Cubic convolution resizer (kernel parameter a = -1) for packed 4-byte
// bottom-up images, with optional pre-smoothing of the inner taps.
#include "image/PackedRows.h"
#include "image/ResizeCommon.h"

using namespace qv::image;

namespace {

// The four source rows of destination row `r` (a source row index): the one
// above (or r itself at the top) and two below; below the second-to-last row
// the lowest tap repeats the row itself.
void TapRows(int r, int top, int bottom, int rows[4]) {
    int below1 = r, below2 = r;
    if (r <= bottom - 2) {
        below1 = r + 1;
        below2 = r + 2;
    } else if (r == bottom - 1) {
        below1 = r + 1;
    }
    rows[0] = r > top ? r - 1 : r;
    rows[1] = r;
    rows[2] = below1;
    rows[3] = below2;
}

// One destination row at a time, every tap filtered where it is used.
void ConvolveByRows(const IMG_PARAM& src, IMG_PARAM& dst, const PackedRows& rows) {
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const bool hSmooth = ConvolveSmooths(stepX);
    RowTaps rt{};
    rt.smooth = ConvolveSmooths(stepY);
    int64_t fy = 0;
    for (int j = 0; j < dst.cy; ++j, fy += stepY) {
        int tapRows[4];
        TapRows(static_cast<int>(fy >> kShift) + src.y, src.y, src.y + src.cy - 1, tapRows);
        for (int m = 0; m < 4; ++m)
            rt.rows[m] = RowBottomUp(src, tapRows[m]) + 4 * src.x;
        ConvolveWeights(fy, rt.w);
        rows.convolveRow(rt, RowBottomUp(dst, dst.y + j) + 4 * dst.x, dst.cx, stepX, src.cx - 1,
                         hSmooth);
    }
}

// Strips of columns, each source row filtered once per strip and kept while
// destination rows still use it (up to four at a time).
struct Scratch {
    ConvolveColumns cols;
    ConvolveFiltered filtered[4];
    int held[4];  // source row in each slot, -1 when empty
};

void ConvolveByStrips(const IMG_PARAM& src, IMG_PARAM& dst, const PackedRows& rows, Scratch& s) {
    const int64_t stepX = Q12Step(src.cx, dst.cx);
    const int64_t stepY = Q12Step(src.cy, dst.cy);
    const bool hSmooth = ConvolveSmooths(stepX);
    const bool vSmooth = ConvolveSmooths(stepY);
    for (int first = 0; first < dst.cx; first += kConvolveStrip) {
        const int count = dst.cx - first < kConvolveStrip ? dst.cx - first : kConvolveStrip;
        PlanConvolveColumns(s.cols, first, count, stepX, src.cx - 1, hSmooth);
        for (int& h : s.held) h = -1;
        int64_t fy = 0;
        for (int j = 0; j < dst.cy; ++j, fy += stepY) {
            int tapRows[4];
            TapRows(static_cast<int>(fy >> kShift) + src.y, src.y, src.y + src.cy - 1, tapRows);
            // Slots already holding a tap row stay; the others are refilled.
            bool wanted[4] = {};
            const ConvolveFiltered* taps[4] = {};
            for (int m = 0; m < 4; ++m)
                for (int k = 0; k < 4; ++k)
                    if (s.held[k] == tapRows[m]) {
                        wanted[k] = true;
                        taps[m] = &s.filtered[k];
                    }
            for (int m = 0; m < 4; ++m) {
                if (taps[m]) continue;
                int k = 0;
                while (wanted[k]) ++k;  // four slots for at most four rows
                rows.convolveFilter(RowBottomUp(src, tapRows[m]) + 4 * src.x, s.cols, s.filtered[k]);
                s.held[k] = tapRows[m];
                wanted[k] = true;
                for (int n = m; n < 4; ++n)
                    if (tapRows[n] == tapRows[m]) taps[n] = &s.filtered[k];
            }
            double w[4];
            ConvolveWeights(fy, w);
            rows.convolveCombine(taps, w, vSmooth, RowBottomUp(dst, dst.y + j) + 4 * (dst.x + first),
                                 count);
        }
    }
}

}  // namespace

QV_API int DIB_ResizeConvolve(const IMG_PARAM& src, IMG_PARAM& dst) {
    if (!AcceptRects(src, {Layout::BottomUp, 4}, dst, {Layout::BottomUp, 4}))
        return 0;
    const PackedRows& rows = PackedRowFamily().Active();
    if (!rows.convolveFilter) {
        ConvolveByRows(src, dst, rows);
        return 1;
    }
    Scratch scratch;  // about 30 KB: no allocation per frame
    ConvolveByStrips(src, dst, rows, scratch);
    return 1;
}
