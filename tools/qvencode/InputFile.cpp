#include "InputFile.h"

#include "FfLog.h"
#include "Interrupt.h"

#include <chrono>
#include <unistd.h>

namespace qvenc {

namespace {

// Ahead of a slower consumer, this much is queued before the reader waits.
constexpr size_t kQueueBytes = 32u << 20;
constexpr size_t kQueuePackets = 4096;

int OnInterruptCheck(void*) { return Interrupted() ? 1 : 0; }

const char* TypeName(AVMediaType type) {
    const char* s = av_get_media_type_string(type);
    return s ? s : "unknown";
}

}  // namespace

int64_t TicksOf(int64_t timestamp, AVRational timeBase) {
    return av_rescale_q(timestamp, timeBase, AVRational{1, 10000000});
}

InputFile::~InputFile() {
    for (auto& q : m_queues)
        for (AVPacket* p : q.second.packets) av_packet_free(&p);
    avformat_close_input(&m_format);
}

bool InputFile::Open(const std::string& name, const RawVideo* raw, std::string& error) {
    m_name = name == "-" ? "standard input" : name;
    // A local file is opened as one even when its name looks like a URL
    // ("a:b.mp4"); anything else goes to FFmpeg's protocols as given.
    std::string url = name == "-" ? "pipe:0" : access(name.c_str(), F_OK) == 0 ? "file:" + name : name;
    const AVInputFormat* format = nullptr;
    AVDictionary* options = nullptr;
    if (raw) {
        format = av_find_input_format("rawvideo");
        av_dict_set(&options, "pixel_format", raw->pixelFormat.c_str(), 0);
        av_dict_set(&options, "video_size", (std::to_string(raw->width) + "x" + std::to_string(raw->height)).c_str(), 0);
        av_dict_set(&options, "framerate", (std::to_string(raw->rate.num) + "/" + std::to_string(raw->rate.den)).c_str(), 0);
    }
    m_format = avformat_alloc_context();
    if (!m_format) {
        error = m_name + ": out of memory";
        return false;
    }
    m_format->interrupt_callback.callback = OnInterruptCheck;
    TakeFfmpegError();
    int r = avformat_open_input(&m_format, url.c_str(), format, &options);  // frees m_format on failure
    av_dict_free(&options);
    if (r >= 0) r = avformat_find_stream_info(m_format, nullptr);
    if (r < 0) {
        error = m_name + ": " + FfmpegErrorText(r);
        const std::string detail = TakeFfmpegError();
        if (!detail.empty()) error += " (" + detail + ")";
        return false;
    }
    for (unsigned i = 0; i < m_format->nb_streams; ++i) m_format->streams[i]->discard = AVDISCARD_ALL;
    return true;
}

int InputFile::PickStream(AVMediaType type, int wanted, int related, std::string& error) {
    if (wanted >= 0) {
        if (wanted >= static_cast<int>(m_format->nb_streams)) {
            error = m_name + " has no stream " + std::to_string(wanted) + " (it has " +
                    std::to_string(m_format->nb_streams) + ")";
            return -1;
        }
        const AVMediaType actual = m_format->streams[wanted]->codecpar->codec_type;
        if (actual != type) {
            error = m_name + ": stream " + std::to_string(wanted) + " is " + TypeName(actual) + ", not " + TypeName(type);
            return -1;
        }
        return wanted;
    }
    const int best = av_find_best_stream(m_format, type, -1, related, nullptr, 0);
    if (best < 0) return -1;
    // Cover art is a still picture, not a video: used only when asked for.
    if (m_format->streams[best]->disposition & AV_DISPOSITION_ATTACHED_PIC) return -1;
    return best;
}

void InputFile::Use(int stream) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_queues[stream];
    m_format->streams[stream]->discard = AVDISCARD_DEFAULT;
}

void InputFile::Release(int stream) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_queues.find(stream);
    if (it == m_queues.end()) return;
    it->second.released = true;
    for (AVPacket* p : it->second.packets) av_packet_free(&p);
    it->second.packets.clear();
    it->second.bytes = 0;
    m_taken.notify_all();
}

void InputFile::SetThreaded(bool threaded) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_threaded = threaded;
}

bool InputFile::Full(const Queue& q) const {
    return !q.released && (q.bytes > kQueueBytes || q.packets.size() > kQueuePackets);
}

int InputFile::NextPacket(int stream, AVPacket* packet) {
    std::unique_lock<std::mutex> lock(m_mutex);
    Queue& mine = m_queues[stream];
    for (;;) {
        if (!mine.packets.empty()) {
            AVPacket* p = mine.packets.front();
            mine.packets.pop_front();
            mine.bytes -= static_cast<size_t>(p->size);
            av_packet_move_ref(packet, p);
            av_packet_free(&p);
            m_taken.notify_all();
            return 1;
        }
        if (m_state <= 0) return m_state;
        // Far ahead of another consumer: wait until it has taken some.
        if (m_threaded) {
            bool waited = false;
            for (auto& q : m_queues)
                while (q.first != stream && Full(q.second) && mine.packets.empty() && !Interrupted()) {
                    m_taken.wait_for(lock, std::chrono::milliseconds(100));
                    waited = true;
                }
            if (waited) continue;
        }
        AVPacket* p = av_packet_alloc();
        const int r = p ? av_read_frame(m_format, p) : AVERROR(ENOMEM);
        if (r < 0) {
            av_packet_free(&p);
            if (r == AVERROR_EOF || (r == AVERROR_EXIT && Interrupted())) {
                m_state = 0;
            } else {
                m_state = -1;
                m_readError = m_name + ": " + FfmpegErrorText(r);
                const std::string detail = TakeFfmpegError();
                if (!detail.empty()) m_readError += " (" + detail + ")";
            }
            continue;
        }
        if (p->stream_index == stream) {
            av_packet_move_ref(packet, p);
            av_packet_free(&p);
            return 1;
        }
        auto other = m_queues.find(p->stream_index);
        if (other == m_queues.end() || other->second.released) {
            av_packet_free(&p);
            continue;
        }
        other->second.bytes += static_cast<size_t>(p->size);
        other->second.packets.push_back(p);
    }
}

}  // namespace qvenc
