// Rectangle fitting: shrink a rectangle, centred, to a target aspect ratio.
#include <quevarra/qv_image.h>

#include <stdint.h>

void ResizeRect(tagRECT& rc, tagSIZE size, IMAGE_RESIZE_METHOD method) {
    if (size.cx == 0 || size.cy == 0 || method == IMAGE_RESIZE_STRETCH) return;

    // Sizes and rectangles up to 32767 on a side are supported; there the
    // 64-bit products below equal the 32-bit ones exactly, and beyond it they
    // stay free of overflow instead of wrapping.
    const int64_t cx = size.cx;
    const int64_t cy = size.cy;
    int64_t a, b;
    switch (method) {
    case IMAGE_RESIZE_16_9:
        if (cx * 9 > cy * 16) {
            a = cx;
            b = cx * 9 / 16;
        } else {
            a = cy * 16 / 9;
            b = cy;
        }
        break;
    case IMAGE_RESIZE_4_3:
        if (cx * 3 > cy * 4) {
            a = cx;
            b = cx * 3 / 4;
        } else {
            a = cy * 4 / 3;
            b = cy;
        }
        break;
    default:  // keep aspect, crop and any unknown method
        a = cx;
        b = cy;
        break;
    }

    const int64_t w = int64_t(rc.right) - rc.left;
    const int64_t h = int64_t(rc.bottom) - rc.top;
    const int64_t p = h * a;
    const int64_t q = b * w;
    // A degenerate aspect (a negative 16:9 or 4:3 size whose term truncates to 0)
    // has no shape to fit to; leave the rectangle alone rather than divide by 0.
    if (p < q) {
        if (b == 0) return;
        // Halving by an arithmetic shift rounds toward minus infinity, so the
        // odd pixel stays on the right side.
        const int64_t d = (w - p / b) >> 1;
        rc.left = static_cast<int32_t>(rc.left + d);
        rc.right = static_cast<int32_t>(rc.right - d);
    } else if (p > q) {
        if (a == 0) return;
        const int64_t d = (h - q / a) >> 1;
        rc.top = static_cast<int32_t>(rc.top + d);
        rc.bottom = static_cast<int32_t>(rc.bottom - d);
    }
}
