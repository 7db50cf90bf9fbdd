#include <gtest/gtest.h>

#include <quevarra/qv_mediafile.h>

#include "common/TestSupport.h"
#include "pipeline/RecordingPlugins.h"

using rec::TakeTexts;
using Texts = std::vector<std::string>;

namespace {

const wchar_t kCreateLine[] = L"QVPM::Create [out.mp4]\tFile[MP4 ] Video[XVID] Audio[AAC ].";

class PluginMgrTest : public ::testing::Test {
protected:
    void SetUp() override {
        Reset();
    }
    void TearDown() override {
        m_pm.Close(nullptr, nullptr);  // before the records it points to go away
        PluginMgr::m_arEncoder.clear();
        PluginMgr::m_arFileFormat.clear();
    }

    // Fresh parameters, behaviour and calls, with the given registries.
    void Reset(std::vector<ENCODER_ITEM> encoders = {rec::VideoEncoder(), rec::AudioEncoder()},
               FILEFORMAT_ITEM muxer = rec::Muxer()) {
        m_pm.Close(nullptr, nullptr);
        rec::Reset();
        rec::Name(&m_param, "param");
        rec::Name(&m_param.audio, "audio");
        rec::Name(&m_frame, "frame");
        rec::Name(&m_user, "user");
        qvtest::TakeLog();
        PluginMgr::m_arEncoder = encoders;
        PluginMgr::m_arFileFormat = {muxer};
        QVDefaultEncodeParam(&m_param);
        m_frame = MEDIA_FRAME{};
        m_frame.nDataSize = 4;
    }

    unsigned Create() { return m_pm.Create(L"out.mp4", &m_param); }

    void ExpectEmpty() {
        EXPECT_EQ(m_pm.m_hFile, nullptr);
        EXPECT_EQ(m_pm.m_hVideoEnc, nullptr);
        EXPECT_EQ(m_pm.m_hAudioEnc, nullptr);
        EXPECT_EQ(m_pm.m_pFileFormat, nullptr);
        EXPECT_EQ(m_pm.m_pVideoEnc, nullptr);
        EXPECT_EQ(m_pm.m_pAudioEnc, nullptr);
    }

    // A failing Create logs its request line and one message, undoes the
    // instances it made, and leaves the pipeline empty.
    void ExpectFailedCreate(const wchar_t* message, const Texts& calls) {
        EXPECT_EQ(Create(), 0u);
        EXPECT_EQ(qvtest::TakeLog(), (std::vector<std::wstring>{kCreateLine, message}));
        EXPECT_EQ(TakeTexts(), calls);
        ExpectEmpty();
    }

    PluginMgr m_pm;
    EncodeParam m_param;
    MEDIA_FRAME m_frame;
    int m_user = 0;
};

TEST_F(PluginMgrTest, CreateRevisesAndCreatesEncodersBeforeTheFile) {
    ASSERT_EQ(Create(), 1u);
    EXPECT_EQ(TakeTexts(), (Texts{"ReviseVideo param", "Create XVID param", "ReviseAudio audio",
                                  "Create AAC  param", "CreateFile out.mp4 param"}));
    EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{kCreateLine});
    // Revisions are made in the caller's record.
    EXPECT_EQ(m_param.video.nWidth, 352);
    EXPECT_EQ(m_param.audio.nSampleRate, 48000);
    EXPECT_EQ(m_pm.m_pFileFormat, &PluginMgr::m_arFileFormat[0]);
    EXPECT_EQ(m_pm.m_pVideoEnc, &PluginMgr::m_arEncoder[0]);
    EXPECT_EQ(m_pm.m_pAudioEnc, &PluginMgr::m_arEncoder[1]);
    EXPECT_NE(m_pm.m_hVideoEnc, nullptr);
    EXPECT_NE(m_pm.m_hAudioEnc, nullptr);
    EXPECT_EQ(m_pm.m_bTimestampMode, 0);
}

