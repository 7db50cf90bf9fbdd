// The media file through recording plugins: encoder and muxer records living
// in this executable, registered straight into the pipeline's registries.
// Encoders pass frames through; the muxer copies everything it receives.
#include <gtest/gtest.h>

#include <quevarra/qv_mediafile.h>

#include <cstring>
#include <vector>

#include "common/TestSupport.h"

namespace {

constexpr uint32_t kVideo = QV_FOURCC('T', 'V', 'I', 'D'), kAudio = QV_FOURCC('T', 'A', 'U', 'D');
constexpr uint32_t kMux = QV_FOURCC('T', 'M', 'U', 'X');        // frame-count pacing
constexpr uint32_t kStampMux = QV_FOURCC('T', 'S', 'T', 'P');   // time-stamp pacing
constexpr uint32_t kAudioOnly = QV_FOURCC('T', 'W', 'A', 'V');  // no video list

struct Written {
    MEDIA_FRAME frame;
    std::vector<uint8_t> data, u, v;  // audio bytes, or the Y, U, V planes row-packed
};
struct State {
    std::vector<Written> audio, video;
    std::vector<EncodeParam> created;  // what each encoder instance was created with
    int closes = 0;
    QVPROGRESS_CALLBACK callback = nullptr;
    void* user = nullptr;
    unsigned writeResult = 1;  // returned by every muxer write
    int reviseWidth = 0;       // non-zero: the video encoder revises the width
} g;
ENCODER_MODE g_videoModes[] = {{kVideo, 0}, {0, 0}}, g_audioModes[] = {{kAudio, 0}, {0, 0}};

void Rows(std::vector<uint8_t>& to, const uint8_t* p, int pitch, int w, int h) {
    for (int r = 0; r < h; ++r) to.insert(to.end(), p + r * pitch, p + r * pitch + w);
}
uint32_t MuxAudio(void*, const void* data, uint32_t) {
    auto f = static_cast<const MEDIA_FRAME*>(data);
    g.audio.push_back({*f, {}, {}, {}});
    Rows(g.audio.back().data, reinterpret_cast<const uint8_t*>(f->pData), 0, f->nDataSize, 1);
    return g.writeResult;
}
uint32_t MuxVideo(void*, const void* data) {
    auto f = static_cast<const MEDIA_FRAME*>(data);
    g.video.push_back({*f, {}, {}, {}});
    const int cw = (f->nWidth + 1) / 2, ch = (f->nHeight + 1) / 2;
    Rows(g.video.back().data, f->pPlane[0], f->nPitch[0], f->nWidth, f->nHeight);
    Rows(g.video.back().u, f->pPlane[1], f->nPitch[1], cw, ch);
    Rows(g.video.back().v, f->pPlane[2], f->nPitch[2], cw, ch);
    return g.writeResult;
}

ENCODER_ITEM Encoder(uint32_t code, int type) {
    ENCODER_ITEM e;
    std::memset(&e, 0, sizeof e);
    e.dwFourCC = code, e.nType = type;
    e.pfnCreate = [](uint32_t, EncodeParam* p) -> void* { return g.created.push_back(*p), &g; };
    e.pfnEncode = [](void*, const MEDIA_FRAME* in, void** out, uint32_t*) {
        *out = const_cast<MEDIA_FRAME*>(in);  // pass-through
        return 1;
    };
    e.pfnClose = [](void*) {};
    e.pfnReviseVideoParam = [](EncodeParam* p) {
        if (g.reviseWidth) p->video.nWidth = g.reviseWidth;
        return 1;
    };
    return e;
}
FILEFORMAT_ITEM Muxer(uint32_t code, bool video, uint32_t flags) {
    FILEFORMAT_ITEM m;
    std::memset(&m, 0, sizeof m);
    m.dwFourCC = code, m.dwFlags = flags;
    m.pAudioModes = g_audioModes;
    m.pVideoModes = video ? g_videoModes : nullptr;
    m.pfnCreateFile = [](const wchar_t*, EncodeParam*) -> void* { return &g; };
    m.pfnWriteAudio = MuxAudio;
    m.pfnWriteVideo = MuxVideo;
    m.pfnCloseFile = [](void*, QVPROGRESS_CALLBACK callback, void* user) {
        return ++g.closes, g.callback = callback, g.user = user, 1;
    };
    return m;
}

EncodeParam Params(uint32_t container = kMux, int outW = 320, int outH = 240, double rate = 25.0,
                   int method = 1) {
    EncodeParam p;
    QVDefaultEncodeParam(&p);
    p.video.dwFourCC = kVideo, p.audio.dwFourCC = kAudio, p.dwFileFormat = container;
    p.video.nWidth = outW, p.video.nHeight = outH, p.video.nResizeMethod = method;
    p.video.dFrameRate = rate;
    return p;
}
xVideoInfo VideoInfo(int w, int h, double fps, int ax = 0, int ay = 0) {
    xVideoInfo v;
    std::memset(&v, 0, sizeof v);
    v.width = w, v.height = h, v.fps = fps, v.aspectx = ax, v.aspecty = ay;
    return v;
}
xAudioInfo AudioInfo(int rate, int channels, int bits = 16) {
    xAudioInfo a;
    std::memset(&a, 0, sizeof a);
    a.samplerate = rate, a.channels = channels, a.bitspersample = bits;
    a.bytespersec = rate * channels * bits / 8;
    return a;
}
MEDIA_FRAME Block(std::vector<int16_t>& samples, int64_t streamTime, int64_t timeStamp = -5) {
    MEDIA_FRAME f;
    std::memset(&f, 0, sizeof f);
    f.pData = samples.data(), f.nDataSize = static_cast<int32_t>(samples.size() * 2);
    f.llStreamTime = streamTime, f.llTimeStamp = timeStamp, f.nDuration = 1234;
    return f;
}

class MediaFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        g = State();
        CAudioConverter::s_dSpare = 0.0;
        PluginMgr::m_arEncoder = {Encoder(kVideo, 1), Encoder(kAudio, 0)};
        PluginMgr::m_arFileFormat = {Muxer(kMux, true, 0), Muxer(kStampMux, true, 1),
                                     Muxer(kAudioOnly, false, 0), Muxer(QV_FOURCC_COPY, true, 0)};
        qvtest::TakeLog();
    }
    void TearDown() override {
        PluginMgr::m_arEncoder.clear();
        PluginMgr::m_arFileFormat.clear();
    }
    MediaFile mf;
};
using Create = MediaFileTest;
using AudioPath = MediaFileTest;
using VideoPath = MediaFileTest;

