// The library's default output parameters.
#include <quevarra/qv_mediafile.h>

#include <string.h>

void QVDefaultEncodeParam(EncodeParam* param) {
    // Hosts call this on uninitialised records; a null one is simply ignored.
    if (!param) return;
    memset(param, 0, sizeof *param);
    param->video.dwFourCC = QV_FOURCC('X', 'V', 'I', 'D');
    param->video.dwColorFormat = QV_FOURCC('Y', 'V', '1', '2');
    param->video.nBitCount = 12;
    param->video.nWidth = 320;
    param->video.nHeight = 240;
    param->video.dFrameRate = 24.0;
    param->video.nBitRate = 512000;
    param->video.nResizeMethod = IMAGE_RESIZE_KEEP_ASPECT;
    param->audio.dwFourCC = QV_FOURCC('A', 'A', 'C', ' ');
    param->audio.nSampleRate = 44100;
    param->audio.nChannels = 2;
    param->audio.nBitsPerSample = 16;
    param->audio.nBitRate = 128000;
    param->dwFileFormat = QV_FOURCC('M', 'P', '4', ' ');
}
