// A planar YUV 4:2:0 8-bit picture owned by the tool.
#ifndef QVENCODE_PICTURE_H
#define QVENCODE_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qvenc {

struct Picture {
    int width = 0, height = 0;
    int pitch[3] = {0, 0, 0};  // Y, U (Cb), V (Cr)
    std::vector<uint8_t> plane[3];

    // Chroma planes are ((w + 1) / 2) x ((h + 1) / 2). The luma pitch may be
    // wider than the picture (converters want room for one more column).
    void Allocate(int w, int h, int lumaPitch = 0) {
        width = w;
        height = h;
        pitch[0] = lumaPitch > w ? lumaPitch : w;
        pitch[1] = pitch[2] = (w + 1) / 2;
        plane[0].assign(static_cast<size_t>(pitch[0]) * h, 16);
        plane[1].assign(static_cast<size_t>(pitch[1]) * ((h + 1) / 2), 128);
        plane[2].assign(static_cast<size_t>(pitch[2]) * ((h + 1) / 2), 128);
    }
    static size_t FrameBytes(int w, int h) {
        return static_cast<size_t>(w) * h + 2 * static_cast<size_t>((w + 1) / 2) * ((h + 1) / 2);
    }
};

}  // namespace qvenc

#endif