TEST_F(PluginMgrTest, CreateRefusesMissingArgumentsSilently) {
    EXPECT_EQ(m_pm.Create(nullptr, &m_param), 0u);
    EXPECT_EQ(m_pm.Create(L"out.mp4", nullptr), 0u);
    m_param.dwFileFormat = 0;
    EXPECT_EQ(Create(), 0u);
    EXPECT_TRUE(qvtest::TakeLog().empty());
    EXPECT_TRUE(TakeTexts().empty());

    Reset();
    m_param.dwFileFormat = QV_FOURCC('A', 'V', 'I', ' ');
    EncodeParam before = m_param;
    EXPECT_EQ(Create(), 0u);
    EXPECT_EQ(qvtest::TakeLog(),
              (std::vector<std::wstring>{
                  L"QVPM::Create [out.mp4]\tFile[AVI ] Video[XVID] Audio[AAC ].",
                  L"Without [AVI ] Format Plugin."}));
    EXPECT_TRUE(TakeTexts().empty());
    EXPECT_EQ(memcmp(&before, &m_param, sizeof before), 0);
}

TEST_F(PluginMgrTest, EachCreateFailureLogsAndDestroysWhatItMade) {
    Reset({rec::AudioEncoder()});
    ExpectFailedCreate(L"Without [XVID] video encoder.", {});

    Reset({rec::AudioEncoder(rec::kXvid), rec::AudioEncoder()});
    ExpectFailedCreate(L"The [XVID] encoder is not video type.", {});
    ENCODER_ITEM unusable = rec::VideoEncoder();
    unusable.nType = 2;
    Reset({unusable, rec::AudioEncoder()});
    ExpectFailedCreate(L"The [XVID] encoder is not video type.", {});

    Reset();
    rec::g_behaviour.videoReviseResult = 0;
    // The message shows the values as the refusing revise left them.
    ExpectFailedCreate(L"Can't revise the video param[352x240, 512000bps].",
                       {"ReviseVideo param"});

    const Texts videoMade = {"ReviseVideo param", "Create XVID param"};
    Reset({rec::VideoEncoder()});
    ExpectFailedCreate(L"Without [AAC ] Audio Encoder Plugin.",
                       {videoMade[0], videoMade[1], "Close V"});

    Reset({rec::VideoEncoder(), rec::VideoEncoder(rec::kAac)});
    ExpectFailedCreate(L"The [AAC ] encoder is not audio type.",
                       {videoMade[0], videoMade[1], "Close V"});

    Reset();
    rec::g_behaviour.audioReviseResult = 0;
    ExpectFailedCreate(L"Can't revise the audio param[48000Hz, 2Channels, 128000bps, 16bits].",
                       {videoMade[0], videoMade[1], "ReviseAudio audio", "Close V"});

    Reset();
    rec::g_behaviour.fileCreateFails = true;
    ExpectFailedCreate(L"Failed to create the file [out.mp4].",
                       {videoMade[0], videoMade[1], "ReviseAudio audio", "Create AAC  param",
                        "CreateFile out.mp4 param", "Close V", "Close A"});
}

TEST_F(PluginMgrTest, EncoderThatCannotBeCreatedOnlyDisablesItsStream) {
    rec::g_behaviour.videoCreateFails = true;
    ASSERT_EQ(Create(), 1u);
    EXPECT_EQ(qvtest::TakeLog(),
              (std::vector<std::wstring>{kCreateLine, L"Create video encoder failed."}));
    EXPECT_EQ(m_param.bDisableVideo, 1);
    EXPECT_NE(m_pm.m_pVideoEnc, nullptr);  // still chosen, so no timestamp mode
    EXPECT_EQ(m_pm.m_hVideoEnc, nullptr);
    EXPECT_EQ(m_pm.m_bTimestampMode, 0);
    TakeTexts();
    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame), 0u);
    EXPECT_TRUE(TakeTexts().empty());

    Reset();
    rec::g_behaviour.audioCreateFails = true;
    ASSERT_EQ(Create(), 1u);
    EXPECT_EQ(qvtest::TakeLog().back(), L"Create audio encoder failed.");
    EXPECT_EQ(m_param.bDisableAudio, 1);
    TakeTexts();
    EXPECT_EQ(m_pm.WriteAudioData(&m_frame), 0u);
    m_pm.Close(nullptr, nullptr);
    EXPECT_EQ(TakeTexts(), (Texts{"GetVideoExtra V", "SetVideoExtra F 21 22 23 24",
                                  "CloseFile F null null", "Close V"}));
}

