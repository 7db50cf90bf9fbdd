// Picture buffers for the colour tests: bitmaps addressed by image
// coordinates and 4:2:0 planes pre-filled with a sentinel.
#ifndef QUEVARRA_TESTS_COLOR_COLORTESTUTIL_H
#define QUEVARRA_TESTS_COLOR_COLORTESTUTIL_H

#include <quevarra/qv_color.h>

#include <stdint.h>

#include <ostream>
#include <random>
#include <vector>

namespace colortest {

constexpr uint8_t kSentinel = 0xA5;

struct Bgr {
    uint8_t b, g, r;
};
inline bool operator==(Bgr a, Bgr b) { return a.b == b.b && a.g == b.g && a.r == b.r; }
inline std::ostream& operator<<(std::ostream& os, Bgr c) {
    return os << "(r" << int(c.r) << " g" << int(c.g) << " b" << int(c.b) << ")";
}

// A bitmap of W x H pixels; Px(x, y) addresses image row y whatever the row order.
struct Dib {
    BITMAPINFOHEADER header{};
    int pitch = 0;
    bool bottomUp = true;
    std::vector<uint8_t> bits;

    Dib(int w, int h, int bitCount, bool bottomUpRows = true) : bottomUp(bottomUpRows) {
        header.biSize = sizeof(BITMAPINFOHEADER);
        header.biWidth = w;
        header.biHeight = h;
        header.biPlanes = 1;
        header.biBitCount = static_cast<uint16_t>(bitCount);
        pitch = bitCount == 24 ? ((w * 24 + 31) & ~31) / 8 : w * 4;
        bits.assign(static_cast<size_t>(pitch) * h, kSentinel);
    }
    int W() const { return header.biWidth; }
    int H() const { return header.biHeight; }
    int Bpp() const { return header.biBitCount / 8; }
    uint8_t* Row(int y) { return bits.data() + static_cast<size_t>(bottomUp ? H() - 1 - y : y) * pitch; }
    uint8_t* Px(int x, int y) { return Row(y) + x * Bpp(); }
    void Set(int x, int y, Bgr c, uint8_t fourth = 0) {
        uint8_t* p = Px(x, y);
        p[0] = c.b;
        p[1] = c.g;
        p[2] = c.r;
        if (Bpp() == 4) p[3] = fourth;
    }
    void Fill(Bgr c, uint8_t fourth = 0) {
        for (int y = 0; y < H(); ++y)
            for (int x = 0; x < W(); ++x) Set(x, y, c, fourth);
    }
    void Randomize(std::mt19937& rng) {
        for (int y = 0; y < H(); ++y)
            for (int x = 0; x < W(); ++x)
                Set(x, y, Bgr{uint8_t(rng()), uint8_t(rng()), uint8_t(rng())}, uint8_t(rng()));
    }
};

// 4:2:0 planes with room for the duplicated luma column W and a few spare
// bytes per row, all holding the sentinel until written.
struct Yuv {
    int w, h, pitchY, pitchU, pitchV;
    std::vector<uint8_t> y, u, v, a;
    bool nullU = false;  // converters get a null U plane

    Yuv(int width, int height)
        : w(width), h(height), pitchY(width + 3), pitchU((width + 1) / 2 + 2),
          pitchV((width + 1) / 2 + 1),
          y(static_cast<size_t>(pitchY) * height, kSentinel),
          u(static_cast<size_t>(pitchU) * ((height + 1) / 2), kSentinel),
          v(static_cast<size_t>(pitchV) * ((height + 1) / 2), kSentinel),
          a(y.size(), kSentinel) {}
    uint8_t& Y(int x, int row) { return y[static_cast<size_t>(row) * pitchY + x]; }
    uint8_t& U(int x, int row) { return u[static_cast<size_t>(row) * pitchU + x]; }
    uint8_t& V(int x, int row) { return v[static_cast<size_t>(row) * pitchV + x]; }
    uint8_t& A(int x, int row) { return a[static_cast<size_t>(row) * pitchY + x]; }
    void Randomize(std::mt19937& rng) {
        for (auto& s : y) s = uint8_t(16 + rng() % 220);
        for (auto& s : u) s = uint8_t(16 + rng() % 225);
        for (auto& s : v) s = uint8_t(16 + rng() % 225);
    }
    bool Untouched() const {
        auto clean = [](const std::vector<uint8_t>& p) {
            for (uint8_t s : p)
                if (s != kSentinel) return false;
            return true;
        };
        return clean(y) && clean(u) && clean(v) && clean(a);
    }
};

inline bool AllSentinel(const std::vector<uint8_t>& bytes) {
    for (uint8_t b : bytes)
        if (b != kSentinel) return false;
    return true;
}

}  // namespace colortest

#endif
