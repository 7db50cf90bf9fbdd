// Decoded pictures and sound as the library takes them.
#include "FrameAdapter.h"
#include "PcmConverter.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cstring>
#include <string>
#include <vector>

using namespace qvenc;

namespace {

// A frame of `format` whose planes are filled with the given bytes.
AVFrame* MakePicture(AVPixelFormat format, int w, int h, std::vector<uint8_t> fill) {
    AVFrame* f = av_frame_alloc();
    f->format = format;
    f->width = w;
    f->height = h;
    EXPECT_EQ(av_frame_get_buffer(f, 0), 0);
    const int chromaRows = AV_CEIL_RSHIFT(h, av_pix_fmt_desc_get(format)->log2_chroma_h);
    for (size_t k = 0; k < fill.size() && f->data[k]; ++k)
        std::memset(f->data[k], fill[k], static_cast<size_t>(f->linesize[k]) * (k ? chromaRows : h));
    return f;
}

int Sample(const MEDIA_FRAME& m, int plane, int x, int y) { return m.pPlane[plane][y * m.nPitch[plane] + x]; }

AVFrame* MakeSound(AVSampleFormat format, const AVChannelLayout& layout, int rate, int samples) {
    AVFrame* f = av_frame_alloc();
    f->format = format;
    f->sample_rate = rate;
    f->nb_samples = samples;
    av_channel_layout_copy(&f->ch_layout, &layout);
    EXPECT_EQ(av_frame_get_buffer(f, 0), 0);
    return f;
}

}  // namespace

TEST(FrameAdapter, FourTwoZeroPassesUntouchedOthersAreConverted) {
    FrameAdapter adapter;
    adapter.SetSize(16, 8);
    MEDIA_FRAME m{};
    std::string error;

    // 8-bit 4:2:0 keeps its own planes and pitches, bottom-up rows included.
    AVFrame* yuv = MakePicture(AV_PIX_FMT_YUV420P, 16, 8, {50, 60, 70});
    yuv->data[0] += 7 * yuv->linesize[0];
    yuv->linesize[0] = -yuv->linesize[0];
    ASSERT_TRUE(adapter.Adapt(yuv, m, error)) << error;
    EXPECT_EQ(adapter.LastPath(), 0);
    EXPECT_TRUE(m.pPlane[0] == yuv->data[0] && m.pPlane[1] == yuv->data[1] && m.pPlane[2] == yuv->data[2]);
    EXPECT_EQ(m.nPitch[0], yuv->linesize[0]);

    // Packed BGRA goes through the library's converter: pure red.
    AVFrame* bgra = MakePicture(AV_PIX_FMT_BGRA, 16, 8, {});
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 16; ++x) std::memcpy(bgra->data[0] + y * bgra->linesize[0] + 4 * x, "\x00\x00\xff\xff", 4);
    ASSERT_TRUE(adapter.Adapt(bgra, m, error)) << error;
    EXPECT_EQ(adapter.LastPath(), 1);
    EXPECT_EQ(std::vector<int>({Sample(m, 0, 15, 7), Sample(m, 1, 7, 3), Sample(m, 2, 0, 0)}), std::vector<int>({81, 90, 239}));

    // Full range becomes studio range; 4:2:2 keeps its colours; a picture of
    // another size is scaled to the announced one.
    AVFrame* jpeg = MakePicture(AV_PIX_FMT_YUVJ420P, 16, 8, {255, 128, 128});
    ASSERT_TRUE(adapter.Adapt(jpeg, m, error)) << error;
    EXPECT_EQ(adapter.LastPath(), 2);
    EXPECT_EQ(Sample(m, 0, 5, 5), 235);
    AVFrame* yuv422 = MakePicture(AV_PIX_FMT_YUV422P, 32, 16, {100, 200, 40});
    ASSERT_TRUE(adapter.Adapt(yuv422, m, error)) << error;
    EXPECT_EQ(m.nWidth * 100 + m.nHeight, 1608);
    EXPECT_EQ(std::vector<int>({Sample(m, 0, 15, 7), Sample(m, 1, 7, 3), Sample(m, 2, 7, 3)}), std::vector<int>({100, 200, 40}));
    for (AVFrame* f : {yuv, bgra, jpeg, yuv422}) {
        if (f == yuv) f->data[0] -= 7 * -f->linesize[0];
        av_frame_free(&f);
    }
}

TEST(PcmConverter, SurroundIsMixedToStereoAndRatesFollowTheFirstFrame) {
    std::string error;
    std::vector<int16_t> out;
    // 5.1 in planar float with sound on the left front only.
    PcmConverter surround;
    AVChannelLayout six = AV_CHANNEL_LAYOUT_5POINT1;
    AVFrame* f = MakeSound(AV_SAMPLE_FMT_FLTP, six, 48000, 480);
    for (int c = 0; c < 6; ++c)
        for (int i = 0; i < 480; ++i) reinterpret_cast<float*>(f->data[c])[i] = c == 0 ? 0.5f : 0.0f;
    surround.Setup(f);
    EXPECT_EQ(surround.Channels(), 2);
    ASSERT_EQ(surround.Convert(f, out, error), 480) << error;
    EXPECT_GT(out[200], 4000);
    EXPECT_EQ(out[201], 0);

    // Mono stays mono, sample for sample; a later frame at half the rate is
    // brought to the first rate.
    PcmConverter mono;
    AVChannelLayout one = AV_CHANNEL_LAYOUT_MONO;
    AVFrame* m = MakeSound(AV_SAMPLE_FMT_S16, one, 48000, 4);
    const int16_t in[4] = {1, -1, 32767, -32768};
    std::memcpy(m->data[0], in, sizeof in);
    mono.Setup(m);
    ASSERT_EQ(mono.Convert(m, out, error), 4) << error;
    EXPECT_EQ(out, std::vector<int16_t>(in, in + 4));
    AVFrame* half = MakeSound(AV_SAMPLE_FMT_S16, one, 24000, 480);
    std::memset(half->data[0], 0, 960);
    const int converted = mono.Convert(half, out, error);
    std::vector<int16_t> rest;
    EXPECT_NEAR(converted + mono.Flush(rest), 960, 2);
    for (AVFrame* a : {f, m, half}) av_frame_free(&a);
}
