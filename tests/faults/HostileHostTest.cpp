// A host that passes what it should not: null pointers, sizes and rates no
// picture or sound has, audio blocks that are not whole sample frames, time
// stamps at the int64 limits and going backwards. Each gets a clear log line
// and a null or 0 result, never a crash or a hang; the next file is fine.
#include <gtest/gtest.h>

#include <limits.h>
#include <math.h>
#include <stdlib.h>

#include <algorithm>
#include <limits>

#include <quevarra/qv_mediafile.h>
#include <quevarra/qv_support.h>

#include "common/TestSupport.h"
#include "faults/FaultBundle.h"

using namespace qvfault;

namespace {

typedef std::vector<std::wstring> Msgs;

// Messages that start with text.
size_t Count(const Msgs& log, const std::wstring& text) {
    return std::count_if(log.begin(), log.end(), [&](const std::wstring& m) { return m.rfind(text, 0) == 0; });
}

class HostileHost : public ::testing::Test {
protected:
    void SetUp() override {
        qvtest::InstallTestLog();
        m_bundle.Use();
        m_dir = qvtest::MakeTempDir("qvhostile");
        ASSERT_EQ(QVInitPlugins(), 1u);
        QVDefaultEncodeParam(&m_param);
        m_param.dwFileFormat = Code("FMOK"), m_param.video.dwFourCC = Code("FVOK");
        m_param.audio.dwFourCC = Code("FAOK"), m_param.video.dFrameRate = 25.0;
        qvtest::TakeLog();
    }
    void TearDown() override {
        EXPECT_EQ(m_bundle.Live(), 0);
        while (PluginMgr::m_InitRefCounter.Get() > 0) QVUninitPlugins();
        qvtest::TakeLog();
        unsetenv("QUEVARRA_BUNDLE");
        qvtest::RemoveTree(m_dir);
    }
    void* Create(const xVideoInfo* vi, const xAudioInfo* ai) {
        return QVCreateMediaFile(m_name.c_str(), &m_param, vi, ai);
    }
    void* Create() { return Create(&m_vi, &m_ai); }
    FaultBundle m_bundle;
    std::string m_dir;
    std::wstring m_name = L"hostile.bin";
    EncodeParam m_param;
    xVideoInfo m_vi = {320, 240, 25.0, 0.0, 0, 0, {0}, 0};
    xAudioInfo m_ai = {44100, 2, 16, 176400, 0.0, 0};
};

TEST_F(HostileHost, CreationRefusesWhatItCannotUse) {
    EXPECT_EQ(QVCreateMediaFile(nullptr, &m_param, &m_vi, &m_ai), nullptr);
    EXPECT_EQ(QVCreateMediaFile(m_name.c_str(), nullptr, &m_vi, &m_ai), nullptr);
    EXPECT_EQ(Count(qvtest::TakeLog(), L"QVMakeMediaFile: ["), 2u);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        xVideoInfo vi;
        xAudioInfo ai;
        std::wstring line;
    } cases[] = {
        {{-5, 240, 25.0, 0, 0, 0, {0}, 0}, m_ai, L"PFile::Create \"cannot fit a -5x240 picture into 320x240\"\r\n"},
        {{INT_MAX, INT_MIN, 25.0, 0, 0, 0, {0}, 0}, m_ai, L"PFile::Create \"cannot fit a 2147483647x-2147483648 picture into 320x240\"\r\n"},
        {{640, 480, 25.0, 0, INT_MIN, INT_MAX, {0}, 0}, m_ai, L""},  // an absurd aspect still fits a picture
        {{320, 240, nan, 0, 0, 0, {0}, 0}, m_ai, L"PFile::Create \"video frame rate nan is not usable\"\r\n"},
        {m_vi, {44100, 2, 8, 0, 0, 0}, L"PFile::Create \"m_EncParam.audio.nBitsPerSample != pAudInfo->bitspersample\"\r\n"},
        {m_vi, {44100, 0, 16, 0, 0, 0}, L"PFile::Create \"cannot convert 44100Hz 0ch audio to 44100Hz 2ch\"\r\n"},
        {m_vi, {44100, 1000, 16, 0, 0, 0}, L"PFile::Create \"cannot convert 44100Hz 1000ch audio to 44100Hz 2ch\"\r\n"},
        {m_vi, {-1, 2, 16, 0, 0, 0}, L"PFile::Create \"cannot convert -1Hz 2ch audio to 44100Hz 2ch\"\r\n"},
        {m_vi, {INT_MAX, 2, 16, 0, 0, 0}, L"PFile::Create \"cannot convert 2147483647Hz 2ch audio to 44100Hz 2ch\"\r\n"},
    };
    for (const auto& c : cases) {
        m_param.video.dFrameRate = isnan(c.vi.fps) ? 0.0 : 25.0;  // takes the input's rate
        void* h = Create(&c.vi, &c.ai);
        const Msgs log = qvtest::TakeLog();
        EXPECT_EQ(h == nullptr, !c.line.empty()) << qvtest::JoinLog(log);
        if (!c.line.empty()) {
            EXPECT_EQ(Count(log, c.line), 1u) << qvtest::JoinLog(log);
        }
        QVCloseMediaFile(h, nullptr, nullptr);
    }
}

