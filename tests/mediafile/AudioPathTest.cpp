#include <cstring>

#include "RecordingPlugins.h"
#include "common/TestSupport.h"

using namespace rec;

namespace {

// 44100 Hz stereo 16-bit output, video enabled without input info, so the
// pipeline paces by frame count unless the muxer asks for time stamps.
class AudioPath : public PluginTest {
protected:
    void Open(const xAudioInfo& in = AudioInfo(44100, 2)) {
        EncodeParam p = Params();
        ASSERT_EQ(mf.Create(L"out", &p, nullptr, &in), 1);
    }
    unsigned Write(std::vector<int16_t>& samples, int64_t streamTime, int64_t timeStamp = -5) {
        MEDIA_FRAME f;
        std::memset(&f, 0, sizeof f);
        f.nSampleRate = 44100;
        f.nChannels = 2;
        f.nBitsPerSample = 16;
        f.pData = samples.data();
        f.nDataSize = static_cast<int32_t>(samples.size() * 2);
        f.llStreamTime = streamTime;
        f.llTimeStamp = timeStamp;
        f.nDuration = 1234;
        return mf.WriteAudioData(&f);
    }
    // One second of audio whose last sample frame is (7, -7).
    void WriteOneSecond() {
        first.assign(88200, 1);
        first[88198] = 7;
        first[88199] = -7;
        ASSERT_EQ(Write(first, 0), 1u);
        S().audio.clear();
    }
    MediaFile mf;
    std::vector<int16_t> first;
};

}  // namespace

TEST_F(AudioPath, BlockInStepIsHandedOnUnchanged) {
    Open();
    WriteOneSecond();
    std::vector<int16_t> block(100, 3);
    EXPECT_EQ(Write(block, 10000000), 1u);
    ASSERT_EQ(S().audio.size(), 1u);
    EXPECT_EQ(S().audio[0].frame.pData, block.data());
    EXPECT_EQ(mf.m_llAudioBytes, 176400 + 200);
}

TEST_F(AudioPath, HoleIsFilledWithTheLastSampleFrame) {
    Open();
    WriteOneSecond();
    std::vector<int16_t> block(100, 3);
    EXPECT_EQ(Write(block, 15000000), 23u);  // 22 filler blocks and the block
    ASSERT_EQ(S().audio.size(), 23u);
    int64_t time = 10000000;
    for (size_t i = 0; i < 22; ++i) {
        const Written& w = S().audio[i];
        SCOPED_TRACE(i);
        EXPECT_EQ(w.frame.nDataSize, i < 21 ? 4096 : 2184);
        EXPECT_EQ(w.frame.nDuration, i < 21 ? 232200 : 123810);
        EXPECT_EQ(w.frame.llTimeStamp, time);
        EXPECT_EQ(w.frame.llStreamTime, time);
        time += w.frame.nDuration;
        for (size_t b = 0; b < w.data.size(); b += 4)
            ASSERT_EQ(std::memcmp(&w.data[b], &first[88198], 4), 0) << b;
    }
    EXPECT_EQ(S().audio[22].frame.pData, block.data());
    EXPECT_EQ(S().audio[22].frame.nDuration, 1234);
    EXPECT_EQ(mf.m_llAudioBytes, 176400 + 88200 + 200);
}

TEST_F(AudioPath, FirstBlockLateIsPrecededBySilence) {
    Open();
    std::vector<int16_t> block(100, 3);
    Write(block, 5000000);
    ASSERT_EQ(S().audio.size(), 23u);
    EXPECT_EQ(S().audio[0].frame.llStreamTime, 0);
    size_t filled = 0;
    for (size_t i = 0; i < 22; ++i) {
        for (uint8_t b : S().audio[i].data) ASSERT_EQ(b, 0);
        filled += S().audio[i].data.size();
    }
    EXPECT_EQ(filled, 88200u);
}

TEST_F(AudioPath, OverlapIsCutFromTheStartOrDropsTheBlock) {
    Open();
    WriteOneSecond();
    std::vector<int16_t> small(20000, 5);  // 40000 bytes at 0.75 s: overlap 44096 covers it
    EXPECT_EQ(Write(small, 7500000), 0u);
    EXPECT_TRUE(S().audio.empty());
    EXPECT_EQ(mf.m_llAudioBytes, 176400);

    std::vector<int16_t> big(44100, 5);  // 88200 bytes at 0.75 s
    EXPECT_EQ(Write(big, 7500000, 7500000), 1u);
    ASSERT_EQ(S().audio.size(), 1u);
    const MEDIA_FRAME& f = S().audio[0].frame;
    EXPECT_EQ(f.nDataSize, 44104);
    EXPECT_EQ(reinterpret_cast<uint8_t*>(f.pData), reinterpret_cast<uint8_t*>(big.data()) + 44096);
    EXPECT_EQ(f.llStreamTime, 7500000 + 2499773);
    EXPECT_EQ(f.llTimeStamp, 7500000 + 2499773);
    EXPECT_EQ(mf.m_llAudioBytes, 176400 + 44104);
}

