// The encoding pipeline: one output file written by a muxer plugin, fed by up
// to one video and one audio encoder instance.
#include <quevarra/qv_plugin.h>
#include <quevarra/qv_support.h>

namespace {

// Four-character text of a code, kept in a small buffer for one log call.
struct CodeText {
    explicit CodeText(uint32_t code) { FourCC2StrW(text, code); }
    wchar_t text[5];
};

}  // namespace

PluginMgr::PluginMgr()
    : m_hFile(nullptr),
      m_hVideoEnc(nullptr),
      m_hAudioEnc(nullptr),
      m_pFileFormat(nullptr),
      m_pVideoEnc(nullptr),
      m_pAudioEnc(nullptr),
      m_bAudioInline(0),
      m_bVideoInline(0),
      m_bTimestampMode(0) {
    pthread_mutex_init(&m_mutex, nullptr);
}

PluginMgr::~PluginMgr() {
    Close(nullptr, nullptr);
    pthread_mutex_destroy(&m_mutex);
}

unsigned PluginMgr::Create(const wchar_t* path, EncodeParam* param) {
    if (!path || !param || param->dwFileFormat == 0) return 0;

    // A pipeline that is still open is finished first, so that its file is
    // complete and its encoder instances are not leaked by the new attempt.
    if (m_hFile || m_hVideoEnc || m_hAudioEnc) Close(nullptr, nullptr);

    LogEx(L"QVPM::Create [%ls]\tFile[%ls] Video[%ls] Audio[%ls].", path,
          CodeText(param->dwFileFormat).text, CodeText(param->video.dwFourCC).text,
          CodeText(param->audio.dwFourCC).text);

    FILEFORMAT_ITEM* pFileFormat = FindFileFormat(m_arFileFormat, param->dwFileFormat);
    if (!pFileFormat) {
        LogEx(L"Without [%ls] Format Plugin.", CodeText(param->dwFileFormat).text);
        return 0;
    }
    if (!pFileFormat->pAudioModes) {
        LogEx(L"Without audio encoder in muxer [%ls]", CodeText(pFileFormat->dwFourCC).text);
        param->bDisableAudio = 1;
    }
    if (!pFileFormat->pVideoModes) {
        LogEx(L"Without video encoder in muxer[%ls]", CodeText(pFileFormat->dwFourCC).text);
        param->bDisableVideo = 1;
    }
    m_bAudioInline = 0;
    m_bVideoInline = 0;

    ENCODER_ITEM* pVideoEnc = nullptr;
    ENCODER_ITEM* pAudioEnc = nullptr;
    void* hVideoEnc = nullptr;
    void* hAudioEnc = nullptr;

    // Destroys what this call created and leaves the pipeline empty.
    auto fail = [&]() -> unsigned {
        if (hVideoEnc && pVideoEnc->pfnClose) pVideoEnc->pfnClose(hVideoEnc);
        if (hAudioEnc && pAudioEnc->pfnClose) pAudioEnc->pfnClose(hAudioEnc);
        Close(nullptr, nullptr);
        return 0;
    };

    if (param->bDisableVideo == 0) {
        pVideoEnc = FindEncoderInfo(m_arEncoder, param->video.dwFourCC);
        if (!pVideoEnc) {
            LogEx(L"Without [%ls] video encoder.", CodeText(param->video.dwFourCC).text);
            return fail();
        }
        if (pVideoEnc->nType != 1) {
            LogEx(L"The [%ls] encoder is not video type.", CodeText(pVideoEnc->dwFourCC).text);
            return fail();
        }
        if (pVideoEnc->pfnReviseVideoParam && !pVideoEnc->pfnReviseVideoParam(param)) {
            LogEx(L"Can't revise the video param[%dx%d, %dbps].", param->video.nWidth,
                  param->video.nHeight, param->video.nBitRate);
            return fail();
        }
        m_bVideoInline = IsInlineEnc(pFileFormat->pVideoModes, param->video.dwFourCC);
        if (!m_bVideoInline) {
            // A record without a create entry cannot make an instance; it is
            // treated like a creation that returned null.
            if (pVideoEnc->pfnCreate)
                hVideoEnc = pVideoEnc->pfnCreate(param->video.dwFourCC, param);
            if (!hVideoEnc) {
                param->bDisableVideo = 1;
                Log(L"Create video encoder failed.");
            }
        }
    }

    if (param->bDisableAudio == 0) {
        pAudioEnc = FindEncoderInfo(m_arEncoder, param->audio.dwFourCC);
        if (!pAudioEnc) {
            LogEx(L"Without [%ls] Audio Encoder Plugin.", CodeText(param->audio.dwFourCC).text);
            return fail();
        }
        if (pAudioEnc->nType != 0) {
            LogEx(L"The [%ls] encoder is not audio type.", CodeText(pAudioEnc->dwFourCC).text);
            return fail();
        }
        if (pAudioEnc->pfnReviseAudioParam && !pAudioEnc->pfnReviseAudioParam(&param->audio)) {
            LogEx(L"Can't revise the audio param[%dHz, %dChannels, %dbps, %dbits].",
                  param->audio.nSampleRate, param->audio.nChannels, param->audio.nBitRate,
                  param->audio.nBitsPerSample);
            return fail();
        }
        m_bAudioInline = IsInlineEnc(pFileFormat->pAudioModes, param->audio.dwFourCC);
        if (!m_bAudioInline) {
            if (pAudioEnc->pfnCreate)
                hAudioEnc = pAudioEnc->pfnCreate(param->audio.dwFourCC, param);
            if (!hAudioEnc) {
                param->bDisableAudio = 1;
                Log(L"Create audio encoder failed.");
            }
        }
    }

    void* hFile = pFileFormat->pfnCreateFile ? pFileFormat->pfnCreateFile(path, param) : nullptr;
    if (!hFile) {
        LogEx(L"Failed to create the file [%ls].", path);
        return fail();
    }

    m_hFile = hFile;
    m_hVideoEnc = hVideoEnc;
    m_hAudioEnc = hAudioEnc;
    m_pFileFormat = pFileFormat;
    m_pVideoEnc = pVideoEnc;
    m_pAudioEnc = pAudioEnc;
    m_bTimestampMode = (pFileFormat->dwFlags & 1) ? 1 : 0;
    if (pAudioEnc && !pVideoEnc) m_bTimestampMode = 1;
    return 1;
}

