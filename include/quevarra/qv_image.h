/* Image descriptors, rectangle fitting and the resizers. */
#ifndef QUEVARRA_QV_IMAGE_H
#define QUEVARRA_QV_IMAGE_H

#include <quevarra/qv_export.h>

#include <stddef.h>
#include <stdint.h>

/* A buffer and a rectangle in it (36 bytes on 32-bit, 40 on 64-bit). */
struct IMG_PARAM {
    uint8_t* pBits;   /* first byte of the buffer */
    int32_t width;    /* buffer width in pixels; no resizer reads it */
    int32_t height;   /* buffer height in rows; read by the bottom-up resizers */
    int32_t pitch;    /* bytes from one stored row to the next */
    int32_t bitCount; /* bits per pixel; read only by StretchMaskResizeBiLiner */
    int32_t x;        /* left column of the rectangle */
    int32_t y;        /* top row of the rectangle, counted from the picture's top */
    int32_t cx;       /* rectangle width in pixels */
    int32_t cy;       /* rectangle height in rows */
};
static_assert(sizeof(IMG_PARAM) == (sizeof(void*) == 4 ? 36 : 40), "IMG_PARAM size");
static_assert(offsetof(IMG_PARAM, cy) == (sizeof(void*) == 4 ? 32 : 36), "IMG_PARAM.cy");

/* Both enumerations have a fixed 32-bit underlying type: hosts and EncodeParam
 * carry them as plain 32-bit integers, and every such value must be one the
 * type can hold (values without a meaning are refused or treated as documented,
 * never undefined). */
enum IMAGE_INTERPOLATION : int32_t {
    IMAGE_INTERPOLATION_DEFAULT = 0,  /* bilinear */
    IMAGE_INTERPOLATION_NEAREST = 1,  /* nearest neighbour */
    IMAGE_INTERPOLATION_BILINEAR = 2, /* bilinear */
    IMAGE_INTERPOLATION_CONVOLVE = 3  /* cubic convolution; packed 4-byte images only */
};

enum IMAGE_RESIZE_METHOD : int32_t {
    IMAGE_RESIZE_STRETCH = 0,     /* rectangle left unchanged */
    IMAGE_RESIZE_KEEP_ASPECT = 1, /* aspect of the size handed in */
    IMAGE_RESIZE_16_9 = 2,        /* 16:9 */
    IMAGE_RESIZE_4_3 = 3,         /* 4:3 */
    IMAGE_RESIZE_CROP = 5         /* keep aspect, applied by the caller to the source */
};

struct tagRECT {
    int32_t left;
    int32_t top;
    int32_t right;  /* exclusive */
    int32_t bottom; /* exclusive */
};

struct tagSIZE {
    int32_t cx;
    int32_t cy;
};

/* Shrinks rc, centred, to the largest rectangle of the target aspect inside it. */
QV_API void ResizeRect(tagRECT& rc, tagSIZE size, IMAGE_RESIZE_METHOD method);

/* Resizers: map src's rectangle onto dst's rectangle; 1 = done, 0 = refused
 * (destination rectangle below 2x2, source rectangle below 1x1, null buffer). */
QV_API int DIB_ResizeNear(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_ResizeNear8(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_ResizeNearY(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_ResizeNearUV(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_ResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_ResizeBiLiner8(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_ResizeBiLinerY(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_ResizeBiLinerUV(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_ResizeBiLinerY_Simulate(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_ResizeConvolve(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int DIB_AlphaResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int StretchMaskResizeNear(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int StretchMaskResizeBiLiner(const IMG_PARAM& src, IMG_PARAM& dst);

/* Dispatchers: 0 for an interpolation without a resizer for that kind. */
QV_API int ImageResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method);
QV_API int ImageResize8(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method);
QV_API int ImageResizeY(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method);
QV_API int ImageResizeUV(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method);
QV_API int ImageAlphaResize(const IMG_PARAM& src, IMG_PARAM& dst, IMAGE_INTERPOLATION method);
QV_API int ImageStretchMask(const IMG_PARAM& src, IMG_PARAM& dst);
QV_API int ImageResizeYV12(const IMG_PARAM& src, unsigned char* pSrcY, unsigned char* pSrcU,
                           unsigned char* pSrcV, int srcPitchY, int srcPitchU, int srcPitchV,
                           IMG_PARAM& dst, unsigned char* pDstY, unsigned char* pDstU,
                           unsigned char* pDstV, int dstPitchY, int dstPitchU, int dstPitchV,
                           IMAGE_INTERPOLATION method);

#endif /* QUEVARRA_QV_IMAGE_H */
