// Packed BGRA and BGR24 pictures to planar 4:2:0 through the library's own
// BT.601 converter, so that RGB input gets the library's colours.
#ifndef QVENCODE_PACKEDRGB_H
#define QVENCODE_PACKEDRGB_H

#include "Picture.h"

#include <cstdint>
#include <vector>

namespace qvenc {

// src: top row first, `pitch` bytes apart (negative for bottom-up memory);
// bytesPerPixel 4 (B, G, R, unused) or 3 (B, G, R). The picture is allocated
// here. Odd sizes convert an edge-replicated even-sized copy, which gives
// exactly the edge averages of the odd-size passes and fills the corner too.
void ConvertToYuv420(const uint8_t* src, int pitch, int bytesPerPixel, int width, int height,
                     std::vector<uint8_t>& scratch, Picture& picture);

}  // namespace qvenc

#endif