unsigned PluginMgr::WriteVideoFrame(const MEDIA_FRAME* frame) {
    if (!frame || !m_hFile || !m_pFileFormat->pfnWriteVideo) return 0;
    if (m_bVideoInline) {
        CSingleLock lock(&m_mutex);
        return m_pFileFormat->pfnWriteVideo(m_hFile, frame);
    }
    if (!m_hVideoEnc || !m_pVideoEnc->pfnEncode) return 0;

    // The encoder runs unlocked so that audio can be encoded at the same time;
    // only the muxer needs one write at a time.
    void* pOut = nullptr;
    m_pVideoEnc->pfnEncode(m_hVideoEnc, frame, &pOut, nullptr);
    CSingleLock lock(&m_mutex);
    return m_pFileFormat->pfnWriteVideo(m_hFile, pOut);
}

unsigned PluginMgr::WriteAudioData(const MEDIA_FRAME* frame) {
    if (!frame || frame->nDataSize == 0 || !m_hFile || !m_pFileFormat->pfnWriteAudio) return 0;
    if (m_bAudioInline) {
        CSingleLock lock(&m_mutex);
        return m_pFileFormat->pfnWriteAudio(m_hFile, frame, 0);
    }
    if (!m_hAudioEnc || !m_pAudioEnc->pfnEncode) return 0;

    void* pOut = nullptr;
    uint32_t word = 0;
    m_pAudioEnc->pfnEncode(m_hAudioEnc, frame, &pOut, &word);
    CSingleLock lock(&m_mutex);
    return m_pFileFormat->pfnWriteAudio(m_hFile, pOut, word);
}

unsigned PluginMgr::Close(QVPROGRESS_CALLBACK callback, void* user) {
    if (m_hFile) {
        // The encoders' final words (stream headers and the like) must reach
        // the muxer before it finishes the file: audio first, then video.
        if (m_hAudioEnc && m_pAudioEnc->pfnGetAudioExtra) {
            uintptr_t words[2] = {0, 0};
            m_pAudioEnc->pfnGetAudioExtra(m_hAudioEnc, &words[0], &words[1]);
            if (m_pFileFormat->pfnSetAudioExtra)
                m_pFileFormat->pfnSetAudioExtra(m_hFile, words[0], words[1]);
        }
        if (m_hVideoEnc && m_pVideoEnc->pfnGetVideoExtra) {
            uintptr_t words[4] = {0, 0, 0, 0};
            m_pVideoEnc->pfnGetVideoExtra(m_hVideoEnc, &words[0], &words[1], &words[2],
                                          &words[3]);
            if (m_pFileFormat->pfnSetVideoExtra)
                m_pFileFormat->pfnSetVideoExtra(m_hFile, words[0], words[1], words[2], words[3]);
        }
        if (m_pFileFormat->pfnCloseFile) m_pFileFormat->pfnCloseFile(m_hFile, callback, user);
    }
    if (m_hVideoEnc && m_pVideoEnc->pfnClose) m_pVideoEnc->pfnClose(m_hVideoEnc);
    if (m_hAudioEnc && m_pAudioEnc->pfnClose) m_pAudioEnc->pfnClose(m_hAudioEnc);

    // The inline flags and the pacing mode stay for whoever inspects them
    // until the next Create.
    m_hFile = nullptr;
    m_hVideoEnc = nullptr;
    m_hAudioEnc = nullptr;
    m_pFileFormat = nullptr;
    m_pVideoEnc = nullptr;
    m_pAudioEnc = nullptr;
    return 0;
}
