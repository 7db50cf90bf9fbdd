// plxraw.dylib: uncompressed formats (WAV, Y4M) and the pass-through encoder
// records of their inline codecs.
#include "raw/RawMuxers.h"

#include "PlxContract.h"
#include "common/PlxCommon.h"

#include <limits.h>
#include <math.h>

namespace plxraw {

namespace {

const uint32_t kPCM = QV_FOURCC('P', 'C', 'M', ' ');
const uint32_t kI420 = QV_FOURCC('I', '4', '2', '0');

// A raw codec has nothing to compress: an instance is only a token, and the
// output is the input frame itself (see PlxContract.h).
int g_token;

void* RawCreate(uint32_t fourcc, EncodeParam* param) {
    return (param && (fourcc == kPCM || fourcc == kI420)) ? &g_token : nullptr;
}

int RawEncode(void* hEnc, const MEDIA_FRAME* in, void** ppOut, uint32_t* pOutWord) {
    if (ppOut) *ppOut = hEnc ? const_cast<MEDIA_FRAME*>(in) : nullptr;
    if (pOutWord) *pOutWord = 0;
    return in ? 1 : 0;
}

void RawClose(void*) {}

int RevisePCM(EncodeAudioParam* audio) {
    if (!audio) return 0;
    // Only 16-bit samples exist on this path; rates and channel counts beyond
    // these the library cannot produce either.
    if (audio->nBitsPerSample != 16 || audio->nChannels < 1 || audio->nChannels > kMaxChannels ||
        audio->nSampleRate < 1 || audio->nSampleRate > kMaxSampleRate)
        return 0;
    audio->nBitRate = audio->nSampleRate * audio->nChannels * 16;
    return 1;
}

int ReviseI420(EncodeParam* param) {
    if (!param) return 0;
    EncodeVideoParam& v = param->video;
    int num, den;
    if (v.nWidth < 1 || v.nHeight < 1 || v.nWidth > kMaxPictureSide || v.nHeight > kMaxPictureSide ||
        !plx::FrameRateRatio(v.dFrameRate, &num, &den))
        return 0;
    v.dwColorFormat = kI420;
    v.nBitCount = 12;
    double rate = static_cast<double>(v.nWidth) * v.nHeight * 12.0 * v.dFrameRate;
    v.nBitRate = rate >= INT_MAX ? INT_MAX : static_cast<int32_t>(rate);
    return 1;
}

ENCODER_MODE g_pcmModes[] = {{kPCM, 1}, {0, 0}};
ENCODER_MODE g_i420Modes[] = {{kI420, 1}, {0, 0}};

}  // namespace

}  // namespace plxraw

using namespace plxraw;

PLX_EXPORT ENCODER_ITEM* PLXGetEncoders() {
    static ENCODER_ITEM items[3];
    static bool filled = [] {
        plx::FillEncoder(&items[0], kPCM, 0, L"PCM", L"Uncompressed 16-bit PCM audio");
        plx::FillEncoder(&items[1], kI420, 1, L"I420", L"Uncompressed planar YUV 4:2:0 video");
        for (int i = 0; i < 2; ++i) {
            items[i].pfnCreate = RawCreate;
            items[i].pfnEncode = RawEncode;
            items[i].pfnClose = RawClose;
        }
        items[0].pfnReviseAudioParam = RevisePCM;
        items[1].pfnReviseVideoParam = ReviseI420;
        return true;
    }();
    (void)filled;
    return items;
}

PLX_EXPORT FILEFORMAT_ITEM* PLXGetFileMuxers() {
    static FILEFORMAT_ITEM items[3];
    static bool filled = [] {
        plx::FillMuxer(&items[0], QV_FOURCC('W', 'A', 'V', ' '), L"wav", L"WAV audio",
                       L"RIFF WAVE, uncompressed 16-bit PCM");
        items[0].pAudioModes = g_pcmModes;
        items[0].pfnCreateFile = WavCreateFile;
        items[0].pfnWriteAudio = WavWriteAudio;
        items[0].pfnCloseFile = WavCloseFile;
        plx::FillMuxer(&items[1], QV_FOURCC('Y', '4', 'M', ' '), L"y4m", L"YUV4MPEG2 video",
                       L"YUV4MPEG2, uncompressed planar YUV 4:2:0");
        items[1].pVideoModes = g_i420Modes;
        items[1].pfnCreateFile = Y4mCreateFile;
        items[1].pfnWriteVideo = Y4mWriteVideo;
        items[1].pfnCloseFile = Y4mCloseFile;
        return true;
    }();
    (void)filled;
    return items;
}
