#include "Decoder.h"

#include "FfLog.h"

// FFmpeg's decoder threads hand frames over through atomics inside its own,
// uninstrumented code: ThreadSanitizer cannot see that and reports races
// that are not there, so its builds decode on the calling thread.
#if defined(__SANITIZE_THREAD__)
#define QVENCODE_DECODER_THREADS 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QVENCODE_DECODER_THREADS 1
#endif
#endif
#ifndef QVENCODE_DECODER_THREADS
#define QVENCODE_DECODER_THREADS 0  // as many as FFmpeg finds useful
#endif

namespace qvenc {

Decoder::~Decoder() {
    Stop();
    av_frame_free(&m_frame);
    av_packet_free(&m_packet);
    avcodec_free_context(&m_context);
}

bool Decoder::Open(InputFile& input, int stream, std::string& error) {
    m_input = &input;
    m_stream = input.Format()->streams[stream];
    const AVCodecParameters* par = m_stream->codecpar;
    const std::string where = input.Name() + ": stream " + std::to_string(stream);
    const AVCodec* codec = avcodec_find_decoder(par->codec_id);
    if (!codec) {
        error = where + ": no decoder for " + avcodec_get_name(par->codec_id) + " in this FFmpeg";
        return false;
    }
    m_context = avcodec_alloc_context3(codec);
    m_packet = av_packet_alloc();
    m_frame = av_frame_alloc();
    if (!m_context || !m_packet || !m_frame) {
        error = where + ": out of memory";
        return false;
    }
    int r = avcodec_parameters_to_context(m_context, par);
    m_context->pkt_timebase = m_stream->time_base;
    m_context->thread_count = QVENCODE_DECODER_THREADS;
    if (r >= 0) r = avcodec_open2(m_context, codec, nullptr);
    if (r < 0) {
        error = where + ": cannot open the " + codec->name + " decoder: " + FfmpegErrorText(r);
        return false;
    }
    input.Use(stream);
    return true;
}

void Decoder::Stop() {
    if (m_input && m_stream) m_input->Release(m_stream->index);
}

int64_t Decoder::TimeOf(const AVFrame* frame) const {
    const int64_t t = frame->best_effort_timestamp != AV_NOPTS_VALUE ? frame->best_effort_timestamp : frame->pts;
    return t == AV_NOPTS_VALUE ? AV_NOPTS_VALUE : TicksOf(t, m_stream->time_base);
}

int Decoder::Next(AVFrame*& frame, std::string& error) {
    av_frame_unref(m_frame);
    for (;;) {
        const int r = avcodec_receive_frame(m_context, m_frame);
        if (r == 0) {
            frame = m_frame;
            return 1;
        }
        if (r == AVERROR_EOF || (r != AVERROR(EAGAIN) && m_flushed)) return 0;
        if (r != AVERROR(EAGAIN)) ++m_damaged;  // then on with the next packet
        if (!m_pending) {
            const int got = m_input->NextPacket(m_stream->index, m_packet);
            if (got < 0) {
                error = m_input->ReadError();
                return -1;
            }
            if (got == 0) {
                m_flushed = true;
                avcodec_send_packet(m_context, nullptr);
                continue;
            }
            m_pending = true;
            // A partly read packet (a file cut short) is damage even when the
            // decoder makes something of it.
            if (m_packet->flags & AV_PKT_FLAG_CORRUPT) ++m_damaged;
        }
        const int sent = avcodec_send_packet(m_context, m_packet);
        if (sent == AVERROR(EAGAIN)) continue;  // frames to take first; the packet waits
        m_pending = false;
        if (sent < 0 && !(m_packet->flags & AV_PKT_FLAG_CORRUPT)) ++m_damaged;
        av_packet_unref(m_packet);
    }
}

}  // namespace qvenc
