// Shared pieces of the colour converters: the fixed-point forms of the BT.601
// matrix, clamps, row addressing and the precondition report. Private to src/image.
#ifndef QUEVARRA_SRC_IMAGE_COLORROWS_H
#define QUEVARRA_SRC_IMAGE_COLORROWS_H

#include <quevarra/qv_color.h>

#include <stddef.h>
#include <stdint.h>

namespace qv::color {

// Every formula relies on >> being floor division for negative values.
static_assert((-1 >> 1) == -1, "arithmetic right shift required");

// Reports a violated precondition as one log line; the caller then returns
// without writing. A library must never stop its host, so no abort here.
void ReportViolation(const char* function, const char* condition);

// Checks a precondition; on failure reports it and returns from the caller.
#define QV_COLOR_REQUIRE(function, cond) QV_COLOR_REQUIRE_TEXT(function, cond, #cond)

// The same where the check is computed differently from its stated text (for
// instance widened to 64 bits so that it cannot overflow).
#define QV_COLOR_REQUIRE_TEXT(function, cond, text)        \
    do {                                                   \
        if (!(cond)) {                                     \
            ::qv::color::ReportViolation(function, text);  \
            return;                                        \
        }                                                  \
    } while (0)

// Whether a walk over `rows` rows of `rowBytes` bytes each, `pitch` bytes
// apart (either way), forms only offsets that an int holds: pictures past that
// are refused at the entry, so row kernels may index with int. Rows closer
// than their own length count as if they did not overlap, which also bounds
// the work of a walk with a pitch of 0.
inline bool Addressable(int64_t rowBytes, int64_t rows, int64_t pitch) {
    const int64_t magnitude = pitch < 0 ? -pitch : pitch;
    const int64_t step = magnitude > rowBytes ? magnitude : rowBytes;
    return rowBytes <= INT32_MAX && (rows <= 0 || (rows - 1) * step + rowBytes <= INT32_MAX);
}

// The three planes of a W x H 4:2:0 picture; luma with the spare column that
// odd widths write.
inline bool PlanesAddressable(int64_t W, int64_t H, int pitchY, int pitchU, int pitchV) {
    const int64_t cw = (W + 1) / 2, ch = (H + 1) / 2;
    return Addressable(W + 1, H, pitchY) && Addressable(cw, ch, pitchU) &&
           Addressable(cw, ch, pitchV);
}

// The condition text logged when a picture's offsets do not fit in int.
#define QV_OFFSETS_FIT "the picture's byte offsets fit in int"

inline uint8_t ClampByte(int value) {
    return static_cast<uint8_t>(value < 0 ? 0 : (value > 255 ? 255 : value));
}

inline int ClampInt(int value, int lo, int hi) {
    return value < lo ? lo : (value > hi ? hi : value);
}

// Narrows a 64-bit intermediate to int, saturating.
inline int64_t ClampInt64(int64_t value) {
    return value < INT32_MIN ? INT32_MIN : (value > INT32_MAX ? INT32_MAX : value);
}

// Fast forward form, 14 fractional bits: luma and the signed chroma terms.
// The terms lie in -112..111, so sums of them never need clamping.
struct FwdPixel {
    int y;
    int u;
    int v;
};

inline FwdPixel FastForward(int r, int g, int b) {
    FwdPixel p;
    p.y = ((4211 * r + mul_8258[g] + mul_1606[b]) >> 14) + 16;
    p.u = (mul_7193[b] - (2425 * r + mul_4768[g])) >> 14;
    p.v = (mul_7193[r] - (6029 * g + mul_1163[b])) >> 14;
    return p;
}

inline FwdPixel FastForwardBgr(const uint8_t* px) { return FastForward(px[2], px[1], px[0]); }

inline uint8_t Chroma4(int a, int b, int c, int d) {
    return static_cast<uint8_t>((a + b + c + d + 512) >> 2);
}
inline uint8_t Chroma2(int a, int b) { return static_cast<uint8_t>((a + b + 256) >> 1); }

// Fast inverse form, 13 fractional bits: the chroma terms once per sample,
// then one lookup and three shifts per pixel.
struct InvTerms {
    int r;
    int g;
    int b;
};

inline InvTerms InverseTerms(int u, int v) {
    InvTerms t;
    t.r = 13074 * v - 1826095;
    t.g = -3203 * u - mul_6660[v] + 1109918;
    t.b = 16532 * u - 2268594;
    return t;
}

inline void StoreBgr(uint8_t* px, int luma, const InvTerms& t) {
    const int y = mul_9536[luma];
    px[0] = ClampByte((y + t.b) >> 13);
    px[1] = ClampByte((y + t.g) >> 13);
    px[2] = ClampByte((y + t.r) >> 13);
}

// A picture's rows as a first row and a signed step, so bottom-up and
// top-down buffers share one walk: row y starts at first + y * step.
template <typename T>
struct RowWalk {
    T* first;
    ptrdiff_t step;
    T* Row(int y) const { return first + static_cast<ptrdiff_t>(y) * step; }
};

template <typename T>
inline RowWalk<T> BottomUp(T* base, int rows, ptrdiff_t pitch) {
    return RowWalk<T>{base + static_cast<ptrdiff_t>(rows - 1) * pitch, -pitch};
}

template <typename T>
inline RowWalk<T> TopDown(T* base, ptrdiff_t pitch) {
    return RowWalk<T>{base, pitch};
}

// Padded row pitch of a 24-bit bitmap, computed wide so huge widths cannot overflow.
inline ptrdiff_t Dib24Pitch(int width) {
    return static_cast<ptrdiff_t>(((static_cast<int64_t>(width) * 24 + 31) & ~int64_t{31}) / 8);
}

// Planar 4:2:0 planes with their pitches.
struct Planes {
    uint8_t* y;
    uint8_t* u;
    uint8_t* v;
    ptrdiff_t pitchY;
    ptrdiff_t pitchU;
    ptrdiff_t pitchV;
    uint8_t* LumaRow(int row) const { return y + row * pitchY; }
    uint8_t* URow(int row) const { return u + row * pitchU; }
    uint8_t* VRow(int row) const { return v + row * pitchV; }
};

}  // namespace qv::color

#endif
