// The decoder of one stream of an input.
#ifndef QVENCODE_DECODER_H
#define QVENCODE_DECODER_H

#include "InputFile.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <string>

namespace qvenc {

class Decoder {
public:
    Decoder() = default;
    ~Decoder();
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    // Opens the stream's decoder and starts taking the stream's packets.
    bool Open(InputFile& input, int stream, std::string& error);
    // 1 = a frame (valid until the next call), 0 = the stream ended, -1 = the
    // input could not be read (error set). A packet the decoder refuses is
    // counted and skipped, as a damaged stretch of a file is.
    int Next(AVFrame*& frame, std::string& error);
    // No more frames are wanted: the input stops keeping packets for them.
    void Stop();

    AVStream* Stream() const { return m_stream; }
    AVCodecContext* Context() const { return m_context; }
    InputFile& Input() const { return *m_input; }
    long long Damaged() const { return m_damaged; }
    // The frame's presentation time in 100-ns units, or AV_NOPTS_VALUE.
    int64_t TimeOf(const AVFrame* frame) const;

private:
    InputFile* m_input = nullptr;
    AVStream* m_stream = nullptr;
    AVCodecContext* m_context = nullptr;
    AVPacket* m_packet = nullptr;
    AVFrame* m_frame = nullptr;
    bool m_flushed = false;
    bool m_pending = false;  // m_packet holds a packet not yet sent
    long long m_damaged = 0;
};

}  // namespace qvenc

#endif
