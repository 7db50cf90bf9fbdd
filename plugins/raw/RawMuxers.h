// The two raw muxers of plxraw: RIFF WAVE and YUV4MPEG2.
#ifndef QUEVARRA_PLUGINS_RAW_RAWMUXERS_H
#define QUEVARRA_PLUGINS_RAW_RAWMUXERS_H

#include <quevarra/qv_records.h>

namespace plxraw {

void* WavCreateFile(const wchar_t* path, EncodeParam* param);
uint32_t WavWriteAudio(void* hFile, const void* data, uint32_t word);
int WavCloseFile(void* hFile, QVPROGRESS_CALLBACK callback, void* user);

void* Y4mCreateFile(const wchar_t* path, EncodeParam* param);
uint32_t Y4mWriteVideo(void* hFile, const void* frame);
int Y4mCloseFile(void* hFile, QVPROGRESS_CALLBACK callback, void* user);

// Limits shared by the revise entries and the muxers.
constexpr int kMaxChannels = 32;          // the library's last-sample buffer holds 32
constexpr int kMaxSampleRate = 768000;
constexpr int kMaxPictureSide = 16384;

}  // namespace plxraw

#endif
