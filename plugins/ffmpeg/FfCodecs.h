// plxffmpeg: the codec table, the encoders and the muxers.
#ifndef QUEVARRA_PLUGINS_FFMPEG_FFCODECS_H
#define QUEVARRA_PLUGINS_FFMPEG_FFCODECS_H

#include <quevarra/qv_records.h>

#include <string>

struct AVCodec;

namespace plxff {

struct CodecEntry {
    uint32_t fourcc;
    int type;                  // 1 = video, 0 = audio
    const char* candidates[3]; // FFmpeg encoder names, preferred first
    const wchar_t* text1;
    const wchar_t* text2;
    // Video: smallest and largest picture side. Audio: largest channel count.
    int minSide, maxSide, maxChannels;
    int minBitRate, maxBitRate; // per stream (audio: per channel when perChannel)
    bool perChannel;
};

// The table entry of a code, or null.
const CodecEntry* FindCodecEntry(uint32_t fourcc);
// The encoder that opened in the probe for this code, or null when none did.
// The first call probes every code (a trial open of each candidate).
const AVCodec* ProbedEncoder(uint32_t fourcc);

// FFmpeg's own text for an error code.
std::string ErrorText(int err);

// Encoder entries (FfEncoder.cpp).
void* EncCreate(uint32_t fourcc, EncodeParam* param);
int EncEncode(void* hEnc, const MEDIA_FRAME* in, void** ppOut, uint32_t* pOutWord);
void EncClose(void* hEnc);
void EncGetAudioExtra(void* hEnc, uintptr_t* w1, uintptr_t* w2);
void EncGetVideoExtra(void* hEnc, uintptr_t* w1, uintptr_t* w2, uintptr_t* w3, uintptr_t* w4);
int ReviseVideo(EncodeParam* param);
int ReviseAudio(EncodeAudioParam* audio);

// Muxer entries (FfMuxer.cpp).
void* MuxCreateFile(const wchar_t* path, EncodeParam* param);
uint32_t MuxWriteAudio(void* hFile, const void* data, uint32_t word);
uint32_t MuxWriteVideo(void* hFile, const void* data);
int MuxCloseFile(void* hFile, QVPROGRESS_CALLBACK callback, void* user);
void MuxSetAudioExtra(void* hFile, uintptr_t w1, uintptr_t w2);
void MuxSetVideoExtra(void* hFile, uintptr_t w1, uintptr_t w2, uintptr_t w3, uintptr_t w4);

// Containers whose muxers want codec headers out of band (all but AVI).
bool WantsGlobalHeader(uint32_t container);

}  // namespace plxff

#endif