std::vector<std::wstring> Tagged(const wchar_t* tag) {
    std::vector<std::wstring> out;
    for (const auto& m : qvtest::TakeLog())
        if (m.rfind(tag, 0) == 0) out.push_back(m);
    return out;
}

// Rows [from, to) of a row-packed plane whose every byte equals value.
bool Rows(const std::vector<uint8_t>& plane, int w, int from, int to, uint8_t value) {
    for (size_t i = size_t(from) * w; i < size_t(to) * w; ++i)
        if (plane[i] != value) return false;
    return true;
}

struct Picture {
    Picture(int w, int h, uint8_t y, uint8_t u, uint8_t v)
        : W(w), Y(size_t(w) * h, y), U(size_t((w + 1) / 2) * ((h + 1) / 2), u), V(U.size(), v) {
        std::memset(&f, 0, sizeof f);
        f.pPlane[0] = Y.data(), f.pPlane[1] = U.data(), f.pPlane[2] = V.data();
        f.nWidth = w, f.nHeight = h, f.nPitch[0] = w, f.nPitch[1] = f.nPitch[2] = (w + 1) / 2;
    }
    const MEDIA_FRAME* At(int64_t streamTime, int64_t timeStamp = 0) {
        f.llStreamTime = streamTime, f.llTimeStamp = timeStamp;
        return &f;
    }
    int W;
    std::vector<uint8_t> Y, U, V;
    MEDIA_FRAME f;
};

}  // namespace

TEST_F(Create, PluginsSeeTheCorrectedCopyNeverTheHostsRecord) {
    const double cases[][4] = {{0.0, 1, 25.0, 25.0}, {0.0, 1, 240.0, 30.0}, {0.0, 0, 0, 0.0},
                               {250.0, 1, 25.0, 30.0}, {-0.002, 1, 25.0, -0.002}};
    for (const auto& c : cases) {
        g.created.clear();
        EncodeParam p = Params(kMux, 320, 240, c[0]), host = p;
        xVideoInfo vi = VideoInfo(320, 240, c[2]);
        MediaFile file;
        ASSERT_EQ(file.Create(L"out", &p, c[1] ? &vi : nullptr, nullptr), 1);
        const double seen = g.created.at(0).video.dFrameRate;  // packed: read by value
        EXPECT_EQ(seen, c[3]) << c[0] << " " << c[2];
        EXPECT_EQ(std::memcmp(&p, &host, sizeof p), 0);
    }
}

