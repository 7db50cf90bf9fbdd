// The media file object: creation decisions (frame rate, audio conversion,
// picture fitting) and release of its per-file resources.
#include <quevarra/qv_mediafile.h>
#include <quevarra/qv_support.h>

#include <math.h>
#include <string.h>

#include <new>

#include "mediafile/MediaFileStats.h"
#include "mediafile/MediaFileUtil.h"

namespace {

constexpr int kAudioBufferBytes = 524288;
constexpr int kConverterCapacity = 262144;
constexpr int kMaxBlockAlign = 64;  // size of m_LastSample
// Rates the converter takes: beyond this one a block would convert into
// hundreds of megabytes.
constexpr int kMaxSampleRate = 768000;

}  // namespace

MediaFile::MediaFile()
    : m_pAudioConverter(nullptr),
      m_pAudioBuffer(nullptr),
      m_pResizeBuffer(nullptr),
      m_nOutFrames(0),
      m_llLastVideoTime(-1),
      m_llAudioBytes(0),
      m_pFillBuffer(nullptr),
      m_nBlockAlign(4),
      m_bFrameRefusalLogged(0),
      m_bPartialFrameLogged(0) {
    memset(&m_ResizeFrame, 0, sizeof m_ResizeFrame);
    memset(&m_ResampleFrame, 0, sizeof m_ResampleFrame);
    memset(&m_EncParam, 0, sizeof m_EncParam);
    memset(&m_VideoInfo, 0, sizeof m_VideoInfo);
    memset(&m_SrcY, 0, sizeof m_SrcY);
    memset(&m_DstY, 0, sizeof m_DstY);
    memset(&m_SrcUV, 0, sizeof m_SrcUV);
    memset(&m_DstUV, 0, sizeof m_DstUV);
    memset(m_LastSample, 0, sizeof m_LastSample);
    pthread_mutex_init(&m_VideoStatsMutex, nullptr);
    pthread_mutex_init(&m_AudioStatsMutex, nullptr);
    memset(&m_Stats, 0, sizeof m_Stats);
}

MediaFile::~MediaFile() {
    Close(nullptr, nullptr);
    pthread_mutex_destroy(&m_VideoStatsMutex);
    pthread_mutex_destroy(&m_AudioStatsMutex);
}

void MediaFile::Close(QVPROGRESS_CALLBACK callback, void* user) {
    m_PluginMgr.Close(callback, user);
    delete m_pAudioConverter;
    m_pAudioConverter = nullptr;
    delete[] m_pResizeBuffer;
    m_pResizeBuffer = nullptr;
    delete[] m_pAudioBuffer;
    m_pAudioBuffer = nullptr;
    delete[] m_pFillBuffer;
    m_pFillBuffer = nullptr;
    m_nOutFrames = 0;
    m_llAudioBytes = 0;
    m_llLastVideoTime = -1;
    qvmedia::ResetStats(*this);
}

namespace {

void Describe(IMG_PARAM& d, int width, int height, int pitch, const tagRECT& rc) {
    d.pBits = nullptr;
    d.width = width;
    d.height = height;
    d.pitch = pitch;
    d.bitCount = 8;
    d.x = rc.left;
    d.y = rc.top;
    d.cx = rc.right - rc.left;
    d.cy = rc.bottom - rc.top;
}

// Inside a w x h picture and at least min x min.
bool Usable(const tagRECT& rc, int w, int h, int min) {
    return rc.left >= 0 && rc.top >= 0 && rc.right <= w && rc.bottom <= h &&
           rc.right - rc.left >= min && rc.bottom - rc.top >= min;
}

// Widens [lo, hi) about its centre to at least `min` inside [0, limit): a very
// thin picture letterboxed into a wide one keeps a visible line instead of
// collapsing to nothing.
void Widen(int32_t& lo, int32_t& hi, int min, int limit) {
    if (hi - lo >= min || limit < min) return;
    lo = (lo + hi - min) / 2;
    if (lo < 0) lo = 0;
    if (lo > limit - min) lo = limit - min;
    hi = lo + min;
}

// Pictures above this size on a side are refused: the fitting arithmetic is
// exact up to it, and the resize buffer stays well inside addressable memory.
constexpr int kMaxSide = 32767;

}  // namespace

