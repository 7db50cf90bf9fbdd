#include <cstring>

#include "RecordingPlugins.h"
#include "common/TestSupport.h"

using namespace rec;

namespace {

class Create : public PluginTest {};

std::vector<std::wstring> Tagged(const std::vector<std::wstring>& log, const wchar_t* tag) {
    std::vector<std::wstring> out;
    for (const auto& m : log)
        if (m.rfind(tag, 0) == 0) out.push_back(m);
    return out;
}

}  // namespace

TEST_F(Create, FrameRateIsCorrectedBeforeThePluginsSeeIt) {
    struct Case { double encoder; bool withInfo; double input; double seen; };
    const Case cases[] = {{0.0, true, 25.0, 25.0}, {0.0, true, 240.0, 30.0},
                          {0.0, false, 0.0, 0.0},  {250.0, true, 25.0, 30.0},
                          {0.0005, true, 12.5, 12.5}, {-0.002, true, 25.0, -0.002}};
    for (const Case& c : cases) {
        S().created.clear();
        EncodeParam p = Params();
        p.video.dFrameRate = c.encoder;
        EncodeParam host = p;
        xVideoInfo vi = VideoInfo(320, 240, c.input);
        MediaFile mf;
        ASSERT_EQ(mf.Create(L"out", &p, c.withInfo ? &vi : nullptr, nullptr), 1);
        ASSERT_FALSE(S().created.empty());
        const double seen = S().created[0].video.dFrameRate;  // packed: copy before binding
        EXPECT_EQ(seen, c.seen) << c.encoder << " " << c.input;
        EXPECT_EQ(std::memcmp(&p, &host, sizeof p), 0);  // the host's record is untouched
    }
}

TEST_F(Create, RevisedParametersDriveTheDecisions) {
    S().reviseWidth = 640;
    S().reviseHeight = 480;
    S().reviseSampleRate = 48000;
    EncodeParam p = Params();
    xVideoInfo vi = VideoInfo(640, 480, 25.0);
    xAudioInfo ai = AudioInfo(44100, 2);
    MediaFile mf;
    ASSERT_EQ(mf.Create(L"out", &p, &vi, &ai), 1);
    EXPECT_EQ(S().fileParam.video.nWidth, 640);
    EXPECT_EQ(S().fileParam.audio.nSampleRate, 48000);
    EXPECT_EQ(mf.m_pResizeBuffer, nullptr);  // revised size equals the input
    ASSERT_NE(mf.m_pAudioConverter, nullptr);
    EXPECT_EQ(mf.m_pAudioConverter->m_nOutRate, 48000);
    EXPECT_NE(mf.m_pAudioBuffer, nullptr);
}

TEST_F(Create, AudioFormatChecks) {
    struct Case { int outBits, inBits, outChannels, inChannels; bool ok; const wchar_t* message; };
    const Case cases[] = {
        {16, 8, 2, 2, false,
         L"PFile::Create \"m_EncParam.audio.nBitsPerSample != pAudInfo->bitspersample\"\r\n"},
        {8, 8, 2, 2, false, L"PFile::Create \"16 != pAudInfo->bitspersample\"\r\n"},
        {16, 16, 40, 40, false, nullptr},  // 80-byte sample frames
        {16, 16, 2, 6, false, nullptr},    // no 6-channel mapping
        {16, 16, 2, 2, true, nullptr},
        {16, 16, 32, 32, true, nullptr},
    };
    for (const Case& c : cases) {
        EncodeParam p = Params();
        p.audio.nBitsPerSample = c.outBits;
        p.audio.nChannels = c.outChannels;
        xAudioInfo ai = AudioInfo(44100, c.inChannels, c.inBits);
        qvtest::TakeLog();
        void* h = QVCreateMediaFile(L"out", &p, nullptr, &ai);
        EXPECT_EQ(h != nullptr, c.ok) << c.outChannels << " " << c.inChannels;
        auto log = qvtest::TakeLog();
        auto failures = Tagged(log, L"PFile::Create");
        EXPECT_EQ(failures.size(), c.ok ? 0u : 1u) << qvtest::JoinLog(log).c_str();
        if (c.message && !failures.empty()) {
            EXPECT_EQ(failures[0], c.message);
        }
        if (!c.ok) {
            EXPECT_EQ(S().closes, 1);  // the muxer's file is finished
        }
        QVCloseMediaFile(h, nullptr, nullptr);
        S().closes = 0;
    }
}