TEST_F(Create, AudioChecksAndConverterChoice) {
    const struct { int outBits, inBits, outCh, inCh, inRate; const wchar_t* message; } cases[] = {
        {16, 8, 2, 2, 44100,
         L"PFile::Create \"m_EncParam.audio.nBitsPerSample != pAudInfo->bitspersample\"\r\n"},
        {8, 8, 2, 2, 44100, L"PFile::Create \"16 != pAudInfo->bitspersample\"\r\n"},
        {16, 16, 40, 40, 44100, nullptr},  // 80-byte sample frames
        {16, 16, 2, 6, 44100, nullptr},    // no mapping from six channels
        {16, 16, 32, 32, 44100, L""},      // widest frame: accepted, no converter
        {16, 16, 2, 1, 22050, L""},        // converter (1, 2, 22050, 44100)
    };
    for (const auto& c : cases) {
        EncodeParam p = Params();
        p.audio.nBitsPerSample = c.outBits;
        p.audio.nChannels = c.outCh;
        xAudioInfo ai = AudioInfo(c.inRate, c.inCh, c.inBits);
        MediaFile file;
        const bool ok = c.message && !*c.message;
        const int closes = g.closes;
        EXPECT_EQ(file.Create(L"out", &p, nullptr, &ai), ok ? 1 : 0) << c.outCh << " " << c.inCh;
        EXPECT_EQ(g.closes - closes, ok ? 0 : 1);  // a refused file is finished by the muxer
        auto failures = Tagged(L"PFile::Create");
        ASSERT_EQ(failures.size(), ok ? 0u : 1u);
        if (c.message && !ok) {
            EXPECT_EQ(failures[0], c.message);
        }
        EXPECT_EQ(file.m_nBlockAlign, ok ? c.outCh * 2 : 4);
        EXPECT_EQ(file.m_pAudioConverter != nullptr, ok && c.inRate != 44100);
    }
}

// Letterbox and crop rectangles show in the resized frames (VideoPath below).
TEST_F(Create, ResizeBufferOnlyWhenRectanglesDifferAndUsable) {
    const struct { int inW, inH, method; bool ok, buffer; } cases[] = {
        {320, 240, 0, true, false}, {320, 240, 1, true, false}, {640, 480, 1, true, true},
        {4000, 2, 1, false, false}};  // a fitted sliver under two rows cannot be resized
    for (const auto& c : cases) {
        EncodeParam p = Params(kMux, 320, 240, 25.0, c.method);
        xVideoInfo vi = VideoInfo(c.inW, c.inH, 25);
        MediaFile file;
        EXPECT_EQ(file.Create(L"out", &p, &vi, nullptr), c.ok ? 1 : 0) << c.inW;
        EXPECT_EQ(file.m_pResizeBuffer != nullptr, c.buffer) << c.inW;
        EXPECT_EQ(Tagged(L"PFile::Create").size(), c.ok ? 0u : 1u);
    }
}