int MediaFile::Create(const wchar_t* fileName, const EncodeParam* param,
                      const xVideoInfo* videoInfo, const xAudioInfo* audioInfo) {
    if (!fileName || !param || param->dwFileFormat == 0) return 0;

    memcpy(&m_EncParam, param, sizeof m_EncParam);
    if (videoInfo) {
        memcpy(&m_VideoInfo, videoInfo, sizeof m_VideoInfo);
        double rate = m_EncParam.video.dFrameRate;
        if (!(rate >= 0.001) && !(rate <= -0.001)) m_EncParam.video.dFrameRate = m_VideoInfo.fps;
    }
    if (m_EncParam.video.dFrameRate > 200.0) m_EncParam.video.dFrameRate = 30.0;
    if (m_VideoInfo.fps > 200.0) m_VideoInfo.fps = 30.0;

    auto fail = [&](const wchar_t* message) {
        Log(message);
        Close(nullptr, nullptr);
        return 0;
    };

    if (!m_PluginMgr.Create(fileName, &m_EncParam)) {
        LogEx(L"PFile::Create Fail to m_PluginMgr.Create [%s]\r\n",
              qvmedia::NarrowName(fileName).c_str());
        Close(nullptr, nullptr);
        return 0;
    }

    // Frame-count pacing places a frame at its time times the rate: a rate that
    // is not a number, infinite, or above the 200 that host rates are held to
    // (an encoder's revision can write anything) would place frames nowhere or
    // repeat one without end.
    const double rate = m_EncParam.video.dFrameRate;
    if (m_EncParam.bDisableVideo == 0 && !(isfinite(rate) && rate <= 200.0)) {
        LogEx(L"PFile::Create \"video frame rate %f is not usable\"\r\n", rate);
        Close(nullptr, nullptr);
        return 0;
    }

    if (m_EncParam.bDisableAudio == 0 && audioInfo) {
        const EncodeAudioParam& out = m_EncParam.audio;
        if (out.nBitsPerSample != audioInfo->bitspersample)
            return fail(
                L"PFile::Create \"m_EncParam.audio.nBitsPerSample != pAudInfo->bitspersample\"\r\n");
        if (out.nBitsPerSample != 16)
            return fail(L"PFile::Create \"16 != pAudInfo->bitspersample\"\r\n");
        // m_LastSample holds one output sample frame: at most 32 channels of 16 bits.
        if (out.nChannels < 1 || out.nChannels > kMaxBlockAlign / 2) {
            LogEx(L"PFile::Create \"audio.nChannels %d outside 1..%d\"\r\n", out.nChannels,
                  kMaxBlockAlign / 2);
            Close(nullptr, nullptr);
            return 0;
        }
        if (audioInfo->channels != out.nChannels || audioInfo->samplerate != out.nSampleRate) {
            // The converter maps between one and two channels only and needs
            // real rates; anything else would come out as noise, so refuse it.
            bool channelsOk = (audioInfo->channels == 1 || audioInfo->channels == 2) &&
                              (out.nChannels == 1 || out.nChannels == 2);
            const bool ratesOk = audioInfo->samplerate > 0 && audioInfo->samplerate <= kMaxSampleRate &&
                                 out.nSampleRate > 0 && out.nSampleRate <= kMaxSampleRate;
            if (!channelsOk || !ratesOk) {
                LogEx(L"PFile::Create \"cannot convert %dHz %dch audio to %dHz %dch\"\r\n",
                      audioInfo->samplerate, audioInfo->channels, out.nSampleRate,
                      out.nChannels);
                Close(nullptr, nullptr);
                return 0;
            }
            m_pAudioConverter = new (std::nothrow)
                CAudioConverter(audioInfo->channels, out.nChannels, audioInfo->samplerate,
                                out.nSampleRate, kConverterCapacity);
            m_pAudioBuffer = new (std::nothrow) uint8_t[kAudioBufferBytes];
            if (!m_pAudioConverter || !m_pAudioBuffer || !m_pAudioConverter->m_pBuffer)
                return fail(L"PFile::Create \"out of memory for the audio converter\"\r\n");
        }
        m_nBlockAlign = out.nChannels * out.nBitsPerSample / 8;
    }

    if (m_EncParam.bDisableVideo != 0 || !videoInfo) return 1;

    const int inW = videoInfo->width, inH = videoInfo->height;
    const int outW = m_EncParam.video.nWidth, outH = m_EncParam.video.nHeight;
    const int method = m_EncParam.video.nResizeMethod;
    if (inW == outW && inH == outH && method == IMAGE_RESIZE_STRETCH) return 1;

    if (inW < 1 || inH < 1 || outW < 1 || outH < 1 || inW > kMaxSide || inH > kMaxSide ||
        outW > kMaxSide || outH > kMaxSide) {
        LogEx(L"PFile::Create \"cannot fit a %dx%d picture into %dx%d\"\r\n", inW, inH, outW,
              outH);
        Close(nullptr, nullptr);
        return 0;
    }

    tagRECT src = {0, 0, inW, inH};
    tagRECT dst = {0, 0, outW, outH};
    const int ax = m_VideoInfo.aspectx, ay = m_VideoInfo.aspecty;
    if (method == IMAGE_RESIZE_CROP) {
        int target = outH;
        if (ax != 0 && ay != 0) {
            double h = static_cast<double>(outH) * outW / outW * ax / ay * inH / inW + 0.5;
            target = qvmedia::TruncToInt32(h);
        }
        ResizeRect(src, tagSIZE{outW, target}, IMAGE_RESIZE_KEEP_ASPECT);
    } else {
        tagSIZE aspect = (ax != 0 && ay != 0) ? tagSIZE{ax, ay} : tagSIZE{inW, inH};
        ResizeRect(dst, aspect, static_cast<IMAGE_RESIZE_METHOD>(method));
    }
    // The resizers take any source of at least 1x1 and need a destination of
    // at least 2x2; extreme aspects can fit rectangles thinner than that.
    Widen(src.left, src.right, 1, inW);
    Widen(src.top, src.bottom, 1, inH);
    Widen(dst.left, dst.right, 2, outW);
    Widen(dst.top, dst.bottom, 2, outH);

    Describe(m_SrcY, inW, inH, inW, src);
    Describe(m_DstY, outW, outH, outW, dst);
    Describe(m_SrcUV, inW, inH, (inW + 1) / 2, src);
    Describe(m_DstUV, outW, outH, (outW + 1) / 2, dst);

    if (m_SrcY.x == m_DstY.x && m_SrcY.y == m_DstY.y && m_SrcY.cx == m_DstY.cx &&
        m_SrcY.cy == m_DstY.cy)
        return 1;

    // The plane resizers step by (destination size - 1): an output picture
    // thinner than two pixels cannot be resized into.
    if (!Usable(src, inW, inH, 1) || !Usable(dst, outW, outH, 2)) {
        LogEx(L"PFile::Create \"picture too small to resize: source (%d,%d,%d,%d) in %dx%d, "
              L"destination (%d,%d,%d,%d) in %dx%d\"\r\n",
              src.left, src.top, src.right, src.bottom, inW, inH, dst.left, dst.top, dst.right,
              dst.bottom, outW, outH);
        Close(nullptr, nullptr);
        return 0;
    }

    size_t chroma = static_cast<size_t>((outW + 1) / 2) * static_cast<size_t>((outH + 1) / 2);
    size_t bytes = static_cast<size_t>(outW) * static_cast<size_t>(outH) + 2 * chroma +
                   static_cast<size_t>(outW);
    m_pResizeBuffer = new (std::nothrow) uint8_t[bytes];
    if (!m_pResizeBuffer) return fail(L"PFile::Create \"out of memory for the resize buffer\"\r\n");
    const int interpolation = m_EncParam.video.nInterpolation;
    if (interpolation < IMAGE_INTERPOLATION_DEFAULT || interpolation > IMAGE_INTERPOLATION_BILINEAR)
        LogEx(L"PFile::Create interpolation %d has no plane resizer: resized pictures stay "
              L"black\r\n",
              interpolation);
    return 1;
}
