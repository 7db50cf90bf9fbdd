// Decoded audio as the library takes it: interleaved signed 16-bit samples,
// mono or stereo (more channels are mixed down to two), at the rate of the
// stream's first frame. Rate conversion to the encoder's rate is the
// library's; a stream whose rate changes midway is brought back to the first.
#ifndef QVENCODE_PCMCONVERTER_H
#define QVENCODE_PCMCONVERTER_H

extern "C" {
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

#include <cstdint>
#include <string>
#include <vector>

namespace qvenc {

class PcmConverter {
public:
    PcmConverter() = default;
    ~PcmConverter();
    PcmConverter(const PcmConverter&) = delete;
    PcmConverter& operator=(const PcmConverter&) = delete;

    // Fixes the output format from the stream's first frame.
    void Setup(const AVFrame* first);
    int Rate() const { return m_rate; }
    int Channels() const { return m_channels; }

    // Replaces `samples` with the frame's samples; returns the sample frames
    // made, or -1 (error set).
    int Convert(const AVFrame* frame, std::vector<int16_t>& samples, std::string& error);
    // What the converter still holds at the end of the stream (only when it
    // resamples); 0 when nothing.
    int Flush(std::vector<int16_t>& samples);

private:
    bool Configure(const AVFrame* frame, std::vector<int16_t>& held, std::string& error);
    int Drain(const uint8_t* const* in, int count, std::vector<int16_t>& samples);

    SwrContext* m_swr = nullptr;
    int m_rate = 0, m_channels = 0;
    // The input format m_swr was made for.
    int m_inRate = 0, m_inFormat = -1;
    AVChannelLayout m_inLayout{};
};

}  // namespace qvenc

#endif
