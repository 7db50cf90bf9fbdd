// The PCM converter beside libswresample (default settings) doing the same
// conversion of interleaved 16-bit blocks of 4096 input frames: put a block,
// take everything out, in steady state.
#include <quevarra/qv_audio.h>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

#include <cstring>
#include <memory>

#include "BenchJobs.h"

namespace {

constexpr int kBlockFrames = 4096;

std::vector<short> Samples(size_t n, uint32_t seed) {
    const std::vector<uint8_t> bytes = qvbench::Noise(n * sizeof(short), seed);
    std::vector<short> s(n);
    std::memcpy(s.data(), bytes.data(), bytes.size());
    return s;
}

struct Swr {
    SwrContext* ctx = nullptr;
    Swr(int inChannels, int inRate, int outChannels, int outRate) {
        AVChannelLayout in, out;
        av_channel_layout_default(&in, inChannels);
        av_channel_layout_default(&out, outChannels);
        swr_alloc_set_opts2(&ctx, &out, AV_SAMPLE_FMT_S16, outRate, &in, AV_SAMPLE_FMT_S16, inRate,
                            0, nullptr);
        swr_init(ctx);
    }
    ~Swr() { swr_free(&ctx); }
};

void AudioJob(int inChannels, int inRate, int outChannels, int outRate) {
    const std::string job = "Audio " + std::to_string(inRate) +
                            (inChannels == 1 ? " mono" : " stereo") + "->" +
                            std::to_string(outRate) + (outChannels == 1 ? " mono" : " stereo") +
                            " blocks of " + std::to_string(kBlockFrames);
    auto in = std::make_shared<std::vector<short>>(Samples(size_t(kBlockFrames) * inChannels, 7));
    // Room for a block's output at any of these ratios, with slack for the
    // peer's filter delay.
    const int outFrames = kBlockFrames * (outRate / inRate + 1) + 1024;
    auto out = std::make_shared<std::vector<short>>(size_t(outFrames) * outChannels);

    auto conv = std::make_shared<CAudioConverter>(inChannels, outChannels, inRate, outRate, 0);
    qvbench::Job(job, "ours", [=] {
        conv->Put(in->data(), int(in->size()));
        conv->Get(out->data(), conv->GetValidSize());
    });
    auto swr = std::make_shared<Swr>(inChannels, inRate, outChannels, outRate);
    qvbench::Job(job, "swresample", [=] {
        const uint8_t* src[1] = {reinterpret_cast<const uint8_t*>(in->data())};
        uint8_t* dst[1] = {reinterpret_cast<uint8_t*>(out->data())};
        swr_convert(swr->ctx, dst, outFrames, src, kBlockFrames);
    });
}

const int kRegistered = (AudioJob(2, 44100, 2, 48000), AudioJob(1, 22050, 2, 44100), 0);

}  // namespace
