#include "PackedRgb.h"

#include <quevarra/qv_color.h>

#include <cstddef>

namespace qvenc {

void ConvertToYuv420(const uint8_t* src, int pitch, int bytesPerPixel, int width, int height,
                     std::vector<uint8_t>& scratch, Picture& picture) {
    const int ew = (width + 1) & ~1, eh = (height + 1) & ~1;
    if (picture.width != width || picture.height != height) picture.Allocate(width, height, ew);
    const uint8_t* bgra = src;
    ptrdiff_t bgraPitch = pitch;
    if (bytesPerPixel != 4 || ew != width || eh != height) {
        scratch.resize(static_cast<size_t>(ew) * eh * 4);
        for (int y = 0; y < eh; ++y) {
            const uint8_t* s = src + static_cast<ptrdiff_t>(y < height ? y : height - 1) * pitch;
            uint8_t* d = scratch.data() + static_cast<size_t>(y) * ew * 4;
            for (int x = 0; x < ew; ++x) {
                const uint8_t* p = s + (x < width ? x : width - 1) * bytesPerPixel;
                d[4 * x] = p[0];
                d[4 * x + 1] = p[1];
                d[4 * x + 2] = p[2];
                d[4 * x + 3] = 255;
            }
        }
        bgra = scratch.data();
        bgraPitch = ew * 4;
    }
    // With an odd height the converter writes one luma row below the picture.
    picture.plane[0].resize(static_cast<size_t>(picture.pitch[0]) * eh);
    // A positive height reads the first row given as the top of the picture.
    Rgb32_2_yuv420_Ex(picture.plane[0].data(), picture.plane[1].data(), picture.plane[2].data(), picture.pitch[0],
                      picture.pitch[1], picture.pitch[2], const_cast<uint8_t*>(bgra), ew, eh,
                      static_cast<int>(bgraPitch));
}

}  // namespace qvenc
