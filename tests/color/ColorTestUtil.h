// Picture buffers for the colour tests, pre-filled with a sentinel so that
// every byte a converter must not write can be checked.
#ifndef QUEVARRA_TESTS_COLOR_COLORTESTUTIL_H
#define QUEVARRA_TESTS_COLOR_COLORTESTUTIL_H

#include <quevarra/qv_color.h>

#include <algorithm>
#include <ostream>
#include <random>
#include <vector>

namespace colortest {

constexpr uint8_t kSentinel = 0xA5;
struct Bgr {
    uint8_t b, g, r;
    bool operator==(Bgr o) const { return b == o.b && g == o.g && r == o.r; }
    friend std::ostream& operator<<(std::ostream& os, Bgr c) { return os << +c.r << ',' << +c.g << ',' << +c.b; }
};
const Bgr kWhite{255, 255, 255}, kBlack{0, 0, 0}, kRed{0, 0, 255}, kBlue{255, 0, 0};
inline bool AllSentinel(const std::vector<uint8_t>& v) { return std::count(v.begin(), v.end(), kSentinel) == long(v.size()); }

// A bitmap (24-bit rows padded to 4 bytes); Px(x, y) addresses image row y whatever the row order.
struct Dib {
    BITMAPINFOHEADER header{};
    int pitch;
    bool bottomUp;
    std::vector<uint8_t> bits;
    Dib(int w, int h, int bitCount, bool bottomUpRows = true)
        : pitch(bitCount == 24 ? (w * 3 + 3) & ~3 : w * 4), bottomUp(bottomUpRows), bits(size_t(pitch) * h, kSentinel) {
        header.biWidth = w, header.biHeight = h, header.biBitCount = uint16_t(bitCount);
    }
    uint8_t* Row(int y) { return bits.data() + size_t(bottomUp ? header.biHeight - 1 - y : y) * pitch; }
    uint8_t* Px(int x, int y) { return Row(y) + x * (header.biBitCount / 8); }
    Bgr Get(int x, int y) { return Bgr{Px(x, y)[0], Px(x, y)[1], Px(x, y)[2]}; }
    void Set(int x, int y, Bgr c, uint8_t fourth = 0) {
        uint8_t* p = Px(x, y);
        p[0] = c.b, p[1] = c.g, p[2] = c.r;
        if (header.biBitCount == 32) p[3] = fourth;
    }
};

// 4:2:0 planes and alpha, with room for luma column W; distinct pitches expose mix-ups.
struct Yuv {
    int pitchY, pitchU, pitchV;
    std::vector<uint8_t> y, u, v, a;
    Yuv(int w, int h)
        : pitchY(w + 3), pitchU((w + 1) / 2 + 2), pitchV((w + 1) / 2 + 1), y(size_t(pitchY) * h, kSentinel),
          u(size_t(pitchU) * ((h + 1) / 2), kSentinel), v(size_t(pitchV) * ((h + 1) / 2), kSentinel), a(y) {}
    uint8_t& Y(int x, int row) { return y[size_t(row) * pitchY + x]; }
    uint8_t& U(int x, int row) { return u[size_t(row) * pitchU + x]; }
    uint8_t& V(int x, int row) { return v[size_t(row) * pitchV + x]; }
    uint8_t& A(int x, int row) { return a[size_t(row) * pitchY + x]; }
    bool Untouched() const { return AllSentinel(y) && AllSentinel(u) && AllSentinel(v) && AllSentinel(a); }
};
#define QV_PLANES(d) (d).y.data(), (d).u.data(), (d).v.data()
#define QV_PITCHES(d) (d).pitchY, (d).pitchU, (d).pitchV

}  // namespace colortest

#endif
