// Test images exactly as large as their descriptor describes, so the
// sanitizer build catches any access past them.
#ifndef QUEVARRA_TESTS_IMAGE_IMAGEBUFFER_H
#define QUEVARRA_TESTS_IMAGE_IMAGEBUFFER_H

#include <quevarra/qv_image.h>
#include <algorithm>
#include <cstdint>
#include <vector>

namespace qvtest {

using Bytes = std::vector<uint8_t>;
using Resizer = int (*)(const IMG_PARAM&, IMG_PARAM&);
constexpr uint8_t kSentinel = 0xA5;  // bytes a resizer must not write

// `rows` stored rows of `pitch` bytes filled with `fill`; rectangle (x, y, cx, cy).
struct Image {
    Bytes bytes;
    IMG_PARAM p;
    Image(int pitch, int rows, int x, int y, int cx, int cy, uint8_t fill = 0)
        : bytes(size_t(pitch) * rows, fill), p{bytes.data(), pitch, rows, pitch, 8, x, y, cx, cy} {}
    Image(const Image& o) : bytes(o.bytes), p(o.p) { p.pBits = bytes.data(); }
    uint8_t& At(int col, int row) { return bytes[size_t(row) * p.pitch + col]; }
    Bytes Row(int row, int from, int n) const {
        return Bytes(bytes.begin() + row * p.pitch + from, bytes.begin() + row * p.pitch + from + n);
    }
};

// Bottom-up 4-byte pixels; pixel rows are counted from the picture's top.
inline Image Packed(int w, int h, int x, int y, int cx, int cy, uint8_t f = 0) { return Image(4 * w, h, x, y, cx, cy, f); }
inline uint8_t* Px(Image& img, int col, int row) { return &img.At(4 * col, img.p.height - 1 - row); }
inline Bytes PxBytes(Image& img, int col, int row) { return {Px(img, col, row), Px(img, col, row) + 4}; }
inline void FillPattern(Bytes& v, uint32_t seed) {
    for (auto& b : v)
        b = uint8_t((seed = seed * 1103515245u + 12345u) >> 16);
}

}  // namespace qvtest

#endif