TEST_F(Create, LogShowsTheHostsValuesAlsoOnFailure) {
    g.reviseWidth = 640;  // a revision does not show
    EncodeParam p = Params(kMux, 320, 240, 24.0);
    p.bDisableAudio = 1;
    xVideoInfo vi = VideoInfo(320, 240, 25.0);
    vi.duration = 2.5, vi.f = 7;
    xAudioInfo ai = AudioInfo(22050, 1);
    ai.duration = 1.25, ai.f = 3;
    void* h = QVCreateMediaFile(L"d\u00e9mo.mp4", &p, &vi, &ai);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(Tagged(L"QVMakeMediaFile:"),
              (std::vector<std::wstring>{
                  L"QVMakeMediaFile: [d\u00e9mo.mp4]\r\n\t\tFlie(TMUX), Video[TVID] (320x240) "
                  L"24.000000fps, 512000bps 0 0bps Resize:1\t\t                  "
                  L"DisableAudio[TAUD] 44100Hz 2channels, 128000bps 0 0bps",
                  L"QVMakeMediaFile: Input Video Info: (320x240) 25.000000fps, 2.500000 seconds, "
                  L"f[7].",
                  L"QVMakeMediaFile: Input Audio Info: 22050Hz 1channels, 44100Bytes ps 16bit "
                  L"1.2500 seconds, f[3]."}));
    int user = 0;
    auto cb = [](void*, unsigned, unsigned, unsigned) -> unsigned { return 1; };
    QVCloseMediaFile(h, cb, &user);
    EXPECT_EQ(g.closes, 1);
    EXPECT_EQ(g.callback, static_cast<QVPROGRESS_CALLBACK>(cb));
    EXPECT_EQ(g.user, &user);

    p.dwFileFormat = QV_FOURCC('N', 'O', 'N', 'E');
    EXPECT_EQ(QVCreateMediaFile(L"x.mp4", &p, nullptr, nullptr), nullptr);
    auto log = qvtest::TakeLog();
    ASSERT_GE(log.size(), 2u);
    EXPECT_EQ(log[log.size() - 2], L"PFile::Create Fail to m_PluginMgr.Create [x.mp4]\r\n");
    EXPECT_EQ(log.back().rfind(L"QVMakeMediaFile: [x.mp4]\r\n\t\tFlie(NONE)", 0), 0u);
    EXPECT_EQ(QVCreateMediaFile(L"x.mp4", nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(qvtest::TakeLog(),
              std::vector<std::wstring>{L"QVMakeMediaFile: [x.mp4] no parameters.\r\n"});
    QVCloseMediaFile(nullptr, cb, &user);
    EXPECT_EQ(QVWriteAudioData(nullptr, nullptr) + QVWriteVideoFrame(nullptr, nullptr), 0u);
}

// 44100 Hz stereo output after exactly one second (176400 bytes) ending in (7, -7).
TEST_F(AudioPath, HolesAreFilledAndOverlapsCut) {
    EncodeParam p = Params();
    xAudioInfo ai = AudioInfo(44100, 2);
    ASSERT_EQ(mf.Create(L"out", &p, nullptr, &ai), 1);
    std::vector<int16_t> second(88200, 1), step(100, 3), late(100, 3), small(20000), big(44100);
    second[88198] = step[98] = 7, second[88199] = step[99] = -7;
    MEDIA_FRAME b = Block(second, 0);
    ASSERT_EQ(mf.WriteAudioData(&b), 1u);
    b = Block(step, 10000000);  // in step: handed on as it is
    EXPECT_EQ(mf.WriteAudioData(&b), 1u);
    EXPECT_EQ(g.audio.back().frame.pData, step.data());
    mf.m_llAudioBytes -= 200;  // back to one second for the examples below

    g.audio.clear();
    b = Block(late, 15000000);
    EXPECT_EQ(mf.WriteAudioData(&b), 23u);  // 22 filler blocks, then the block
    ASSERT_EQ(g.audio.size(), 23u);
    int64_t time = 10000000;
    for (size_t i = 0; i < 22; ++i) {
        const Written& w = g.audio[i];
        EXPECT_EQ(std::vector<int64_t>({w.frame.nDataSize, w.frame.nDuration, w.frame.llStreamTime,
                                        w.frame.llTimeStamp}),
                  std::vector<int64_t>({i < 21 ? 4096 : 2184, i < 21 ? 232200 : 123810, time, time}))
            << i;
        time += w.frame.nDuration;
        for (size_t k = 0; k < w.data.size(); k += 4)
            ASSERT_EQ(std::memcmp(&w.data[k], &second[88198], 4), 0) << k;
    }
    EXPECT_EQ(g.audio[22].frame.pData, late.data());
    EXPECT_EQ(mf.m_llAudioBytes, 176400 + 88200 + 200);

    mf.m_llAudioBytes = 176400;
    g.audio.clear();
    b = Block(small, 7500000);  // 40000 bytes under an overlap of 44096: dropped
    EXPECT_EQ(mf.WriteAudioData(&b), 0u);
    EXPECT_TRUE(g.audio.empty());
    b = Block(big, 7500000, 7500000);
    EXPECT_EQ(mf.WriteAudioData(&b), 1u);
    const MEDIA_FRAME& cut = g.audio.at(0).frame;
    EXPECT_EQ(cut.nDataSize, 44104);
    EXPECT_EQ((uint8_t*)cut.pData - (uint8_t*)big.data(), 44096);
    EXPECT_EQ(std::vector<int64_t>({cut.llStreamTime, cut.llTimeStamp}),
              std::vector<int64_t>(2, 7500000 + 2499773));

    b = Block(step, INT64_MAX);  // centuries away: refused, not filled
    EXPECT_EQ(mf.WriteAudioData(&b), 0u);
    EXPECT_EQ(Tagged(L"QVWriteAudioData").size(), 1u);
}

TEST_F(AudioPath, FirstBlockLateIsPrecededBySilenceButNotInTimestampMode) {
    for (uint32_t container : {kMux, kStampMux}) {
        g.audio.clear();
        EncodeParam p = Params(container);
        MediaFile file;
        ASSERT_EQ(file.Create(L"out", &p, nullptr, nullptr), 1);
        std::vector<int16_t> block(100, 3);
        MEDIA_FRAME b = Block(block, 5000000);
        file.WriteAudioData(&b);
        size_t zeros = 0;
        for (size_t i = 0; i + 1 < g.audio.size(); ++i)
            for (uint8_t byte : g.audio[i].data) zeros += byte == 0;
        EXPECT_EQ(zeros, container == kMux ? 88200u : 0u);
        EXPECT_EQ(g.audio.back().frame.nDataSize, 200);
    }
}

TEST_F(AudioPath, ConvertedBlocksCarryTheOutputFormatAndLoseNothing) {
    EncodeParam p = Params();
    xAudioInfo ai = AudioInfo(22050, 1);
    ASSERT_EQ(mf.Create(L"out", &p, nullptr, &ai), 1);
    std::vector<int16_t> mono(100000, 100);  // 400000 output samples: more than one buffer
    MEDIA_FRAME b = Block(mono, 0);
    b.nSampleRate = 22050, b.nChannels = 1;
    mf.WriteAudioData(&b);
    ASSERT_GT(g.audio.size(), 1u);
    int64_t total = 0;
    for (const Written& w : g.audio) {
        EXPECT_EQ(std::vector<int>({w.frame.nSampleRate, w.frame.nChannels, w.frame.nBitsPerSample,
                                    w.frame.nDuration}),
                  std::vector<int>({44100, 2, 16, 1234}));
        EXPECT_EQ(w.frame.llStreamTime, total / 4 * 10000000 / 44100);  // each piece at its time
        total += w.frame.nDataSize;
    }
    EXPECT_EQ(total, 800000);
    EXPECT_EQ(b.nSampleRate, 22050);
    int16_t last[2];
    std::memcpy(last, mf.m_LastSample, 4);
    EXPECT_EQ(last[1], 100);
}

TEST_F(AudioPath, AudioOnlyFileEndToEnd) {
    EncodeParam p = Params(kAudioOnly);
    xAudioInfo ai = AudioInfo(44100, 2);
    void* h = QVCreateMediaFile(L"song.wav", &p, nullptr, &ai);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(g.created.at(0).bDisableVideo, 1);
    std::vector<int16_t> block(8820, 11);
    for (int i = 0; i < 10; ++i) {
        MEDIA_FRAME b = Block(block, i * 1000000LL, i * 1000000LL);
        EXPECT_EQ(QVWriteAudioData(h, &b), 1u);
    }
    QVCloseMediaFile(h, nullptr, nullptr);
    EXPECT_EQ(g.audio.size(), 10u);
    EXPECT_EQ(g.closes, 1);
}

TEST_F(VideoPath, FrameCountModeRepeatsAndDrops) {
    g.writeResult = 3;
    EncodeParam p = Params(kMux, 320, 240, 25.0, 0);
    xVideoInfo vi = VideoInfo(320, 240, 12.5);
    ASSERT_EQ(mf.Create(L"out", &p, &vi, nullptr), 1);
    Picture pic(320, 240, 50, 60, 70);
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(0)), 3u);
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(800000)), 6u);
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(1600000, 9)), 6u);
    EXPECT_EQ(mf.m_nOutFrames, 5);
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(1600000)), 0u);  // index already filled
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(INT64_MIN)), 0u);
    EXPECT_EQ(mf.m_llLastVideoTime, 9);
    EXPECT_EQ(g.video.back().frame.pPlane[0], pic.Y.data());  // unresized: the host's planes

    MediaFile late;
    ASSERT_EQ(late.Create(L"out", &p, &vi, nullptr), 1);
    EXPECT_EQ(late.WriteVideoFrame(pic.At(10000000)), 26u * 3);  // indices 0 to 25
}

