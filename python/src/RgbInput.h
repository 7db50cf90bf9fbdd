// Packed RGB pictures, top-down with any row stride, turned into planar
// 4:2:0 with the library's BT.601 converters. Those take bottom-up 24-bit
// bitmaps with 4-byte rows, or 32-bit blue-green-red with an explicit pitch,
// so other layouts go through a scratch picture made once per file.
#ifndef QUEVARRA_PYTHON_RGBINPUT_H
#define QUEVARRA_PYTHON_RGBINPUT_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qvpy {

enum class PixelFormat { Rgb24, Bgr24, Rgba, Bgra, Yuv420p };

// Bytes per pixel of a packed format (0 for planar).
int BytesPerPixel(PixelFormat format);

// One packed picture: row y starts at data + y * rowStride (the stride may be
// negative), pixels are contiguous within a row.
struct PackedPicture {
    const uint8_t* data;
    ptrdiff_t rowStride;
};

class RgbToYuv {
public:
    // Allocates everything a picture of this size needs; nothing is allocated per frame.
    RgbToYuv(PixelFormat format, int width, int height);

    void Convert(const PackedPicture& picture);

    uint8_t* Plane(int i) { return m_planes[i].data(); }
    int Pitch(int i) const { return m_pitch[i]; }

private:
    void FillOddCorner(const PackedPicture& picture);

    PixelFormat m_format;
    int m_width, m_height;
    int m_pitch[3];
    std::vector<uint8_t> m_planes[3];
    std::vector<uint8_t> m_scratch;  // the picture in the converter's layout, when it differs
    int m_scratchPitch = 0;
};

}  // namespace qvpy

#endif
