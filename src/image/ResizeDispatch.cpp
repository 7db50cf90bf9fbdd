// Dispatchers choosing a resizer by IMAGE_INTERPOLATION for each kind of image.
#include <quevarra/qv_image.h>

namespace {

using Resizer = int (*)(const IMG_PARAM&, IMG_PARAM&);

// Values without a resizer for the kind of image give 0 and touch nothing.
int Dispatch(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method,
             Resizer bilinear, Resizer nearest, Resizer convolve) {
    switch (static_cast<int>(method)) {
    case IMAGE_INTERPOLATION_DEFAULT:
    case IMAGE_INTERPOLATION_BILINEAR:
        return bilinear(src, dst);
    case IMAGE_INTERPOLATION_NEAREST:
        return nearest(src, dst);
    case IMAGE_INTERPOLATION_CONVOLVE:
        return convolve ? convolve(src, dst) : 0;
    default:
        return 0;
    }
}

}  // namespace

QV_API int ImageResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method) {
    return Dispatch(src, dst, method, DIB_ResizeBiLiner, DIB_ResizeNear, DIB_ResizeConvolve);
}

// Alpha compositing has a single resizer; the interpolation is not read.
QV_API int ImageAlphaResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION) {
    return DIB_AlphaResizeBiLiner(src, dst);
}

QV_API int ImageStretchMask(const IMG_PARAM& src, IMG_PARAM& dst) {
    return StretchMaskResizeBiLiner(src, dst);
}

QV_API int ImageResize8(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method) {
    return Dispatch(src, dst, method, DIB_ResizeBiLiner8, DIB_ResizeNear8, nullptr);
}

QV_API int ImageResizeY(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method) {
    return Dispatch(src, dst, method, DIB_ResizeBiLinerY, DIB_ResizeNearY, nullptr);
}

QV_API int ImageResizeUV(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method) {
    return Dispatch(src, dst, method, DIB_ResizeBiLinerUV, DIB_ResizeNearUV, nullptr);
}

QV_API int ImageResizeYV12(const IMG_PARAM& src, unsigned char* pSrcY, unsigned char* pSrcU,
                           unsigned char* pSrcV, int srcPitchY, int srcPitchU, int srcPitchV,
                           IMG_PARAM& dst, unsigned char* pDstY, unsigned char* pDstU,
                           unsigned char* pDstV, int dstPitchY, int dstPitchU, int dstPitchV,
                           IMAGE_INTERPOLATION method) {
    if (dst.cx < 2 || dst.cy < 2)
        return 0;
    IMG_PARAM s = src;
    IMG_PARAM d = dst;
    s.pBits = pSrcY;
    s.pitch = srcPitchY;
    d.pBits = pDstY;
    d.pitch = dstPitchY;
    ImageResizeY(s, d, method);
    s.pBits = pSrcV;
    s.pitch = srcPitchV;
    d.pBits = pDstV;
    d.pitch = dstPitchV;
    ImageResizeUV(s, d, method);
    s.pBits = pSrcU;
    s.pitch = srcPitchU;
    d.pBits = pDstU;
    d.pitch = dstPitchU;
    ImageResizeUV(s, d, method);
    // The planes' own results are not examined: a refused plane is left as it was.
    return 1;
}
