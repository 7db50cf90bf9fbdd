#include <gtest/gtest.h>

#include <quevarra/qv_audio.h>

#include <vector>

namespace {

using Samples = std::vector<short>;

struct AudioConverter : ::testing::Test {  // each test starts from a clean shared remainder
    void SetUp() override { CAudioConverter::s_dSpare = 0.0; }
};

Samples Convert(CAudioConverter& c, const Samples& in) {
    c.Put(in.data(), static_cast<int>(in.size()));
    Samples out(static_cast<size_t>(c.GetValidSize()));
    out.resize(static_cast<size_t>(c.Get(out.data(), static_cast<int>(out.size()))));
    return out;
}

}  // namespace

TEST_F(AudioConverter, ResamplingExamplesAndTheSharedRemainder) {
    CAudioConverter up(1, 1, 22050, 44100, 0);
    EXPECT_EQ(Convert(up, {100, 200, 300, 400}), (Samples{50, 100, 150, 200, 250, 300, 350, 400}));
    EXPECT_EQ(CAudioConverter::s_dSpare, 0.0);
    CAudioConverter down(1, 1, 44100, 22050, 0);
    EXPECT_EQ(Convert(down, {10, 20, 30, 40, 50}), (Samples{16, 33, 50}));
    EXPECT_DOUBLE_EQ(CAudioConverter::s_dSpare, -1.0);
    EXPECT_EQ(Convert(down, {60, 70, 80, 90, 100}), (Samples{75, 100}));
    EXPECT_DOUBLE_EQ(CAudioConverter::s_dSpare, 0.0);
    CAudioConverter other(1, 1, 44100, 22050, 0);  // another converter's remainder nudges this one
    EXPECT_EQ(Convert(other, {10, 20, 30, 40, 50}).size() + Convert(down, {10, 20, 30, 40, 50}).size(), 5u);
}

TEST_F(AudioConverter, ChannelMappingAndMinimumSample) {
    CAudioConverter up(1, 2, 44100, 44100, 0), down(2, 1, 44100, 44100, 0);
    EXPECT_EQ(Convert(up, {5, -7, 9}), (Samples{5, 5, -7, -7, 9, 9}));
    EXPECT_EQ(Convert(down, {1, 1, -3, -4, 3, 3}), (Samples{0, -3, 2}));  // halves truncate first
    CAudioConverter mono(1, 1, 22050, 44100, 0), stereo(2, 2, 22050, 44100, 0);
    EXPECT_EQ(Convert(mono, {-32768, -32768}).back(), -32767);
    EXPECT_EQ(Convert(stereo, {-32768, -32768, -32768, -32768}).back(), -32768);
}

TEST_F(AudioConverter, StereoOddCountIsReturnedByTheRemainderLater) {
    CAudioConverter c(2, 2, 44100, 48000, 0);
    const Samples frames{0, 100, 200, 300, 400, 500};  // 6 / 0.91875 rounds to 7
    size_t total = 0;
    for (int block = 0; block < 201; ++block) {
        Samples out = Convert(c, frames);
        EXPECT_EQ(out.size(), block ? out.size() & ~size_t(1) : 6u);
        total += out.size();
    }
    EXPECT_NEAR(static_cast<double>(total), 201 * 6 / 0.91875, 2.0);
}

// One block or pieces of it agree: a lost carry or misplaced position would
// show as a large step (differently rounded fractions may differ by one).
TEST_F(AudioConverter, BlockJoinsAreSeamless) {
    const int cases[][5] = {{1, 1, 22050, 44100, 7}, {1, 1, 48000, 32000, 30}, {1, 2, 22050, 44100, 5},
                            {2, 2, 44100, 22050, 12}, {2, 1, 32000, 48000, 12}};
    for (const auto& k : cases) {
        Samples in, joined, once;
        for (int i = 0; i < k[4] * 6; ++i) in.push_back(static_cast<short>((i * 7919) % 20000 - 10000));
        CAudioConverter whole(k[0], k[1], k[2], k[3], 0), pieces(k[0], k[1], k[2], k[3], 0);
        CAudioConverter::s_dSpare = 0.0, once = Convert(whole, in), CAudioConverter::s_dSpare = 0.0;
        for (auto at = in.begin(); at != in.end(); at += k[4]) {
            Samples part = Convert(pieces, Samples(at, at + k[4]));
            joined.insert(joined.end(), part.begin(), part.end());
        }
        ASSERT_EQ(joined.size(), once.size()) << k[2] << "->" << k[3];
        for (size_t i = 0; i < once.size(); ++i) EXPECT_NEAR(joined[i], once[i], 1) << i;
    }
}

TEST_F(AudioConverter, GrowthKeepsWaitingAndCarriedSamples) {
    CAudioConverter c(1, 1, 22050, 44100, 16);
    Samples first{100, 200}, big{300, 400, 500, 600, 700, 800, 900, 1000, 1100, 1200}, out(24);
    EXPECT_EQ(c.Put(first.data(), 2), 4);  // estimate 8 fits in 16
    EXPECT_EQ(c.Put(big.data(), 10), 24);  // estimate 40 > 12 free: grow by 2 * 40 + 4096
    EXPECT_EQ(c.m_nCapacity, 16 + 80 + 4096);
    ASSERT_EQ(c.Get(out.data(), 24), 24);
    EXPECT_EQ(Samples(out.begin(), out.begin() + 6), (Samples{50, 100, 150, 200, 250, 300}));

    CAudioConverter d(2, 1, 48000, 8000, 64);  // a block far larger than the arrays, downsampled
    Samples in(20000);
    for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<short>(i / 2);
    Samples out2 = Convert(d, in);
    ASSERT_EQ(out2.size(), 1667u);
    EXPECT_EQ(out2.back(), 9999 / 2 + 9999 / 2);  // ends exactly on the last frame
}

TEST_F(AudioConverter, PutGetAndResetSemantics) {
    CAudioConverter c(1, 1, 44100, 44100, 0), r(1, 1, 22050, 44100, 0);
    EXPECT_EQ(c.GetFreeSize(), 262144);
    CAudioConverter::s_dSpare = 0.25;
    short in[5] = {1, 2, 3, 4, 5}, out[8] = {};
    EXPECT_EQ(c.Put(in, 0) + c.Put(in, 5), 5);
    EXPECT_EQ(CAudioConverter::s_dSpare, 0.25);  // pass-through leaves the remainder
    EXPECT_EQ(c.Get(out, 2) + c.Get(out, 8) * 10 + c.Get(out, -1) * 100, 32);
    EXPECT_EQ(Samples(out, out + 3), (Samples{3, 4, 5}));
    CAudioConverter::s_dSpare = 0.0, r.Put(in, 2), r.Reset();
    EXPECT_EQ(r.GetValidSize(), 0);
    EXPECT_EQ(Convert(r, {10}), (Samples{6, 10}));  // still halfway from the carried 2
}
