/* BT.601 colour conversion between RGB bitmaps, planar YUV 4:2:0 and packed YUY2. */
#ifndef QUEVARRA_QV_COLOR_H
#define QUEVARRA_QV_COLOR_H

#include <quevarra/qv_export.h>

#include <stddef.h>
#include <stdint.h>

#ifndef QV_HAVE_BITMAPINFOHEADER
#define QV_HAVE_BITMAPINFOHEADER
/* The device-independent-bitmap header (40 bytes). The converters read only
 * biWidth, biHeight and biBitCount. */
struct BITMAPINFOHEADER {
    uint32_t biSize;         /* bytes in this header (40) */
    int32_t biWidth;         /* width in pixels */
    int32_t biHeight;        /* height in rows; positive = bottom-up */
    uint16_t biPlanes;       /* 1 */
    uint16_t biBitCount;     /* bits per pixel */
    uint32_t biCompression;  /* 0 = uncompressed RGB */
    uint32_t biSizeImage;    /* bytes of pixel data */
    int32_t biXPelsPerMeter; /* horizontal resolution */
    int32_t biYPelsPerMeter; /* vertical resolution */
    uint32_t biClrUsed;      /* palette entries used */
    uint32_t biClrImportant; /* palette entries important */
};

struct RGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
};

/* A header followed by its (unused here) palette. */
struct BITMAPINFO {
    BITMAPINFOHEADER bmiHeader; /* the header */
    RGBQUAD bmiColors[1];       /* palette; not read */
};
static_assert(sizeof(BITMAPINFOHEADER) == 40, "BITMAPINFOHEADER size");
static_assert(offsetof(BITMAPINFOHEADER, biBitCount) == 14, "biBitCount");
#endif

/* Product tables: entry i is exactly K * i. */
QV_API extern const int mul_8258[256];
QV_API extern const int mul_1606[256];
QV_API extern const int mul_4768[256];
QV_API extern const int mul_7193[256];
QV_API extern const int mul_1163[256];
QV_API extern const int mul_9536[256];
QV_API extern const int mul_6660[256];

/* Per-pixel reference forms (10 fractional bits, rounded, clamped). */
QV_API void PixelRGB_2_YUV(int r, int g, int b, int& y, int& u, int& v);
QV_API void PixelYUV_2_RGB(int y, int u, int v, int& r, int& g, int& b);
QV_API void Yuv420_2_rgb24Simple(BITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits,
                                 unsigned char* pY, unsigned char* pU, unsigned char* pV,
                                 int nPt_Y, int nPt_U, int nPt_V);
QV_API void Rgb24_2_yuv420Simple(unsigned char* pY, unsigned char* pU, unsigned char* pV,
                                 int nPt_Y, int nPt_U, int nPt_V, BITMAPINFOHEADER* lpSrcBmi,
                                 unsigned char* lpSrcBits);

/* Planar 4:2:0 to RGB (fast table-driven form). A violated precondition logs
 * one line with the condition and writes nothing. */
QV_API void Yuv420_2_rgb24(BITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits,
                           unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                           int nPt_U, int nPt_V);
QV_API void Yuv420_2_rgb32(BITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits,
                           unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                           int nPt_U, int nPt_V);
QV_API void Yuv420_2_Argb(BITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits,
                          unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                          int nPt_U, int nPt_V);
QV_API void xTraceImage(BITMAPINFO* header, unsigned char* bits);

/* RGB to planar 4:2:0 (fast table-driven form). */
QV_API void Rgb32_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                           int nPt_U, int nPt_V, BITMAPINFOHEADER* lpSrcBmi,
                           unsigned char* lpSrcBits);
QV_API void Rgb24_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                           int nPt_U, int nPt_V, BITMAPINFOHEADER* lpSrcBmi,
                           unsigned char* lpSrcBits);
QV_API void Argb_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                          int nPt_U, int nPt_V, BITMAPINFOHEADER* lpSrcBmi,
                          unsigned char* lpSrcBits);
QV_API void Rgb32_2_yuv420A(unsigned char* pY, unsigned char* pU, unsigned char* pV,
                            unsigned char* pA, int nPt_Y, int nPt_U, int nPt_V,
                            BITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits);
QV_API void Rgb32_2_yuv420_Ex(unsigned char* pY, unsigned char* pU, unsigned char* pV,
                              int nPt_Y, int nPt_U, int nPt_V, unsigned char* lpSrcBits,
                              int nWidth, int nHeight, int nPitchSrc);

/* Packed 4:2:2 (bYUY2 != 0: Y0 U Y1 V; 0: U Y0 V Y1) and plane blits. */
QV_API void Rgb24_2_YUY2(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cxDst,
                         int cy, unsigned bYUY2, unsigned char* lpBitsSrc, int nHeightSrc,
                         int nPitchSrc, int xSrc, int ySrc);
QV_API void YUY2_2_Rgb24(unsigned char* lpBitsDst, int nHeightDst, int nPitchDst, int xDst,
                         int yDst, int cxDst, int cy, unsigned char* lpBitsSrc, int nPitchSrc,
                         unsigned bYUY2, int xSrc, int ySrc);
QV_API void YUY2_2_Yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y,
                          int nPt_U, int nPt_V, int xDst, int yDst, int cx, int cy,
                          unsigned char* lpBitsSrc, int nPitchSrc, unsigned bYUY2, int xSrc,
                          int ySrc);
QV_API void Yuv420_2_YUY2(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cx,
                          int cy, unsigned bYUY2, unsigned char* pY, unsigned char* pU,
                          unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V, int xSrc,
                          int ySrc);
QV_API void YUY2_Blt_fast(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cx,
                          int cy, unsigned bYUY2Dst, unsigned char* lpBitsSrc, int nPitchSrc,
                          unsigned bYUY2Src, int xSrc, int ySrc);
QV_API void YV12_Blt_fast(unsigned char* pYDst, unsigned char* pUDst, unsigned char* pVDst,
                          int nPtYDst, int nPtUDst, int nPtVDst, int xDst, int yDst, int cx,
                          int yEnd, unsigned char* pYSrc, unsigned char* pUSrc,
                          unsigned char* pVSrc, int nPtYSrc, int nPtUSrc, int nPtVSrc, int xSrc,
                          int ySrc);

#endif /* QUEVARRA_QV_COLOR_H */
