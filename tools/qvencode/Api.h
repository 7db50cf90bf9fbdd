// The library's exported API as the tool uses it.
//
// The entry points are referenced weakly: a libquevarra.so built without one
// of them (a partial build) makes qvencode report which ones are missing
// instead of failing to start with a loader error.
#ifndef QVENCODE_API_H
#define QVENCODE_API_H

#include <quevarra/quevarra.h>

#include <string>

extern "C" {
QV_API unsigned QVInitPlugins(void) __attribute__((weak));
QV_API void QVUninitPlugins(void) __attribute__((weak));
QV_API FILEFORMAT_INFO* QVGetFileFormatInfos(void) __attribute__((weak));
QV_API int QVGetEncoderInfo(uint32_t dwFourCC, ENCODER_ITEM* pInfo) __attribute__((weak));
QV_API FILEFORMAT_INFO* QVFindFileFormatPlugin(uint32_t dwFourCC) __attribute__((weak));
QV_API void QVDefaultEncodeParam(EncodeParam* param) __attribute__((weak));
QV_API void* QVCreateMediaFile(const wchar_t* fileName, const EncodeParam* param,
                               const xVideoInfo* videoInfo, const xAudioInfo* audioInfo)
    __attribute__((weak));
QV_API void QVCloseMediaFile(void* handle, QVPROGRESS_CALLBACK callback, void* user)
    __attribute__((weak));
QV_API unsigned QVWriteVideoFrame(void* handle, const MEDIA_FRAME* frame) __attribute__((weak));
QV_API unsigned QVWriteAudioData(void* handle, const MEDIA_FRAME* block) __attribute__((weak));
}
QV_API void Rgb32_2_yuv420_Ex(unsigned char* pY, unsigned char* pU, unsigned char* pV,
                              int nPt_Y, int nPt_U, int nPt_V, unsigned char* lpSrcBits,
                              int nWidth, int nHeight, int nPitchSrc) __attribute__((weak));

namespace qvenc {

// Names of the entry points the running library lacks, space separated;
// empty when all are there.
std::string MissingEntryPoints();

}  // namespace qvenc

#endif