TEST_F(HostileHost, VideoFramesAtTheLimitsAreRefusedOrDroppedNeverRepeatedForever) {
    void* h = Create();
    ASSERT_NE(h, nullptr);
    Picture pic(320, 240);
    EXPECT_EQ(QVWriteVideoFrame(h, nullptr), 0u);
    EXPECT_EQ(QVWriteVideoFrame(h, pic.At(0)), 1u);
    EXPECT_EQ(QVWriteVideoFrame(h, pic.At(INT64_MIN)) + QVWriteVideoFrame(h, pic.At(-400000)), 0u);  // backwards
    // Ten minutes ahead at most are filled by repeating the frame; further is refused.
    EXPECT_EQ(QVWriteVideoFrame(h, pic.At(INT64_MAX)) + QVWriteVideoFrame(h, pic.At(6000400000LL)), 0u);
    EXPECT_EQ(Count(qvtest::TakeLog(), L"QVWriteVideoFrame: frame at 9223372036854775807 refused ("), 1u);
    EXPECT_EQ(QVWriteVideoFrame(h, pic.At(400000)), 1u) << "the stream goes on";
    EXPECT_EQ(QVWriteVideoFrame(h, pic.At(599 * 10000000LL)), 599u * 25 - 1);
    Picture bad(320, 240);
    bad.f.nPitch[0] = INT_MIN, bad.f.nPitch[1] = 0;
    EXPECT_EQ(QVWriteVideoFrame(h, bad.At(600 * 10000000LL)), 0u);
    QVCloseMediaFile(h, nullptr, nullptr);
    QVCloseMediaFile(nullptr, nullptr, nullptr);
}

TEST_F(HostileHost, AudioBlocksThatAreNotWholeFramesOrAtTheLimits) {
    void* h = Create(nullptr, &m_ai);
    ASSERT_NE(h, nullptr);
    Sound snd;
    MEDIA_FRAME b = *snd.At(0);
    b.nDataSize = -4;
    EXPECT_EQ(QVWriteAudioData(h, &b) + QVWriteAudioData(h, nullptr), 0u);
    b.nDataSize = 3;  // under one sample frame: nothing to write
    EXPECT_EQ(QVWriteAudioData(h, &b), 0u);
    b.nDataSize = 7058;  // 1764 frames and two bytes: the frames are written, the rest dropped
    EXPECT_EQ(QVWriteAudioData(h, &b), 1u);
    EXPECT_EQ(QVWriteAudioData(h, snd.At(400000)), 1u) << "the next block is still in step";
    b.nDataSize = 7057;
    EXPECT_EQ(QVWriteAudioData(h, snd.At(800000)) + QVWriteAudioData(h, &b), 1u);
    const Msgs log = qvtest::TakeLog();
    EXPECT_EQ(Count(log, L"QVWriteAudioData: a block of 3 bytes is not whole 4-byte sample frames"), 1u)
        << "said once a file" << qvtest::JoinLog(log);
    b.pData = nullptr, b.nDataSize = 7056;
    EXPECT_EQ(QVWriteAudioData(h, &b), 0u);
    // Holes are filled up to ten minutes in one call; beyond, and at the limits, refused.
    EXPECT_EQ(QVWriteAudioData(h, snd.At(INT64_MAX)) + QVWriteAudioData(h, snd.At(INT64_MIN)), 0u);
    EXPECT_EQ(QVWriteAudioData(h, snd.At(6020000000LL)), 0u);
    EXPECT_EQ(Count(qvtest::TakeLog(), L"QVWriteAudioData: block at "), 3u);
    EXPECT_GT(QVWriteAudioData(h, snd.At(5900000000LL)), 1000u) << "nine minutes of filler";
    QVCloseMediaFile(h, nullptr, nullptr);
}

}  // namespace
