// The media file through in-process plugins: pass-through encoders, a recording muxer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "mediafile/MediaFileFixture.h"

using namespace mftest;

namespace {

using Create = MediaFileTest;
using AudioPath = MediaFileTest;
using VideoPath = MediaFileTest;
std::vector<std::wstring> Tagged(const wchar_t* tag) {  // the log's messages starting with tag
    std::vector<std::wstring> out;
    for (const auto& m : qvtest::TakeLog()) m.rfind(tag, 0) ? void() : out.push_back(m);
    return out;
}
// Rows [from, to) of a plane (w wide, packed) all equal to value.
bool Rows(const uint8_t* plane, int w, int from, int to, uint8_t value) {
    return std::all_of(plane + from * w, plane + to * w, [&](uint8_t b) { return b == value; });
}

}  // namespace

TEST_F(Create, AudioChecksAndConverterChoice) {
    const struct { int outBits, inBits, outCh, inCh, inRate; const wchar_t* message; } cases[] = {
        {16, 8, 2, 2, 44100,
         L"PFile::Create \"m_EncParam.audio.nBitsPerSample != pAudInfo->bitspersample\"\r\n"},
        {8, 8, 2, 2, 44100, L"PFile::Create \"16 != pAudInfo->bitspersample\"\r\n"},
        {16, 16, 40, 40, 44100, nullptr},  // 80-byte sample frames
        {16, 16, 2, 6, 44100, nullptr},    // no mapping from six channels
        {16, 16, 32, 32, 44100, L""},      // widest frame: accepted, no converter
        {16, 16, 2, 1, 22050, L""}};       // converter (1, 2, 22050, 44100)
    for (const auto& c : cases) {
        EncodeParam p = Params();
        p.audio.nBitsPerSample = c.outBits, p.audio.nChannels = c.outCh;
        xAudioInfo ai = AudioInfo(c.inRate, c.inCh, c.inBits);
        MediaFile file;
        const bool ok = c.message && !*c.message;
        const int closes = g.closes;  // a refused file is finished by the muxer
        EXPECT_EQ(file.Create(L"out", &p, nullptr, &ai), ok ? 1 : 0) << c.outCh << " " << c.inCh;
        auto failures = Tagged(L"PFile::Create");
        EXPECT_EQ(Ints({g.closes - closes, int64_t(failures.size()), file.m_nBlockAlign,
                        file.m_pAudioConverter != nullptr}),
                  Ints({!ok, !ok, ok ? c.outCh * 2 : 4, ok && c.inRate != 44100}));
        if (c.message && !ok) {
            EXPECT_EQ(failures.at(0), c.message);
        }
    }
}

