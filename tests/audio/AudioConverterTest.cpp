#include <gtest/gtest.h>

#include <quevarra/qv_audio.h>

#include <vector>

namespace {

// Every test starts from a clean process-wide remainder.
class AudioConverter : public ::testing::Test {
protected:
    void SetUp() override { CAudioConverter::s_dSpare = 0.0; }
    void TearDown() override { CAudioConverter::s_dSpare = 0.0; }
};

std::vector<short> PutAndTake(CAudioConverter& c, const std::vector<short>& in) {
    c.Put(in.data(), static_cast<int>(in.size()));
    std::vector<short> out(static_cast<size_t>(c.GetValidSize()));
    int got = c.Get(out.data(), static_cast<int>(out.size()));
    out.resize(static_cast<size_t>(got));
    return out;
}

std::vector<short> Ramp(int count, int start, int step) {
    std::vector<short> v(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) v[static_cast<size_t>(i)] = static_cast<short>(start + i * step);
    return v;
}

std::vector<short> Concat(const std::vector<std::vector<short>>& parts) {
    std::vector<short> all;
    for (const auto& p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
}

}  // namespace

TEST_F(AudioConverter, UpsamplingInterpolatesFromTheZeroCarriedSample) {
    CAudioConverter c(1, 1, 22050, 44100, 0);
    EXPECT_EQ(PutAndTake(c, {100, 200, 300, 400}),
              (std::vector<short>{50, 100, 150, 200, 250, 300, 350, 400}));
    EXPECT_EQ(CAudioConverter::s_dSpare, 0.0);
}

TEST_F(AudioConverter, DownsamplingCarriesTheRemainderIntoTheNextBlock) {
    CAudioConverter c(1, 1, 44100, 22050, 0);
    EXPECT_EQ(PutAndTake(c, {10, 20, 30, 40, 50}), (std::vector<short>{16, 33, 50}));
    EXPECT_DOUBLE_EQ(CAudioConverter::s_dSpare, -1.0);
    EXPECT_EQ(PutAndTake(c, {60, 70, 80, 90, 100}), (std::vector<short>{75, 100}));
    EXPECT_DOUBLE_EQ(CAudioConverter::s_dSpare, 0.0);
}

TEST_F(AudioConverter, RemainderIsSharedByEveryConverter) {
    CAudioConverter a(1, 1, 44100, 22050, 0);
    CAudioConverter b(1, 1, 44100, 22050, 0);
    EXPECT_EQ(PutAndTake(a, {10, 20, 30, 40, 50}).size(), 3u);
    // b inherits a's remainder of -1 and gives one sample less than a did.
    EXPECT_EQ(PutAndTake(b, {10, 20, 30, 40, 50}).size(), 2u);
    EXPECT_DOUBLE_EQ(CAudioConverter::s_dSpare, 0.0);
}

TEST_F(AudioConverter, ChannelMappingAtEqualRates) {
    CAudioConverter up(1, 2, 44100, 44100, 0);
    EXPECT_EQ(PutAndTake(up, {5, -7, 9}), (std::vector<short>{5, 5, -7, -7, 9, 9}));
    CAudioConverter down(2, 1, 44100, 44100, 0);
    // Each half truncates toward zero before the sum.
    EXPECT_EQ(PutAndTake(down, {1, 1, -3, -4, 3, 3, 32767, 32767}),
              (std::vector<short>{0, -3, 2, 32766}));
}

TEST_F(AudioConverter, MinimumSampleIsClampedOnlyByMonoResampling) {
    CAudioConverter mono(1, 1, 22050, 44100, 0);
    std::vector<short> m = PutAndTake(mono, {-32768, -32768});
    EXPECT_EQ(m.back(), -32767);
    CAudioConverter stereo(2, 2, 22050, 44100, 0);
    std::vector<short> s = PutAndTake(stereo, {-32768, -32768, -32768, -32768});
    ASSERT_EQ(s.size(), 8u);
    EXPECT_EQ(s[6], -32768);
    EXPECT_EQ(s[7], -32768);
}

TEST_F(AudioConverter, EmptyPutAndPassThroughLeaveStateAlone) {
    CAudioConverter c(2, 2, 48000, 48000, 0);
    EXPECT_EQ(c.GetFreeSize(), 262144);
    CAudioConverter::s_dSpare = 0.25;
    short samples[4] = {1, -2, 3, -4};
    EXPECT_EQ(c.Put(samples, 0), 0);
    EXPECT_EQ(c.Put(samples, 4), 4);
    EXPECT_EQ(c.Put(samples, 0), 4);
    EXPECT_EQ(CAudioConverter::s_dSpare, 0.25);
    short out[8] = {};
    EXPECT_EQ(c.Get(out, 8), 4);
    EXPECT_EQ(std::vector<short>(out, out + 4), (std::vector<short>{1, -2, 3, -4}));
}

TEST_F(AudioConverter, StereoOddCountDropsASampleThatTheRemainderReturns) {
    CAudioConverter c(2, 2, 44100, 48000, 0);
    std::vector<short> frames = Ramp(6, 0, 100);  // 3 frames: 6 / 0.91875 rounds to 7
    EXPECT_EQ(PutAndTake(c, frames).size(), 6u);
    EXPECT_DOUBLE_EQ(CAudioConverter::s_dSpare, 6 - 0.91875 * 6);
    size_t total = 6;
    for (int block = 0; block < 200; ++block) {
        std::vector<short> out = PutAndTake(c, frames);
        EXPECT_EQ(out.size() % 2, 0u);
        total += out.size();
    }
    // 201 blocks of 6 samples at 48000/44100, within one frame.
    EXPECT_NEAR(static_cast<double>(total), 201 * 6 / 0.91875, 2.0);
}

TEST_F(AudioConverter, LongRunCountFollowsTheRateRatio) {
    CAudioConverter c(1, 1, 44100, 48000, 0);
    size_t total = 0;
    for (int block = 0; block < 100; ++block) total += PutAndTake(c, Ramp(1000, 0, 1)).size();
    EXPECT_NEAR(static_cast<double>(total), 100000 * 48000.0 / 44100.0, 1.0);
}

// One block or the same samples in pieces give the same output when each piece
// converts to a whole number of samples (no remainder in play). A misplaced
// carry or position shows as a step far larger than one.
TEST_F(AudioConverter, BlockJoinsAreSeamless) {
    struct Case { int inCh, outCh, inRate, outRate, piece; };
    const Case cases[] = {
        {1, 1, 22050, 44100, 7},  {1, 1, 44100, 22050, 8}, {1, 1, 48000, 32000, 30},
        {1, 2, 22050, 44100, 5},  {2, 2, 44100, 22050, 12}, {2, 1, 32000, 48000, 12},
        {2, 2, 32000, 48000, 12},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(testing::Message() << k.inCh << "->" << k.outCh << " " << k.inRate << "->"
                                        << k.outRate);
        std::vector<short> in;
        for (int i = 0; i < k.piece * 6; ++i)
            in.push_back(static_cast<short>((i * 7919) % 20000 - 10000));
        CAudioConverter::s_dSpare = 0.0;
        CAudioConverter whole(k.inCh, k.outCh, k.inRate, k.outRate, 0);
        std::vector<short> once = PutAndTake(whole, in);
        CAudioConverter::s_dSpare = 0.0;
        CAudioConverter pieces(k.inCh, k.outCh, k.inRate, k.outRate, 0);
        std::vector<std::vector<short>> parts;
        for (size_t at = 0; at < in.size(); at += static_cast<size_t>(k.piece))
            parts.push_back(PutAndTake(
                pieces, std::vector<short>(in.begin() + static_cast<long>(at),
                                           in.begin() + static_cast<long>(at) + k.piece)));
        // Positions computed from a different m / n may round the fraction
        // differently, so a truncated step can differ by one.
        std::vector<short> joined = Concat(parts);
        ASSERT_EQ(joined.size(), once.size());
        for (size_t i = 0; i < once.size(); ++i) EXPECT_NEAR(joined[i], once[i], 1) << i;
    }
}

TEST_F(AudioConverter, GrowthKeepsWaitingAndCarriedSamples) {
    CAudioConverter c(1, 1, 22050, 44100, 16);
    EXPECT_EQ(c.GetFreeSize(), 16);
    short first[2] = {100, 200};
    EXPECT_EQ(c.Put(first, 2), 4);  // estimate 8 fits
    EXPECT_EQ(c.m_nCapacity, 16);
    std::vector<short> big = Ramp(10, 300, 100);  // estimate 40 > 12 free
    EXPECT_EQ(c.Put(big.data(), 10), 24);
    EXPECT_EQ(c.m_nCapacity, 16 + 2 * 40 + 4096);
    std::vector<short> out(24);
    ASSERT_EQ(c.Get(out.data(), 24), 24);
    EXPECT_EQ(std::vector<short>(out.begin(), out.begin() + 6),
              (std::vector<short>{50, 100, 150, 200, 250, 300}));
    EXPECT_EQ(out.back(), 1200);
    // Repeated blocks of the same size need no further growth.
    for (int i = 0; i < 10; ++i) PutAndTake(c, big);
    EXPECT_EQ(c.m_nCapacity, 16 + 2 * 40 + 4096);
}

TEST_F(AudioConverter, LargeDownsampledBlockBeyondTheWorkArrayConverts) {
    CAudioConverter c(2, 1, 48000, 8000, 64);
    std::vector<short> in = Ramp(20000, -10000, 1);  // 10000 mapped samples
    std::vector<short> out = PutAndTake(c, in);
    ASSERT_EQ(out.size(), 1667u);
    // The last output lies exactly on the last mapped frame: (9998 + 9999) / 2 halves.
    EXPECT_EQ(out.back(), 9998 / 2 + 9999 / 2);
    EXPECT_GE(c.m_nWorkCapacity, 10002);
}

TEST_F(AudioConverter, GetAndResetSemantics) {
    CAudioConverter c(1, 1, 44100, 44100, 0);
    short in[5] = {1, 2, 3, 4, 5};
    c.Put(in, 5);
    short out[8] = {};
    EXPECT_EQ(c.Get(out, 2), 2);
    EXPECT_EQ(c.GetValidSize(), 3);
    EXPECT_EQ(c.Get(out, 8), 3);
    EXPECT_EQ(std::vector<short>(out, out + 3), (std::vector<short>{3, 4, 5}));
    EXPECT_EQ(c.Get(out, 8), 0);
    EXPECT_EQ(c.Get(out, -1), 0);

    CAudioConverter r(1, 1, 22050, 44100, 0);
    r.Put(in, 2);  // carries 2
    r.Reset();
    EXPECT_EQ(r.GetValidSize(), 0);
    EXPECT_EQ(r.GetFreeSize(), 262144);
    short next[1] = {10};
    std::vector<short> after(2);
    r.Put(next, 1);
    ASSERT_EQ(r.Get(after.data(), 2), 2);
    EXPECT_EQ(after, (std::vector<short>{6, 10}));  // halfway from the carried 2
}
