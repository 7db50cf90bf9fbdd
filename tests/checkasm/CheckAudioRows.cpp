// The PCM converter's rows of every target against the reference rows over
// block sizes 1..70 and large ones, rate pairs up, down, equal, odd and
// extreme, with the carried samples in front; then the converter whole over
// random block sequences, its output and the shared remainder compared.
#include <gtest/gtest.h>

#include <quevarra/qv_audio.h>

#include <cstring>
#include <functional>

#include "audio/AudioRows.h"
#include "checkasm/Guarded.h"

namespace {

using checkasm::Guarded;
using qv::audio::AudioRows;

// `count` samples in a guarded buffer: random, with the extremes (and runs of
// them) mixed in so that the clamp and the sign handling are reached.
class Pcm {
public:
    Pcm(int count, uint64_t seed, Guarded::Side side) : m_g(2 * size_t(count), seed, side) {
        checkasm::Rng rng(seed);
        short* s = data();
        const short extremes[] = {-32768, 32767, -32767, 0, -1, 1};
        for (int i = 0; i < count; ++i)
            if (rng.Range(0, 7) == 0) {
                const short e = extremes[rng.Range(0, 5)];
                for (int run = rng.Range(1, 4); run > 0 && i < count; --run, ++i) s[i] = e;
            }
    }
    short* data() { return reinterpret_cast<short*>(m_g.data()); }
    std::vector<uint8_t> Bytes() const { return m_g.Bytes(); }
    void CopyFrom(const Pcm& other) { m_g.CopyFrom(other.m_g); }

private:
    Guarded m_g;
};

std::vector<int> Counts() {
    std::vector<int> c;
    for (int i = 1; i <= 70; ++i) c.push_back(i);
    for (int i : {127, 128, 129, 1023, 4096, 8191}) c.push_back(i);
    return c;
}

// Output counts for a mapped block of m samples: the usual rate pairs, odd
// ones, extremes both ways, each nudged by a random remainder.
std::vector<int> OutputCounts(int m, checkasm::Rng& rng) {
    const double ratios[] = {1.0, 44100.0 / 48000, 48000.0 / 44100, 0.5, 2.0, 8000.0 / 48000,
                             96000.0 / 8000, 44099.0 / 48001, 1.0 / 64, 300.0};
    std::vector<int> n;
    for (double r : ratios) {
        const double spare = rng.Range(-300, 300) / 100.0;
        const int v = static_cast<int>((m + spare) / r + 0.5);
        if (v >= 1 && v <= 50000) n.push_back(v);
    }
    n.push_back(1);
    n.push_back(2);
    n.push_back(rng.Range(1, 3 * m + 2));
    return n;
}

const Guarded::Side kSides[] = {Guarded::kGuardAfter, Guarded::kGuardBefore};

// Runs `row` of the reference and of every target into the same guarded
// buffer of `count` samples and asserts the same bytes (after a first
// mismatch, nothing more is run).
void Compare(const std::vector<qv::cpu::Target>& targets, const char* name, int count,
             uint64_t seed, Guarded::Side side,
             const std::function<void(const AudioRows&, short*)>& row) {
    if (count == 0 || ::testing::Test::HasFatalFailure()) return;
    Pcm out(count, seed, side);
    row(qv::audio::AudioRowFamily().Reference(), out.data());
    const std::vector<uint8_t> want = out.Bytes();
    for (qv::cpu::Target target : targets) {
        std::memset(out.data(), 0x5A, sizeof(short) * size_t(count));  // no stale answer
        row(qv::audio::AudioRowFamily().For(target), out.data());
        ASSERT_EQ(want, out.Bytes()) << qv::cpu::TargetName(target) << " " << name << count;
    }
}

TEST(Checkasm, AudioChannelMapsMatchTheReferenceRows) {
    const std::vector<qv::cpu::Target> targets = checkasm::SimdTargets();
    checkasm::Rng rng(11);
    for (int count : Counts())
        for (Guarded::Side side : kSides) {
            const uint64_t seed = rng.Next();
            Pcm mono(count, seed, side), stereo(2 * count, seed + 1, side);
            Compare(
                targets, "monoToStereo, samples out: ", 2 * count, seed + 2, side,
                [&](const AudioRows& r, short* out) { r.monoToStereo(mono.data(), count, out); });
            Compare(
                targets, "stereoToMono, samples out: ", count, seed + 3, side,
                [&](const AudioRows& r, short* out) { r.stereoToMono(stereo.data(), count, out); });
        }
}

TEST(Checkasm, AudioResamplersMatchTheReferenceRows) {
    const std::vector<qv::cpu::Target> targets = checkasm::SimdTargets();
    checkasm::Rng rng(12);
    for (int m : Counts())
        for (int n : OutputCounts(m, rng)) {
            // The two carried samples sit right in front of the block; the
            // guard page lies before them or after the block.
            const Guarded::Side side = kSides[rng.Range(0, 1)];
            const uint64_t seed = rng.Next();
            Pcm work(m + 2, seed, side);
            const short* W = work.data() + 2;
            const int even = n & ~1;  // the walk hands whole stereo frames only
            const std::string what = std::to_string(m) + " -> ";
            Compare(targets, ("resampleMono " + what).c_str(), n, seed + 1, side,
                    [&](const AudioRows& r, short* out) { r.resampleMono(W, m, out, n); });
            Compare(targets, ("resampleStereo " + what).c_str(), even, seed + 1, side,
                    [&](const AudioRows& r, short* out) { r.resampleStereo(W, m, out, even); });
            for (int channels : {1, 2})
                Compare(
                    targets, ("copyHolding " + what).c_str(), n, seed + 1, side,
                    [&](const AudioRows& r, short* out) { r.copyHolding(W, m, out, n, channels); });
        }
}

// Everything one converter gives for a block sequence, and what it leaves.
struct Outcome {
    std::vector<int> counts;
    std::vector<short> samples;
    double spare;
    short carried[2];
};

struct Scenario {
    int inCh, outCh, inRate, outRate, bufferSize;
    double spare;
    uint64_t seed;
};

Outcome Convert(const Scenario& s) {
    CAudioConverter::s_dSpare = s.spare;
    CAudioConverter c(s.inCh, s.outCh, s.inRate, s.outRate, s.bufferSize);
    checkasm::Rng rng(s.seed);
    Outcome run;
    std::vector<short> in, out;
    for (int block = rng.Range(1, 10); block > 0; --block) {
        const int frames = rng.Range(0, 5) == 0 ? rng.Range(500, 5000) : rng.Range(1, 70);
        in.resize(size_t(frames) * s.inCh + rng.Range(0, 1));  // sometimes a partial frame
        for (short& v : in)
            v = rng.Range(0, 9) == 0 ? -32768 : static_cast<short>(rng.Next() >> 48);
        run.counts.push_back(c.Put(in.data(), static_cast<int>(in.size())));
        // Take all, or leave some waiting for the next block.
        const int take = rng.Range(0, 2) ? c.GetValidSize() : rng.Range(0, c.GetValidSize());
        out.resize(size_t(take) + 1);
        const int got = c.Get(out.data(), take);
        run.counts.push_back(got);
        run.samples.insert(run.samples.end(), out.begin(), out.begin() + got);
    }
    run.spare = CAudioConverter::s_dSpare;
    std::memcpy(run.carried, c.m_pWork, sizeof run.carried);
    return run;
}

TEST(Checkasm, AudioConverterMatchesTheReferenceWhole) {
    const int rates[] = {8000, 11025, 22050, 32000, 44100, 44099, 48000, 48001, 96000, 192000};
    const int buffers[] = {0, 2, 16, 3000};
    checkasm::Rng rng(13);
    const double saved = CAudioConverter::s_dSpare;
    for (qv::cpu::Target target : checkasm::SimdTargets())
        for (int round = 0; round < 60; ++round) {
            const Scenario s{rng.Range(1, 2), rng.Range(1, 2), rates[rng.Range(0, 9)],
                             rates[rng.Range(0, 9)], buffers[rng.Range(0, 3)],
                             rng.Range(-400, 400) / 128.0, rng.Next()};
            Outcome want, got;
            {
                qv::cpu::ScopedTarget on(qv::cpu::kReference);
                want = Convert(s);
            }
            {
                qv::cpu::ScopedTarget on(target);
                got = Convert(s);
            }
            const std::string what = std::string(qv::cpu::TargetName(target)) + " " +
                                     std::to_string(s.inCh) + "ch" + std::to_string(s.inRate) +
                                     "->" + std::to_string(s.outCh) + "ch" +
                                     std::to_string(s.outRate) + " round " + std::to_string(round);
            ASSERT_EQ(want.counts, got.counts) << what;
            ASSERT_EQ(want.samples, got.samples) << what;
            ASSERT_EQ(0, std::memcmp(&want.spare, &got.spare, sizeof(double))) << what;
            ASSERT_EQ(want.carried[0], got.carried[0]) << what;
            ASSERT_EQ(want.carried[1], got.carried[1]) << what;
        }
    CAudioConverter::s_dSpare = saved;
}

}  // namespace