TEST_F(Create, LogShowsTheHostsValuesAlsoOnFailure) {
    g.reviseWidth = 320;  // a revision does not show
    EncodeParam p = Params(kMux, 320, 240, 24.0);
    p.bDisableAudio = 1, p.video.nWidth = 320;
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
    QVCloseMediaFile(h, cb, &user), QVCloseMediaFile(nullptr, cb, &user);
    EXPECT_EQ(Ints({g.closes, g.callback == cb, g.user == &user}), Ints({1, 1, 1}));

    p.dwFileFormat = QV_FOURCC('N', 'O', 'N', 'E');
    EXPECT_EQ(QVCreateMediaFile(L"x.mp4", &p, nullptr, nullptr), nullptr);
    auto log = qvtest::TakeLog();  // the pipeline's own message comes first
    ASSERT_GE(log.size(), 2u);
    EXPECT_EQ(log[log.size() - 2], L"PFile::Create Fail to m_PluginMgr.Create [x.mp4]\r\n");
    EXPECT_EQ(log.back().rfind(L"QVMakeMediaFile: [x.mp4]\r\n\t\tFlie(NONE)", 0), 0u);
    EXPECT_EQ(QVCreateMediaFile(L"x.mp4", nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(qvtest::TakeLog(), std::vector<std::wstring>{L"QVMakeMediaFile: [x.mp4] no parameters.\r\n"});
    EXPECT_EQ(QVWriteAudioData(nullptr, nullptr) + QVWriteVideoFrame(nullptr, nullptr), 0u);
}

// 44100 Hz stereo output: a first block at 0.5 s follows half a second of
// silence; then, as if after exactly one second (176400 bytes) ending in
// (7, -7), holes repeat that frame and overlaps are cut.
TEST_F(AudioPath, HolesAreFilledAndOverlapsCut) {
    EncodeParam p = Params(), stamps = Params(kStampMux);
    xAudioInfo ai = AudioInfo(44100, 2);
    ASSERT_EQ(mf.Create(L"out", &p, nullptr, &ai), 1);
    std::vector<int16_t> step(100, 3), small(20000), big(44100);
    step[98] = 7, step[99] = -7;
    for (int64_t start : {5000000, 15000000}) {
        g.audio.clear();
        MEDIA_FRAME b = Block(step, start);
        ASSERT_TRUE(mf.WriteAudioData(&b) == 23 && g.audio.size() == 23);  // 22 fillers, the block
        int64_t time = start - 5000000;
        for (size_t i = 0; i < 22; ++i) {
            const MEDIA_FRAME& f = g.audio[i].frame;
            EXPECT_EQ(Ints({f.nDataSize, f.nDuration, f.llStreamTime, f.llTimeStamp}),
                      Ints({i < 21 ? 4096 : 2184, i < 21 ? 232200 : 123810, time, time})) << i;
            time += f.nDuration;
            for (size_t k = 0; k < g.audio[i].data.size(); k += 4)  // silence, then the last frame
                ASSERT_EQ(std::memcmp(&g.audio[i].data[k], start == 5000000 ? &small[0] : &step[98], 4), 0);
        }
        EXPECT_TRUE(g.audio[22].frame.pData == step.data() && mf.m_llAudioBytes == start / 50 * 8820 / 10000 + 200);
        mf.m_llAudioBytes = 176400;
    }
    MEDIA_FRAME b = Block(step, 10000000);  // in step: handed on as it is
    g.audio.clear();
    EXPECT_TRUE(mf.WriteAudioData(&b) == 1 && g.audio.at(0).frame.pData == step.data());
    mf.m_llAudioBytes = 176400, g.audio.clear();
    b = Block(small, 7500000);  // 40000 bytes under an overlap of 44096: dropped
    EXPECT_TRUE(mf.WriteAudioData(&b) == 0 && g.audio.empty());
    b = Block(big, 7500000, 7500000);
    ASSERT_EQ(mf.WriteAudioData(&b), 1u);
    const MEDIA_FRAME& cut = g.audio.at(0).frame;
    EXPECT_EQ(Ints({cut.nDataSize, (uint8_t*)cut.pData - (uint8_t*)big.data(), cut.llStreamTime,
                    cut.llTimeStamp}),
              Ints({44104, 44096, 7500000 + 2499773, 7500000 + 2499773}));
    b = Block(step, INT64_MAX);  // centuries away: refused, not filled
    EXPECT_TRUE(mf.WriteAudioData(&b) == 0 && Tagged(L"QVWriteAudioData").size() == 1);

    MediaFile file;  // time-stamp mode: written whole, nothing filled
    ASSERT_EQ(file.Create(L"out", &stamps, nullptr, &ai), 1);
    b = Block(step, 15000000), g.audio.clear();
    EXPECT_TRUE(file.WriteAudioData(&b) == 1 && g.audio.size() == 1);
}

TEST_F(AudioPath, ConvertedBlocksCarryTheOutputFormatAndLoseNothing) {
    EncodeParam p = Params();
    xAudioInfo ai = AudioInfo(22050, 1);
    ASSERT_EQ(mf.Create(L"out", &p, nullptr, &ai), 1);
    std::vector<int16_t> mono(100000, 100);  // 400000 output samples: more than one buffer
    MEDIA_FRAME b = Block(mono, 0);
    b.nSampleRate = 22050, b.nChannels = 1, mf.WriteAudioData(&b);
    ASSERT_GT(g.audio.size(), 1u);
    int64_t total = 0;
    for (const Written& w : g.audio) {
        const MEDIA_FRAME& f = w.frame;  // each piece at its own time
        EXPECT_EQ(Ints({f.nSampleRate, f.nChannels, f.nBitsPerSample, f.nDuration, f.llStreamTime}),
                  Ints({44100, 2, 16, 1234, total / 4 * 10000000 / 44100}));
        total += f.nDataSize;
    }
    EXPECT_EQ(Ints({total, b.nSampleRate, reinterpret_cast<int16_t*>(mf.m_LastSample)[1]}),
              Ints({800000, 22050, 100}));
}

TEST_F(VideoPath, FrameCountModeRepeatsAndDrops) {
    g.writeResult = 3;
    EncodeParam p = Params(kMux, 320, 240, 25.0, 1);  // same size, no aspect: nothing to resize
    xVideoInfo vi = VideoInfo(320, 240, 12.5);
    ASSERT_EQ(mf.Create(L"out", &p, &vi, nullptr), 1);
    Picture pic(320, 240, 50, 60, 70);
    EXPECT_EQ(Ints({mf.WriteVideoFrame(pic.At(0)), mf.WriteVideoFrame(pic.At(800000)),
                    mf.WriteVideoFrame(pic.At(1600000, 9))}), Ints({3, 6, 6}));  // 1, 2, 2 writes
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(1600000)) + mf.WriteVideoFrame(pic.At(INT64_MIN)), 0u);
    EXPECT_EQ(Ints({mf.m_nOutFrames, mf.m_llLastVideoTime, g.video.back().frame.pPlane[0] == pic.Y.data()}),
              Ints({5, 9, 1}));
    MediaFile late, file;
    ASSERT_EQ(late.Create(L"out", &p, &vi, nullptr), 1);
    EXPECT_EQ(late.WriteVideoFrame(pic.At(10000000)), 26u * 3);  // indices 0 to 25

    // The copy container hands frames on unresized (640x480 into 320x240) and untimed.
    EncodeParam copy = Params(QV_FOURCC_COPY);
    xVideoInfo big = VideoInfo(640, 480, 25.0);
    ASSERT_EQ(file.Create(L"out", &copy, &big, nullptr), 1);
    Picture large(640, 480, 10, 20, 30);
    EXPECT_EQ(file.WriteVideoFrame(large.At(0, 5)) + file.WriteVideoFrame(large.At(0, 5)), 6u);
    EXPECT_EQ(Ints({g.video.back().frame.pPlane[0] == large.Y.data(), file.m_nOutFrames}), Ints({1, 2}));
}