TEST_F(VideoPath, TimestampModeThinsFramesThatComeTooFast) {
    const struct { double out, in; std::vector<int> written; } cases[] = {
        {25.0, 50.0, {0, 2}}, {25.0, 25.0005, {0, 2}}, {30.0, 25.0, {0, 1, 2, 3}},
        {0.0, 0.0, {0, 1, 2, 3}}};  // a zero rate has no frame time: nothing thinned
    Picture pic(320, 240, 1, 2, 3);
    for (const auto& c : cases) {
        EncodeParam p = Params(kStampMux, 320, 240, c.out, 0);
        xVideoInfo vi = VideoInfo(320, 240, c.in);
        MediaFile file;
        ASSERT_EQ(file.Create(L"out", &p, &vi, nullptr), 1);
        std::vector<int> written;
        for (int i = 0; i < 4; ++i)
            if (file.WriteVideoFrame(pic.At(0, i * 200000))) written.push_back(i);
        EXPECT_EQ(written, c.written) << c.out << " vs " << c.in;
    }
}

TEST_F(VideoPath, ResizedFramesHaveBlackBordersAndPlanarLayout) {
    const struct { int outW, outH, method; } cases[] = {{720, 576, 1}, {640, 480, 5}};
    for (const auto& c : cases) {
        g.video.clear();
        EncodeParam p = Params(kMux, c.outW, c.outH, 25.0, c.method);
        xVideoInfo vi = VideoInfo(720, 576, 25.0, 16, 9);
        MediaFile file;
        ASSERT_EQ(file.Create(L"out", &p, &vi, nullptr), 1);
        Picture pic(720, 576, 200, 60, 180);
        for (int r = 0; r < 576; ++r)  // columns that cropping cuts away
            for (int col : {0, 89, 630, 719}) pic.Y[size_t(r) * 720 + col] = 255;
        file.WriteVideoFrame(pic.At(0, 44));
        const Written& w = g.video.at(0);
        const int cw = c.outW / 2;
        EXPECT_EQ(std::vector<int>({w.frame.nWidth, w.frame.nPitch[0], w.frame.nPitch[1],
                                    w.frame.nPitch[2], int(w.frame.llTimeStamp)}),
                  std::vector<int>({c.outW, c.outW, cw, cw, 44}));
        EXPECT_EQ(w.frame.pPlane[2], w.frame.pPlane[0] + c.outW * c.outH);  // V, then U
        EXPECT_EQ(w.frame.pPlane[1], w.frame.pPlane[2] + cw * c.outH / 2);
        if (c.method == 1) {  // letterbox: rows 85..490 carry the picture
            EXPECT_TRUE(Rows(w.data, 720, 0, 85, 16) && Rows(w.data, 720, 491, 576, 16));
            EXPECT_TRUE(Rows(w.u, 360, 0, 42, 128) && Rows(w.v, 360, 246, 288, 128));
            EXPECT_TRUE(Rows(w.u, 360, 43, 245, 60) && Rows(w.v, 360, 43, 245, 180));
        } else {  // crop: the whole output shows the centre of the source
            EXPECT_TRUE(Rows(w.data, 640, 0, 480, 200));
            EXPECT_TRUE(Rows(w.u, 320, 0, 240, 60) && Rows(w.v, 320, 0, 240, 180));
        }
    }
}

TEST_F(VideoPath, CopyContainerPassesFramesUntouchedAndUntimed) {
    EncodeParam p = Params(QV_FOURCC_COPY, 320, 240);
    xVideoInfo vi = VideoInfo(640, 480, 25.0);
    ASSERT_EQ(mf.Create(L"out", &p, &vi, nullptr), 1);
    Picture pic(640, 480, 10, 20, 30);
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(0, 5)) + mf.WriteVideoFrame(pic.At(0, 5)), 2u);
    ASSERT_EQ(g.video.size(), 2u);
    EXPECT_EQ(g.video[1].frame.pPlane[0], pic.Y.data());
    EXPECT_EQ(mf.m_nOutFrames, 2);
}