TEST_F(Create, ConverterOnlyWhenRateOrChannelsDiffer) {
    EncodeParam p = Params();
    xAudioInfo same = AudioInfo(44100, 2);
    MediaFile a;
    ASSERT_EQ(a.Create(L"out", &p, nullptr, &same), 1);
    EXPECT_EQ(a.m_pAudioConverter, nullptr);
    EXPECT_EQ(a.m_nBlockAlign, 4);

    xAudioInfo mono = AudioInfo(22050, 1);
    MediaFile b;
    ASSERT_EQ(b.Create(L"out", &p, nullptr, &mono), 1);
    ASSERT_NE(b.m_pAudioConverter, nullptr);
    const CAudioConverter& c = *b.m_pAudioConverter;
    EXPECT_EQ(std::vector<int>({c.m_nInChannels, c.m_nOutChannels, c.m_nInRate, c.m_nOutRate,
                                c.m_nCapacity}),
              std::vector<int>({1, 2, 22050, 44100, 262144}));
}

TEST_F(Create, PictureFitting) {
    struct Case {
        xVideoInfo in; int outW, outH, method; bool buffer;
        tagRECT src, dst;
    };
    const Case cases[] = {
        {VideoInfo(320, 240, 25), 320, 240, 0, false, {0, 0, 0, 0}, {0, 0, 0, 0}},
        {VideoInfo(320, 240, 25), 320, 240, 1, false, {0, 0, 320, 240}, {0, 0, 320, 240}},
        {VideoInfo(720, 576, 25, 16, 9), 720, 576, 1, true, {0, 0, 720, 576}, {0, 85, 720, 491}},
        {VideoInfo(720, 576, 25, 16, 9), 640, 480, 5, true, {90, 0, 630, 576}, {0, 0, 640, 480}},
        {VideoInfo(640, 480, 25), 320, 240, 1, true, {0, 0, 640, 480}, {0, 0, 320, 240}},
    };
    for (const Case& c : cases) {
        EncodeParam p = Params();
        p.video.nWidth = c.outW;
        p.video.nHeight = c.outH;
        p.video.nResizeMethod = c.method;
        MediaFile mf;
        ASSERT_EQ(mf.Create(L"out", &p, &c.in, nullptr), 1);
        EXPECT_EQ(mf.m_pResizeBuffer != nullptr, c.buffer) << c.in.width << " " << c.method;
        if (c.src.right == 0) continue;  // nothing fitted
        const IMG_PARAM* d[] = {&mf.m_SrcY, &mf.m_DstY, &mf.m_SrcUV, &mf.m_DstUV};
        const tagRECT* r[] = {&c.src, &c.dst, &c.src, &c.dst};
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(std::vector<int>({d[i]->x, d[i]->y, d[i]->cx, d[i]->cy, d[i]->bitCount}),
                      std::vector<int>({r[i]->left, r[i]->top, r[i]->right - r[i]->left,
                                        r[i]->bottom - r[i]->top, 8}))
                << "descriptor " << i << " of " << c.in.width << " method " << c.method;
        }
        EXPECT_EQ(mf.m_DstUV.pitch, (c.outW + 1) / 2);
        EXPECT_EQ(mf.m_SrcUV.width, c.in.width);
    }
}