TEST_F(PluginMgrTest, MuxerCodecListsDecideStreamsAndTimestampMode) {
    FILEFORMAT_ITEM audioOnly = rec::Muxer();
    audioOnly.pVideoModes = nullptr;
    Reset({rec::AudioEncoder()}, audioOnly);  // no video encoder needed
    ASSERT_EQ(Create(), 1u);
    EXPECT_EQ(qvtest::TakeLog().back(), L"Without video encoder in muxer[MP4 ]");
    EXPECT_EQ(m_param.bDisableVideo, 1);
    EXPECT_EQ(m_pm.m_pVideoEnc, nullptr);
    EXPECT_EQ(m_pm.m_bTimestampMode, 1);

    Reset();
    m_param.bDisableVideo = 1;
    m_param.video.dwFourCC = QV_FOURCC('N', 'O', 'N', 'E');
    ASSERT_EQ(Create(), 1u);
    EXPECT_EQ(m_pm.m_bTimestampMode, 1);

    FILEFORMAT_ITEM videoOnly = rec::Muxer();
    videoOnly.pAudioModes = nullptr;
    videoOnly.dwFlags = 2;
    Reset({rec::VideoEncoder()}, videoOnly);
    ASSERT_EQ(Create(), 1u);
    EXPECT_EQ(qvtest::TakeLog().back(), L"Without audio encoder in muxer [MP4 ]");
    EXPECT_EQ(m_param.bDisableAudio, 1);
    EXPECT_EQ(m_pm.m_bTimestampMode, 0);

    // A list that lacks the codec still allows the stream; bit 0 of the flags
    // selects timestamp mode.
    static ENCODER_MODE otherVideo[] = {{QV_FOURCC('H', '2', '6', '4'), 1}, {0, 0}};
    FILEFORMAT_ITEM flagged = rec::Muxer();
    flagged.pVideoModes = otherVideo;
    flagged.dwFlags = 3;
    Reset({rec::VideoEncoder(), rec::AudioEncoder()}, flagged);
    ASSERT_EQ(Create(), 1u);
    EXPECT_EQ(m_pm.m_bVideoInline, 0);
    EXPECT_NE(m_pm.m_hVideoEnc, nullptr);
    EXPECT_EQ(m_pm.m_bTimestampMode, 1);

    FILEFORMAT_ITEM neither = rec::Muxer();
    neither.pAudioModes = neither.pVideoModes = nullptr;
    Reset({}, neither);
    EXPECT_EQ(Create(), 1u);
}

TEST_F(PluginMgrTest, InlineCodecsGoToTheMuxerAsGiven) {
    static ENCODER_MODE audioModes[] = {{rec::kAac, 1}, {0, 0}};
    static ENCODER_MODE videoModes[] = {{rec::kXvid, 7}, {0, 0}};
    FILEFORMAT_ITEM muxer = rec::Muxer();
    muxer.pAudioModes = audioModes;
    muxer.pVideoModes = videoModes;
    Reset({rec::VideoEncoder(), rec::AudioEncoder()}, muxer);
    ASSERT_EQ(Create(), 1u);
    EXPECT_EQ(TakeTexts(),
              (Texts{"ReviseVideo param", "ReviseAudio audio", "CreateFile out.mp4 param"}));
    EXPECT_EQ(m_pm.m_hVideoEnc, nullptr);
    EXPECT_EQ(m_pm.m_hAudioEnc, nullptr);

    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame), 1000u);
    EXPECT_EQ(m_pm.WriteAudioData(&m_frame), 2000u);
    m_pm.Close(nullptr, nullptr);
    EXPECT_EQ(TakeTexts(),
              (Texts{"WriteVideo F frame", "WriteAudio F frame 0", "CloseFile F null null"}));
}