// The plugins see the corrected rate; the host's record stays as it was.
TEST_F(VideoPath, TimestampModeThinsFramesThatComeTooFast) {
    const struct { double out, in, seen; std::vector<int> written; } cases[] = {
        {25.0, 50.0, 25.0, {0, 2}}, {25.0, 25.0005, 25.0, {0, 2}}, {30.0, 25.0, 30.0, {0, 1, 2, 3}},
        {0.0, 25.0, 25.0, {0, 2}}, {0.0, 240.0, 30.0, {0, 2}}, {250.0, 25.0, 30.0, {0, 1, 2, 3}},
        {-0.002, 25.0, -0.002, {0, 1, 2, 3}},
        {0.0, 0.0, 0.0, {0, 1, 2, 3}}};  // a zero rate has no frame time: nothing thinned
    Picture pic(320, 240, 1, 2, 3);
    for (const auto& c : cases) {
        EncodeParam p = Params(kStampMux, 320, 240, c.out, 0), host = p;
        xVideoInfo vi = VideoInfo(320, 240, c.in);
        MediaFile file;
        ASSERT_EQ(file.Create(L"out", &p, &vi, nullptr), 1);
        const double seen = g.created.back().video.dFrameRate;  // packed: read by value
        EXPECT_TRUE(seen == c.seen && !std::memcmp(&p, &host, sizeof p)) << c.out << " vs " << c.in;
        std::vector<int> written;
        for (int i = 0; i < 4; ++i)
            if (file.WriteVideoFrame(pic.At(0, i * 200000))) written.push_back(i);
        EXPECT_EQ(written, c.written) << c.out << " vs " << c.in;
    }
}

// 720x576 at 16:9 letterboxed into 720x576, and cropped into 640x480.
TEST_F(VideoPath, ResizedFramesHaveBlackBordersAndPlanarLayout) {
    for (int method : {1, 5}) {
        const int W = method == 1 ? 720 : 640, H = method == 1 ? 576 : 480, cw = W / 2;
        EncodeParam p = Params(kMux, W, H, 25.0, method);
        xVideoInfo vi = VideoInfo(720, 576, 25.0, 16, 9);
        MediaFile file;
        Picture pic(720, 576, 200, 60, 180);
        ASSERT_EQ(file.Create(L"out", &p, &vi, nullptr), 1);
        for (int r = 0; r < 576; ++r)  // columns that cropping cuts away
            for (int col : {0, 89, 630, 719}) pic.Y[size_t(r) * 720 + col] = 255;
        file.WriteVideoFrame(pic.At(0, 44));
        const MEDIA_FRAME& f = g.video.back().frame;
        const uint8_t *y = f.pPlane[0], *u = f.pPlane[1], *v = f.pPlane[2];
        EXPECT_EQ(Ints({f.nWidth, f.nPitch[0], f.nPitch[1], f.nPitch[2], f.llTimeStamp,
                        v - f.pPlane[0], u - v}),  // Y, V, then U
                  Ints({W, W, cw, cw, 44, W * H, cw * H / 2}));
        if (method == 1) {  // letterbox: rows 85..490 carry the picture
            EXPECT_TRUE(Rows(y, 720, 0, 85, 16) && Rows(y, 720, 491, 576, 16));
            EXPECT_TRUE(Rows(u, 360, 0, 42, 128) && Rows(v, 360, 246, 288, 128));
            EXPECT_TRUE(Rows(u, 360, 43, 245, 60) && Rows(v, 360, 43, 245, 180));
        } else {  // crop: the whole output shows the centre of the source
            EXPECT_TRUE(Rows(y, 640, 0, 480, 200) && Rows(u, 320, 0, 240, 60) && Rows(v, 320, 0, 240, 180));
        }
    }
    EncodeParam p = Params();  // a fitted sliver under two rows keeps two
    xVideoInfo vi = VideoInfo(4000, 2, 25);
    ASSERT_EQ(mf.Create(L"out", &p, &vi, nullptr), 1);
    EXPECT_EQ(Ints({mf.m_DstY.y, mf.m_DstY.cy, mf.m_DstY.cx}), Ints({119, 2, 320}));
}

