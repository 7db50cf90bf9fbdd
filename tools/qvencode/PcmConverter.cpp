#include "PcmConverter.h"

#include "FfLog.h"

namespace qvenc {

namespace {

// A layout that only counts channels gets the usual one for the count, so
// that five or more channels can be mixed down by position.
AVChannelLayout LayoutOf(const AVFrame* frame) {
    AVChannelLayout layout{};
    if (frame->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC || av_channel_layout_copy(&layout, &frame->ch_layout) < 0)
        av_channel_layout_default(&layout, frame->ch_layout.nb_channels);
    return layout;
}

}  // namespace

PcmConverter::~PcmConverter() {
    swr_free(&m_swr);
    av_channel_layout_uninit(&m_inLayout);
}

void PcmConverter::Setup(const AVFrame* first) {
    m_rate = first->sample_rate;
    m_channels = first->ch_layout.nb_channels == 1 ? 1 : 2;
}

bool PcmConverter::Configure(const AVFrame* frame, std::vector<int16_t>& held, std::string& error) {
    AVChannelLayout in = LayoutOf(frame);
    if (m_swr && frame->sample_rate == m_inRate && frame->format == m_inFormat &&
        av_channel_layout_compare(&in, &m_inLayout) == 0) {
        av_channel_layout_uninit(&in);
        return true;
    }
    // The format changed: what the old converter holds comes first.
    if (m_swr) Drain(nullptr, 0, held);
    swr_free(&m_swr);
    AVChannelLayout out{};
    av_channel_layout_default(&out, m_channels);
    int r = swr_alloc_set_opts2(&m_swr, &out, AV_SAMPLE_FMT_S16, m_rate, &in,
                                static_cast<AVSampleFormat>(frame->format), frame->sample_rate, 0, nullptr);
    if (r >= 0) r = swr_init(m_swr);
    av_channel_layout_uninit(&out);
    av_channel_layout_uninit(&m_inLayout);
    m_inLayout = in;
    if (r < 0) {
        swr_free(&m_swr);
        char name[64] = "?";
        av_channel_layout_describe(&in, name, sizeof name);
        error = std::string("cannot convert audio with ") + name + " channels at " + std::to_string(frame->sample_rate) +
                " Hz: " + FfmpegErrorText(r);
        return false;
    }
    m_inRate = frame->sample_rate;
    m_inFormat = frame->format;
    return true;
}

int PcmConverter::Drain(const uint8_t* const* in, int count, std::vector<int16_t>& samples) {
    const int room = swr_get_out_samples(m_swr, count);
    samples.resize(static_cast<size_t>(room > 0 ? room : 0) * m_channels);
    uint8_t* out = reinterpret_cast<uint8_t*>(samples.data());
    const int n = room > 0 ? swr_convert(m_swr, &out, room, const_cast<const uint8_t**>(in), count) : 0;
    samples.resize(static_cast<size_t>(n > 0 ? n : 0) * m_channels);
    return n;
}

int PcmConverter::Convert(const AVFrame* frame, std::vector<int16_t>& samples, std::string& error) {
    samples.clear();
    if (frame->sample_rate <= 0 || frame->ch_layout.nb_channels <= 0) {
        error = "audio frame without a sample rate or channels";
        return -1;
    }
    std::vector<int16_t> held;
    if (!Configure(frame, held, error)) return -1;
    const int n = Drain(frame->extended_data, frame->nb_samples, samples);
    if (n < 0) {
        error = "audio conversion failed: " + FfmpegErrorText(n);
        return -1;
    }
    samples.insert(samples.begin(), held.begin(), held.end());
    return n + static_cast<int>(held.size()) / m_channels;
}

int PcmConverter::Flush(std::vector<int16_t>& samples) {
    samples.clear();
    if (!m_swr) return 0;
    const int n = Drain(nullptr, 0, samples);
    return n > 0 ? n : 0;
}

}  // namespace qvenc