TEST_F(PluginMgrTest, WritesEncodeUnlockedThenHandTheMuxerTheOutput) {
    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame), 0u);  // nothing open yet
    EXPECT_EQ(m_pm.WriteAudioData(&m_frame), 0u);
    ASSERT_EQ(Create(), 1u);
    TakeTexts();

    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame), 1000u);
    EXPECT_EQ(m_pm.WriteAudioData(&m_frame), 2000u);
    EXPECT_EQ(TakeTexts(), (Texts{"Encode V frame slot word=null", "WriteVideo F vpkt",
                                  "Encode A frame slot word", "WriteAudio F apkt 77"}));

    rec::g_behaviour.encoderLeavesSlotNull = true;
    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame), 1000u);
    EXPECT_EQ(m_pm.WriteAudioData(&m_frame), 2000u);
    EXPECT_EQ(TakeTexts(), (Texts{"Encode V frame slot word=null", "WriteVideo F null",
                                  "Encode A frame slot word", "WriteAudio F null 77"}));

    m_frame.nDataSize = 0;
    EXPECT_EQ(m_pm.WriteAudioData(&m_frame), 0u);
    EXPECT_EQ(m_pm.WriteVideoFrame(nullptr), 0u);
    EXPECT_EQ(m_pm.WriteAudioData(nullptr), 0u);
    EXPECT_TRUE(TakeTexts().empty());
}

TEST_F(PluginMgrTest, CloseDeliversExtraWordsThenFinishesFileThenDestroysEncoders) {
    ASSERT_EQ(Create(), 1u);
    TakeTexts();
    EXPECT_EQ(m_pm.Close(rec::Progress, &m_user), 0u);
    EXPECT_EQ(TakeTexts(), (Texts{"GetAudioExtra A", "SetAudioExtra F 11 12", "GetVideoExtra V",
                                  "SetVideoExtra F 21 22 23 24", "CloseFile F cb user",
                                  "Close V", "Close A"}));
    ExpectEmpty();
    EXPECT_EQ(m_pm.Close(rec::Progress, &m_user), 0u);
    EXPECT_EQ(m_pm.WriteVideoFrame(&m_frame), 0u);
    EXPECT_TRUE(TakeTexts().empty());

    // Without the muxer's set entries the words are still asked for.
    FILEFORMAT_ITEM muxer = rec::Muxer();
    muxer.pfnSetAudioExtra = nullptr;
    muxer.pfnSetVideoExtra = nullptr;
    Reset({rec::VideoEncoder(), rec::AudioEncoder()}, muxer);
    {
        PluginMgr pm;
        ASSERT_EQ(pm.Create(L"out.mp4", &m_param), 1u);
        TakeTexts();
    }  // the destructor closes
    EXPECT_EQ(TakeTexts(), (Texts{"GetAudioExtra A", "GetVideoExtra V", "CloseFile F null null",
                                  "Close V", "Close A"}));
}

TEST_F(PluginMgrTest, CreateOnAnOpenPipelineFinishesTheOldFileFirst) {
    ASSERT_EQ(Create(), 1u);
    TakeTexts();
    ASSERT_EQ(Create(), 1u);
    Texts calls = TakeTexts();
    ASSERT_GE(calls.size(), 5u);
    EXPECT_EQ(Texts(calls.begin(), calls.begin() + 5),
              (Texts{"GetAudioExtra A", "SetAudioExtra F 11 12", "GetVideoExtra V",
                     "SetVideoExtra F 21 22 23 24", "CloseFile F null null"}));
    EXPECT_EQ(calls[5], "Close V");
    EXPECT_EQ(calls.back(), "CreateFile out.mp4 param");
}

}  // namespace
