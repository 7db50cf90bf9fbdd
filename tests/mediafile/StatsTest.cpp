// QVGetMediaFileStats: what each pacing decision of the video and audio paths
// adds up to, the record's size rules, and reads while two threads write.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "mediafile/MediaFileFixture.h"

using namespace mftest;

namespace {

using Stats = MediaFileTest;

QV_MEDIAFILE_STATS Read(void* file) {
    QV_MEDIAFILE_STATS s;
    memset(&s, 0xAB, sizeof s);
    s.cbSize = sizeof s;
    EXPECT_EQ(QVGetMediaFileStats(file, &s), 1);
    return s;
}
// In, Out, Repeated, Dropped, time.
Ints Video(void* file) {
    QV_MEDIAFILE_STATS s = Read(file);
    return {s.llVideoFramesIn, s.llVideoFramesOut, s.llVideoFramesRepeated, s.llVideoFramesDropped,
            s.llVideoTime};
}
// In, Out, Filled, Cut, time.
Ints Audio(void* file) {
    QV_MEDIAFILE_STATS s = Read(file);
    return {s.llAudioSamplesIn, s.llAudioSamplesOut, s.llAudioSamplesFilled, s.llAudioSamplesCut,
            s.llAudioTime};
}

TEST_F(Stats, RecordSizeAndArguments) {
    QV_MEDIAFILE_STATS s;
    memset(&s, 0xAB, sizeof s);
    s.cbSize = sizeof s - 1;
    EXPECT_EQ(QVGetMediaFileStats(&mf, &s), 0);
    EXPECT_EQ(s.llVideoFramesIn, int64_t(0xABABABABABABABAB)) << "nothing written";
    s.cbSize = sizeof s;
    EXPECT_EQ(QVGetMediaFileStats(nullptr, &s) + QVGetMediaFileStats(&mf, nullptr), 0);

    uint8_t bigger[sizeof s + 16];  // a later version's record: only the known part is written
    memset(bigger, 0xAB, sizeof bigger);
    const int32_t size = sizeof bigger;
    memcpy(bigger, &size, sizeof size);
    ASSERT_EQ(QVGetMediaFileStats(&mf, reinterpret_cast<QV_MEDIAFILE_STATS*>(bigger)), 1);
    memcpy(&s, bigger, sizeof s);
    EXPECT_EQ(Ints({s.cbSize, s.nReserved, s.llVideoFramesIn, s.llAudioTime}), Ints({size, 0, 0, 0}));
    for (size_t i = sizeof s; i < sizeof bigger; ++i) ASSERT_EQ(bigger[i], 0xAB) << i;
}

// Output 25 fps from 12.5 fps input: each frame is written twice after the first.
TEST_F(Stats, FrameCountModeCountsRepeatsDropsAndRefusals) {
    EncodeParam p = Params(kMux, 320, 240, 25.0, 1);
    xVideoInfo vi = VideoInfo(320, 240, 12.5);
    ASSERT_EQ(mf.Create(L"out", &p, &vi, nullptr), 1);
    Picture pic(320, 240, 50, 60, 70);
    mf.WriteVideoFrame(pic.At(0));
    EXPECT_EQ(Video(&mf), Ints({1, 1, 0, 0, 400000}));
    mf.WriteVideoFrame(pic.At(800000)), mf.WriteVideoFrame(pic.At(1600000));
    EXPECT_EQ(Video(&mf), Ints({3, 5, 2, 0, 2000000}));
    mf.WriteVideoFrame(pic.At(1600000)), mf.WriteVideoFrame(pic.At(INT64_MIN));  // indices filled
    QVWriteVideoFrame(&mf, nullptr), QVWriteVideoFrame(nullptr, pic.At(0));     // count nowhere
    EXPECT_EQ(Video(&mf), Ints({5, 5, 2, 2, 2000000}));
    Picture broken(320, 240, 1, 2, 3);
    broken.f.pPlane[2] = nullptr;
    EXPECT_EQ(mf.WriteVideoFrame(broken.At(2000000)), 0u);
    g.writeResult = 0;  // the muxer fails: handed on all the same
    EXPECT_EQ(mf.WriteVideoFrame(pic.At(2400000)), 0u);
    EXPECT_EQ(Video(&mf), Ints({7, 7, 3, 3, 2800000}));

    MediaFile late;  // indices 0 to 25 from one frame
    ASSERT_EQ(late.Create(L"out", &p, &vi, nullptr), 1);
    late.WriteVideoFrame(pic.At(10000000));
    EXPECT_EQ(Video(&late), Ints({1, 26, 25, 0, 10400000}));
    late.Close(nullptr, nullptr);
    EXPECT_EQ(Video(&late), Ints({0, 0, 0, 0, 0}));
}

// Time-stamp mode thins by the output frame time; its time is the last
// frame's stream time plus one frame. COPY passes everything and times likewise.
TEST_F(Stats, TimestampModeAndCopyCountThinnedFramesAndTimeByStreamTime) {
    const struct { uint32_t container; double out, in; Ints expected; } cases[] = {
        {kStampMux, 25.0, 50.0, {4, 2, 0, 2, 400007 + 400000}},
        {kStampMux, 30.0, 25.0, {4, 4, 0, 0, 600007 + 333333}},
        {kStampMux, 0.0, 0.0, {4, 4, 0, 0, 600007}},  // no rate, no frame time
        {QV_FOURCC_COPY, 25.0, 25.0, {4, 4, 0, 0, 600007 + 400000}},
    };
    Picture pic(320, 240, 1, 2, 3);
    for (const auto& c : cases) {
        EncodeParam p = Params(c.container, 320, 240, c.out, 0);
        xVideoInfo vi = VideoInfo(c.container == QV_FOURCC_COPY ? 640 : 320, 240, c.in);
        MediaFile file;
        ASSERT_EQ(file.Create(L"out", &p, &vi, nullptr), 1);
        for (int i = 0; i < 4; ++i) file.WriteVideoFrame(pic.At(i * 200000 + 7, i * 200000));
        EXPECT_EQ(Video(&file), c.expected) << c.out << " vs " << c.in;
    }
}

// 44100 Hz stereo, frame-count mode: a second in step, an overlap cut, a block
// wholly overlapped, a hole filled, a block too far away and one without data.
TEST_F(Stats, AudioHolesAndOverlapsAreFilledAndCutInEncoderFrames) {
    EncodeParam p = Params();
    xAudioInfo ai = AudioInfo(44100, 2);
    ASSERT_EQ(mf.Create(L"out", &p, nullptr, &ai), 1);
    std::vector<int16_t> second(88200, 1), half(44100, 2), some(20000, 3), tiny(100, 4);
    MEDIA_FRAME b = Block(second, 0);
    mf.WriteAudioData(&b);
    EXPECT_EQ(Audio(&mf), Ints({44100, 44100, 0, 0, 10000000}));
    b = Block(half, 7500000);  // 0.25 s overlap: G = -11024 frames as the path rounds it
    mf.WriteAudioData(&b);
    EXPECT_EQ(Audio(&mf), Ints({66150, 55126, 0, 11024, 12500227}));
    b = Block(some, 5000000);  // wholly covered: all its 10000 frames cut
    EXPECT_EQ(mf.WriteAudioData(&b), 0u);
    EXPECT_EQ(Audio(&mf), Ints({76150, 55126, 0, 21024, 12500227}));
    b = Block(tiny, 20000000);  // a hole up to 2 s
    mf.WriteAudioData(&b);
    EXPECT_EQ(Audio(&mf), Ints({76200, 88250, 33074, 21024, 20011338}));
    b = Block(tiny, INT64_MAX);  // refused: dropped whole
    mf.WriteAudioData(&b);
    b.pData = nullptr, b.llStreamTime = 20011338;  // bytes without data: dropped whole
    mf.WriteAudioData(&b);
    QVWriteAudioData(&mf, nullptr);
    EXPECT_EQ(Audio(&mf), Ints({76300, 88250, 33074, 21124, 20011338}));

    MediaFile stamps;  // time-stamp mode: all written whole, timed by the last block
    EncodeParam s = Params(kStampMux);
    ASSERT_EQ(stamps.Create(L"out", &s, nullptr, &ai), 1);
    for (auto* v : {&second, &half, &tiny}) {
        b = Block(*v, v == &tiny ? 5000000 : 7500000);
        stamps.WriteAudioData(&b);
    }
    EXPECT_EQ(Audio(&stamps), Ints({66200, 66200, 0, 0, 5000000 + 11338}));
}

// Input frames count at the input's rate and channels, output at the encoder's.
TEST_F(Stats, ConvertedAudioCountsEachSideInItsOwnFormat) {
    EncodeParam p = Params();
    xAudioInfo ai = AudioInfo(22050, 1);
    ASSERT_EQ(mf.Create(L"out", &p, nullptr, &ai), 1);
    std::vector<int16_t> mono(100001, 100);  // the odd byte pair is one mono frame
    MEDIA_FRAME b = Block(mono, 0);
    mf.WriteAudioData(&b);
    const Ints audio = Audio(&mf);
    EXPECT_EQ(Ints(audio.begin(), audio.begin() + 4), Ints({100001, 200002, 0, 0}));
    EXPECT_EQ(audio[4], (200002 * 10000000LL + 22050) / 44100);
}

// A reader on a third thread sees each stream's counters from one moment:
// for video Out = In + Repeated - Dropped, for unconverted audio
// Out = In + Filled - Cut, in every read.
TEST_F(Stats, ReadsFromAThirdThreadAreConsistentWhileTwoThreadsWrite) {
    EncodeParam p = Params();
    xVideoInfo vi = VideoInfo(320, 240, 12.5);
    xAudioInfo ai = AudioInfo(44100, 2);
    ASSERT_EQ(mf.Create(L"out", &p, &vi, &ai), 1);
    constexpr int kFrames = 400, kBlocks = 800;
    std::atomic<int> running{2};
    std::thread video([&] {
        Picture pic(320, 240, 1, 2, 3);
        for (int i = 0; i < kFrames; ++i) mf.WriteVideoFrame(pic.At(i / 2 * 2 * 800000));  // pairs: one dropped
        --running;
    });
    std::thread audio([&] {
        std::vector<int16_t> samples(1764 * 2, 5);
        for (int i = 0; i < kBlocks; ++i) {
            MEDIA_FRAME b = Block(samples, (i + i / 3) * 400000LL);  // a hole after every third block
            if (i % 7 == 6) b.llStreamTime -= 200000;                 // some overlaps
            mf.WriteAudioData(&b);
        }
        --running;
    });
    int reads = 0, faults = 0;
    QV_MEDIAFILE_STATS last = Read(&mf);
    while (running > 0 || reads == 0) {
        QV_MEDIAFILE_STATS s = Read(&mf);
        faults += s.llVideoFramesOut != s.llVideoFramesIn + s.llVideoFramesRepeated - s.llVideoFramesDropped;
        faults += s.llAudioSamplesOut != s.llAudioSamplesIn + s.llAudioSamplesFilled - s.llAudioSamplesCut;
        faults += s.llVideoFramesIn < last.llVideoFramesIn || s.llAudioSamplesIn < last.llAudioSamplesIn;
        last = s, ++reads;
    }
    video.join(), audio.join();
    EXPECT_EQ(faults, 0) << "in " << reads << " reads";
    QV_MEDIAFILE_STATS s = Read(&mf);
    EXPECT_EQ(Ints({s.llVideoFramesIn, s.llVideoFramesDropped, s.llVideoFramesOut, s.llAudioSamplesIn}),
              Ints({kFrames, kFrames / 2, mf.m_nOutFrames, kBlocks * 1764}));
    EXPECT_GT(s.llAudioSamplesFilled * s.llAudioSamplesCut, 0);
}

}  // namespace
