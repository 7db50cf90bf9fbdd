#include "RgbInput.h"

#include <quevarra/qv_color.h>

#include <cstring>

namespace qvpy {

int BytesPerPixel(PixelFormat format) {
    switch (format) {
    case PixelFormat::Rgb24:
    case PixelFormat::Bgr24: return 3;
    case PixelFormat::Rgba:
    case PixelFormat::Bgra: return 4;
    case PixelFormat::Yuv420p: return 0;
    }
    return 0;
}

namespace {

bool RedFirst(PixelFormat format) { return format == PixelFormat::Rgb24 || format == PixelFormat::Rgba; }

// Copies one row of `width` pixels of `bytes` bytes each, swapping the first
// and third byte of every pixel when `swap` is set.
void CopyRow(uint8_t* dst, const uint8_t* src, int width, int bytes, bool swap) {
    if (!swap) {
        std::memcpy(dst, src, static_cast<size_t>(width) * bytes);
        return;
    }
    for (int x = 0; x < width; ++x, dst += bytes, src += bytes) {
        dst[0] = src[2];
        dst[1] = src[1];
        dst[2] = src[0];
        if (bytes == 4) dst[3] = src[3];
    }
}

}  // namespace

RgbToYuv::RgbToYuv(PixelFormat format, int width, int height)
    : m_format(format), m_width(width), m_height(height) {
    // With an odd width the converters also write luma column W.
    m_pitch[0] = width + (width & 1);
    m_pitch[1] = m_pitch[2] = (width + 1) / 2;
    m_planes[0].resize(static_cast<size_t>(m_pitch[0]) * height);
    for (int i = 1; i < 3; ++i) m_planes[i].resize(static_cast<size_t>(m_pitch[i]) * ((height + 1) / 2));
    switch (format) {
    case PixelFormat::Rgb24:
    case PixelFormat::Bgr24: m_scratchPitch = ((width * 24 + 31) & ~31) / 8; break;
    case PixelFormat::Rgba: m_scratchPitch = width * 4; break;
    default: m_scratchPitch = 0; break;  // blue-green-red-alpha goes to the converter as it is
    }
    m_scratch.resize(static_cast<size_t>(m_scratchPitch) * height);
}

void RgbToYuv::Convert(const PackedPicture& picture) {
    uint8_t* y = Plane(0);
    uint8_t* u = Plane(1);
    uint8_t* v = Plane(2);
    const int bytes = BytesPerPixel(m_format);
    if (m_format == PixelFormat::Bgra) {
        // A negative height makes the converter read the first row in memory as the bottom one.
        const uint8_t* bits = picture.data;
        ptrdiff_t pitch = picture.rowStride;
        int height = m_height;
        if (pitch < 0) {
            bits += (m_height - 1) * pitch;
            pitch = -pitch;
            height = -height;
        }
        Rgb32_2_yuv420_Ex(y, u, v, m_pitch[0], m_pitch[1], m_pitch[2], const_cast<uint8_t*>(bits), m_width,
                          height, static_cast<int>(pitch));
    } else if (m_format == PixelFormat::Rgba) {
        for (int row = 0; row < m_height; ++row)
            CopyRow(&m_scratch[static_cast<size_t>(row) * m_scratchPitch], picture.data + row * picture.rowStride,
                    m_width, bytes, true);
        Rgb32_2_yuv420_Ex(y, u, v, m_pitch[0], m_pitch[1], m_pitch[2], m_scratch.data(), m_width, m_height,
                          m_scratchPitch);
    } else {
        // A 24-bit bitmap: bottom row first.
        for (int row = 0; row < m_height; ++row)
            CopyRow(&m_scratch[static_cast<size_t>(m_height - 1 - row) * m_scratchPitch],
                    picture.data + row * picture.rowStride, m_width, bytes, RedFirst(m_format));
        BITMAPINFOHEADER header{};
        header.biSize = sizeof header;
        header.biWidth = m_width;
        header.biHeight = m_height;
        header.biPlanes = 1;
        header.biBitCount = 24;
        Rgb24_2_yuv420(y, u, v, m_pitch[0], m_pitch[1], m_pitch[2], &header, m_scratch.data());
    }
    if ((m_width & 1) && (m_height & 1)) FillOddCorner(picture);
}

// No pass of the converters covers the bottom-right pixel of an odd-by-odd
// picture; a 2x2 block of that pixel alone gives its luma and chroma.
void RgbToYuv::FillOddCorner(const PackedPicture& picture) {
    const int bytes = BytesPerPixel(m_format);
    const uint8_t* px = picture.data + (m_height - 1) * picture.rowStride + static_cast<ptrdiff_t>(m_width - 1) * bytes;
    const bool swap = RedFirst(m_format);
    uint8_t block[16];
    for (int i = 0; i < 4; ++i) {
        block[4 * i + 0] = swap ? px[2] : px[0];
        block[4 * i + 1] = px[1];
        block[4 * i + 2] = swap ? px[0] : px[2];
        block[4 * i + 3] = 0;
    }
    uint8_t cy[4], cu[1], cv[1];
    Rgb32_2_yuv420_Ex(cy, cu, cv, 2, 1, 1, block, 2, 2, 8);
    Plane(0)[static_cast<size_t>(m_height - 1) * m_pitch[0] + m_width - 1] = cy[0];
    const size_t chroma = static_cast<size_t>((m_height - 1) / 2) * m_pitch[1] + (m_width - 1) / 2;
    Plane(1)[chroma] = cu[0];
    Plane(2)[chroma] = cv[0];
}

}  // namespace qvpy
