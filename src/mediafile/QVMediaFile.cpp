// The host's entry points for media files: an opaque handle around MediaFile.
#include <quevarra/qv_mediafile.h>
#include <quevarra/qv_support.h>

#include <new>

#include "mediafile/MediaFileUtil.h"

namespace {

struct CodeText {
    explicit CodeText(uint32_t code) { FourCC2StrW(text, code); }
    wchar_t text[5];
};

void LogCreation(const wchar_t* fileName, const EncodeParam* param, const xVideoInfo* videoInfo,
                 const xAudioInfo* audioInfo) {
    const std::string name = qvmedia::NarrowName(fileName);
    if (!param) {
        // Nothing to describe; say why creation could not even start.
        LogEx(L"QVMakeMediaFile: [%s] no parameters.\r\n", name.c_str());
    } else {
        const EncodeVideoParam& v = param->video;
        const EncodeAudioParam& a = param->audio;
        LogEx(L"QVMakeMediaFile: [%s]\r\n\t\tFlie(%ls), %hsVideo[%ls] (%dx%d) %ffps, %dbps %d "
              L"%dbps Resize:%d\t\t                  %hsAudio[%ls] %dHz %dchannels, %dbps %d "
              L"%dbps",
              name.c_str(), CodeText(param->dwFileFormat).text,
              param->bDisableVideo ? "Disable" : "", CodeText(v.dwFourCC).text, v.nWidth,
              v.nHeight, v.dFrameRate, v.nBitRate, v.nExtra, v.nExtraBitRate, v.nResizeMethod,
              param->bDisableAudio ? "Disable" : "", CodeText(a.dwFourCC).text, a.nSampleRate,
              a.nChannels, a.nBitRate, a.nExtra, a.nExtraBitRate);
    }
    if (videoInfo)
        LogEx(L"QVMakeMediaFile: Input Video Info: (%dx%d) %ffps, %f seconds, f[%d].",
              videoInfo->width, videoInfo->height, videoInfo->fps, videoInfo->duration,
              videoInfo->f);
    if (audioInfo)
        LogEx(L"QVMakeMediaFile: Input Audio Info: %dHz %dchannels, %dBytes ps %dbit %.04f "
              L"seconds, f[%d].",
              audioInfo->samplerate, audioInfo->channels, audioInfo->bytespersec,
              audioInfo->bitspersample, audioInfo->duration, audioInfo->f);
}

}  // namespace

extern "C" {

void* QVCreateMediaFile(const wchar_t* fileName, const EncodeParam* param,
                        const xVideoInfo* videoInfo, const xAudioInfo* audioInfo) {
    MediaFile* file = new (std::nothrow) MediaFile();
    try {
        if (file && !file->Create(fileName, param, videoInfo, audioInfo)) {
            delete file;
            file = nullptr;
        }
        LogCreation(fileName, param, videoInfo, audioInfo);
    } catch (...) {
        // Only the log's text buffers can throw (out of memory); no exception
        // may cross this C entry point, and a half-made file is no use.
        delete file;
        file = nullptr;
    }
    return file;
}

void QVCloseMediaFile(void* handle, QVPROGRESS_CALLBACK callback, void* user) {
    if (!handle) return;
    MediaFile* file = static_cast<MediaFile*>(handle);
    file->Close(callback, user);
    delete file;
}

unsigned QVWriteVideoFrame(void* handle, const MEDIA_FRAME* frame) {
    return handle ? static_cast<MediaFile*>(handle)->WriteVideoFrame(frame) : 0;
}

unsigned QVWriteAudioData(void* handle, const MEDIA_FRAME* block) {
    return handle ? static_cast<MediaFile*>(handle)->WriteAudioData(block) : 0;
}

}  // extern "C"