TEST_F(AudioPath, TimestampModeWritesBlocksAsTheyCome) {
    UseTimestampMode(true);
    Open();
    WriteOneSecond();
    std::vector<int16_t> late(100, 3), early(20000, 5);
    EXPECT_EQ(Write(late, 15000000), 1u);
    EXPECT_EQ(Write(early, 7500000), 1u);
    ASSERT_EQ(S().audio.size(), 2u);
    EXPECT_EQ(S().audio[0].frame.nDataSize, 200);
    EXPECT_EQ(S().audio[1].frame.nDataSize, 40000);
}

TEST_F(AudioPath, EmptyAndWildBlocksAreRefused) {
    Open();
    std::vector<int16_t> none;
    EXPECT_EQ(Write(none, 0), 0u);
    EXPECT_EQ(mf.WriteAudioData(nullptr), 0u);
    qvtest::TakeLog();
    std::vector<int16_t> block(100, 3);
    EXPECT_EQ(Write(block, INT64_MAX), 0u);  // hundreds of years away: no filling
    EXPECT_EQ(Write(block, INT64_MIN), 0u);
    EXPECT_TRUE(S().audio.empty());
    EXPECT_EQ(qvtest::TakeLog().size(), 2u);
    EXPECT_EQ(mf.m_llAudioBytes, 0);
}

TEST_F(AudioPath, ConvertedBlocksCarryTheOutputFormat) {
    Open(AudioInfo(22050, 1));
    std::vector<int16_t> mono(2205, 100);
    MEDIA_FRAME f;
    std::memset(&f, 0, sizeof f);
    f.nSampleRate = 22050;
    f.nChannels = 1;
    f.nBitsPerSample = 16;
    f.pData = mono.data();
    f.nDataSize = 4410;
    f.nDuration = 99;
    EXPECT_EQ(mf.WriteAudioData(&f), 1u);
    ASSERT_EQ(S().audio.size(), 1u);
    const MEDIA_FRAME& out = S().audio[0].frame;
    EXPECT_EQ(std::vector<int>({out.nSampleRate, out.nChannels, out.nBitsPerSample, out.nDataSize,
                                out.nDuration}),
              std::vector<int>({44100, 2, 16, 4 * 4410, 99}));
    EXPECT_EQ(f.nSampleRate, 22050);  // the host's block is not touched
}

TEST_F(AudioPath, OversizedConvertedBlockIsWrittenInPiecesWithoutLoss) {
    Open(AudioInfo(22050, 1));
    std::vector<int16_t> mono(100000);  // 400000 output samples: more than the buffer
    for (size_t i = 0; i < mono.size(); ++i) mono[i] = static_cast<int16_t>(i % 1000);
    MEDIA_FRAME f;
    std::memset(&f, 0, sizeof f);
    f.pData = mono.data();
    f.nDataSize = 200000;
    mf.WriteAudioData(&f);
    ASSERT_GT(S().audio.size(), 1u);
    size_t total = 0;
    for (const Written& w : S().audio) {
        // Each piece at its own time, right after the audio before it.
        EXPECT_EQ(w.frame.llStreamTime, static_cast<int64_t>(total) / 4 * 10000000 / 44100);
        total += w.data.size();
    }
    EXPECT_NEAR(static_cast<double>(total), 800000.0, 8.0);
    EXPECT_EQ(mf.m_llAudioBytes, static_cast<int64_t>(total));
}

TEST_F(AudioPath, BlockConvertedToNothingKeepsTheLastSampleFrame) {
    EncodeParam p = Params();
    p.audio.nChannels = 1;
    p.audio.nSampleRate = 8000;
    xAudioInfo in = AudioInfo(48000, 1);
    UseTimestampMode(true);
    ASSERT_EQ(mf.Create(L"out", &p, nullptr, &in), 1);
    std::vector<int16_t> block(600, 321);
    MEDIA_FRAME f;
    std::memset(&f, 0, sizeof f);
    f.pData = block.data();
    f.nDataSize = 1200;
    mf.WriteAudioData(&f);
    int16_t last;
    std::memcpy(&last, mf.m_LastSample, 2);
    EXPECT_EQ(last, 321);
    std::vector<int16_t> tiny(1, -999);
    f.pData = tiny.data();
    f.nDataSize = 2;  // one sample at 6:1 rounds to no output
    mf.WriteAudioData(&f);
    std::memcpy(&last, mf.m_LastSample, 2);
    EXPECT_EQ(last, 321);
}

TEST_F(AudioPath, AudioOnlyFileEndToEnd) {
    EncodeParam p = Params(kAudioOnly);
    xAudioInfo in = AudioInfo(44100, 2);
    void* h = QVCreateMediaFile(L"song.wav", &p, nullptr, &in);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(S().fileParam.bDisableVideo, 1);
    std::vector<int16_t> block(4410 * 2, 11);
    for (int i = 0; i < 10; ++i) {
        MEDIA_FRAME f;
        std::memset(&f, 0, sizeof f);
        f.pData = block.data();
        f.nDataSize = static_cast<int32_t>(block.size() * 2);
        f.llStreamTime = f.llTimeStamp = i * 1000000LL;
        EXPECT_EQ(QVWriteAudioData(h, &f), 1u);
    }
    QVCloseMediaFile(h, nullptr, nullptr);
    EXPECT_EQ(S().audio.size(), 10u);
    EXPECT_EQ(S().closes, 1);
    EXPECT_EQ(S().video.size(), 0u);
}