// A picture whose planes are stored bottom-up, passed as row 0 with a negative
// pitch, comes out as the same picture stored top-down does.
TEST_F(VideoPath, BottomUpPlanesComeOutUprightResizedOrNot) {
    auto flip = [](Bytes& plane, int w, int h) {
        for (int r = 0; r < h / 2; ++r)
            std::swap_ranges(plane.begin() + r * w, plane.begin() + (r + 1) * w, plane.end() - (r + 1) * w);
    };
    for (int outW : {32, 64})
        for (int interp : {0, 1}) {
            EncodeParam p = Params(kMux, outW, outW * 3 / 4, 25.0, 0);
            p.video.nInterpolation = interp;
            xVideoInfo vi = VideoInfo(64, 48, 25.0);
            std::vector<Bytes> seen;
            for (bool bottomUp : {false, true}) {
                MediaFile file;
                ASSERT_EQ(file.Create(L"out", &p, &vi, nullptr), 1);
                Picture pic(64, 48, 0, 0, 0);
                for (size_t i = 0; i < pic.Y.size(); ++i) pic.Y[i] = uint8_t(i / 64 * 5 + i % 64);
                for (size_t i = 0; i < pic.U.size(); ++i) pic.U[i] = uint8_t(i * 7), pic.V[i] = uint8_t(i / 32 * 9);
                if (bottomUp) {
                    flip(pic.Y, 64, 48), flip(pic.U, 32, 24), flip(pic.V, 32, 24);
                    for (int k = 0; k < 3; ++k) pic.f.nPitch[k] = -pic.f.nPitch[k];
                    pic.f.pPlane[0] += 47 * 64, pic.f.pPlane[1] += 23 * 32, pic.f.pPlane[2] += 23 * 32;
                }
                ASSERT_EQ(file.WriteVideoFrame(pic.At(0)), 1u);
                const MEDIA_FRAME& f = g.video.back().frame;
                const int w = outW, h = outW * 3 / 4;
                Bytes planes;
                for (int k = 0; k < 3; ++k)
                    for (int r = 0; r < (k ? h / 2 : h); ++r)
                        planes.insert(planes.end(), f.pPlane[k] + r * f.nPitch[k], f.pPlane[k] + r * f.nPitch[k] + (k ? w / 2 : w));
                seen.push_back(planes);
            }
            EXPECT_EQ(seen[0], seen[1]) << outW << " " << interp;
            EXPECT_EQ(seen[1][5], outW == 64 ? 5 : 10);  // a picture, not black
        }
}

// Any picture of at least 1x1 is enlarged; frames whose planes cannot be read
// are refused with 0 and one log line per file, never encoded as black.
TEST_F(VideoPath, TinyPicturesAreEnlargedAndUnreadableFramesRefused) {
    EncodeParam p = Params(kMux, 320, 240, 25.0, 1);
    xVideoInfo vi = VideoInfo(1, 1, 25.0);
    ASSERT_EQ(mf.Create(L"out", &p, &vi, nullptr), 1);
    Picture dot(1, 1, 200, 90, 240);
    ASSERT_EQ(mf.WriteVideoFrame(dot.At(0)), 1u);
    const MEDIA_FRAME& f = g.video.back().frame;  // letterboxed square (40, 0, 280, 240)
    EXPECT_TRUE(Rows(f.pPlane[0], 320, 0, 240, 16) == false && f.pPlane[0][39] == 16 &&
                f.pPlane[0][40] == 200 && f.pPlane[0][279] == 200 && f.pPlane[0][280] == 16);
    EXPECT_TRUE(f.pPlane[1][20] == 90 && f.pPlane[2][139] == 240 && f.pPlane[2][140] == 128);
    qvtest::TakeLog();

    Picture pic(1, 1, 1, 2, 3);
    pic.f.pPlane[1] = nullptr;
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(400000)), 0u);
    EXPECT_EQ(Tagged(L"QVWriteVideoFrame: frame at 400000 refused (a plane pointer is null").size(), 1u);
    pic.f.pPlane[1] = pic.U.data(), pic.f.nPitch[0] = 0;
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(800000)), 0u);  // refused again, not logged again
    EXPECT_TRUE(qvtest::TakeLog().empty() && g.video.size() == 1);
    EXPECT_EQ(mf.WriteVideoFrame(dot.At(800000)), 2u);  // the next good frame fills the gap
}
