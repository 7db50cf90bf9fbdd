// Test buffers allocated exactly as large as their descriptor describes, so
// the sanitizer build catches any read or write past them.
#ifndef QUEVARRA_TESTS_IMAGE_IMAGEBUFFER_H
#define QUEVARRA_TESTS_IMAGE_IMAGEBUFFER_H

#include <quevarra/qv_image.h>

#include <cstdint>
#include <vector>

namespace qvtest {

struct Image {
    std::vector<uint8_t> bytes;
    IMG_PARAM p{};

    // rows stored rows of `pitch` bytes, every byte `fill`; rectangle (x, y, cx, cy).
    Image(int pitch, int rows, int x, int y, int cx, int cy, uint8_t fill = 0)
        : bytes(static_cast<size_t>(pitch) * rows, fill) {
        p.pBits = bytes.data();
        p.width = pitch;
        p.height = rows;
        p.pitch = pitch;
        p.bitCount = 8;
        p.x = x;
        p.y = y;
        p.cx = cx;
        p.cy = cy;
    }
    uint8_t& At(int col, int row) { return bytes[static_cast<size_t>(row) * p.pitch + col]; }
    // Picture row counted from the top of a bottom-up buffer.
    uint8_t& AtBottomUp(int col, int row) { return At(col, p.height - 1 - row); }
    std::vector<uint8_t> Row(int row, int from, int count) const {
        auto first = bytes.begin() + static_cast<ptrdiff_t>(row) * p.pitch + from;
        return {first, first + count};
    }
};

// Deterministic pseudo-random bytes.
inline void FillPattern(std::vector<uint8_t>& v, uint32_t seed) {
    for (auto& b : v) {
        seed = seed * 1103515245u + 12345u;
        b = static_cast<uint8_t>(seed >> 16);
    }
}

}  // namespace qvtest

#endif