TEST_F(Create, PicturesTooSmallToResizeAreRefused) {
    EncodeParam p = Params();
    p.video.nWidth = 1;
    p.video.nHeight = 1;
    xVideoInfo vi = VideoInfo(320, 240, 25);
    EXPECT_EQ(QVCreateMediaFile(L"out", &p, &vi, nullptr), nullptr);
    EXPECT_EQ(Tagged(qvtest::TakeLog(), L"PFile::Create").size(), 1u);
    p.video.nWidth = 320;
    p.video.nHeight = 240;
    xVideoInfo wide = VideoInfo(4000, 1, 25);  // letterboxed to less than one row
    EXPECT_EQ(QVCreateMediaFile(L"out", &p, &wide, nullptr), nullptr);
    EXPECT_EQ(Tagged(qvtest::TakeLog(), L"PFile::Create").size(), 1u);
}

TEST_F(Create, CreationLogShowsTheHostsValues) {
    S().reviseWidth = 640;  // a revision does not show in the log
    EncodeParam p = Params();
    p.bDisableAudio = 1;
    xVideoInfo vi = VideoInfo(320, 240, 25.0);
    vi.duration = 2.5;
    vi.f = 7;
    xAudioInfo ai = AudioInfo(22050, 1);
    ai.duration = 1.25;
    ai.f = 3;
    void* h = QVCreateMediaFile(L"d\u00e9mo.mp4", &p, &vi, &ai);
    ASSERT_NE(h, nullptr);
    auto log = Tagged(qvtest::TakeLog(), L"QVMakeMediaFile:");
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[0],
              L"QVMakeMediaFile: [d\u00e9mo.mp4]\r\n\t\tFlie(TMUX), Video[TVID] (320x240) "
              L"24.000000fps, 512000bps 0 0bps Resize:1\t\t                  DisableAudio[TAUD] "
              L"44100Hz 2channels, 128000bps 0 0bps");
    EXPECT_EQ(log[1], L"QVMakeMediaFile: Input Video Info: (320x240) 25.000000fps, 2.500000 "
                      L"seconds, f[7].");
    EXPECT_EQ(log[2], L"QVMakeMediaFile: Input Audio Info: 22050Hz 1channels, 44100Bytes ps "
                      L"16bit 1.2500 seconds, f[3].");
    QVCloseMediaFile(h, nullptr, nullptr);
}

TEST_F(Create, FailuresAreLoggedToo) {
    EncodeParam p = Params(QV_FOURCC('N', 'O', 'N', 'E'));
    EXPECT_EQ(QVCreateMediaFile(L"x.mp4", &p, nullptr, nullptr), nullptr);
    auto log = qvtest::TakeLog();
    EXPECT_EQ(Tagged(log, L"PFile::Create"),
              std::vector<std::wstring>{L"PFile::Create Fail to m_PluginMgr.Create [x.mp4]\r\n"});
    EXPECT_EQ(Tagged(log, L"QVMakeMediaFile:").size(), 1u);

    EXPECT_EQ(QVCreateMediaFile(L"x.mp4", nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(qvtest::TakeLog(),
              std::vector<std::wstring>{L"QVMakeMediaFile: [x.mp4] no parameters.\r\n"});
}

TEST_F(Create, CloseHandsTheCallbackToTheMuxerOnce) {
    EncodeParam p = Params();
    void* h = QVCreateMediaFile(L"out", &p, nullptr, nullptr);
    ASSERT_NE(h, nullptr);
    int user = 0;
    auto cb = [](void*, unsigned, unsigned, unsigned) -> unsigned { return 1; };
    QVCloseMediaFile(h, cb, &user);
    EXPECT_EQ(S().closes, 1);
    EXPECT_EQ(S().callback, static_cast<QVPROGRESS_CALLBACK>(cb));
    EXPECT_EQ(S().user, &user);
    QVCloseMediaFile(nullptr, cb, &user);
    EXPECT_EQ(QVWriteAudioData(nullptr, nullptr), 0u);
    EXPECT_EQ(QVWriteVideoFrame(nullptr, nullptr), 0u);
}
