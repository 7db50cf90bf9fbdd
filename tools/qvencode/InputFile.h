// One input opened with libavformat: a file, standard input ("-") or a URL.
// Its streams may be decoded on different threads: each pulls the packets of
// its own stream, and a packet of another stream in use met on the way is
// queued for that stream.
#ifndef QVENCODE_INPUTFILE_H
#define QVENCODE_INPUTFILE_H

#include "Options.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string>

namespace qvenc {

// Headerless frames: an FFmpeg pixel format name, a size and a rate.
struct RawVideo {
    std::string pixelFormat;
    int width = 0, height = 0;
    Rational rate;
};

class InputFile {
public:
    InputFile() = default;
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    // raw: null for a file FFmpeg recognises by itself.
    bool Open(const std::string& name, const RawVideo* raw, std::string& error);
    // The input as named in messages.
    const std::string& Name() const { return m_name; }
    AVFormatContext* Format() const { return m_format; }

    // The stream of a type to use: `wanted` (checked) when >= 0, else the best
    // one, related to stream `related` when that is >= 0. -1 when there is
    // none, with `error` set only when a wanted stream does not fit.
    int PickStream(AVMediaType type, int wanted, int related, std::string& error);
    // Keeps the packets of this stream for it; those of other streams are
    // dropped, so every stream to be read is named before any is read.
    void Use(int stream);
    // The stream's consumer stops: its packets are dropped from now on.
    void Release(int stream);
    // From now on the consumers run on their own threads: one that reads far
    // ahead waits for the other to take its queued packets.
    void SetThreaded(bool threaded);

    // 1 = a packet of the stream, 0 = the input ended, -1 = a read error
    // (see ReadError; also what the other streams get from then on).
    int NextPacket(int stream, AVPacket* packet);
    const std::string& ReadError() const { return m_readError; }

private:
    struct Queue {
        std::deque<AVPacket*> packets;
        size_t bytes = 0;
        bool released = false;
    };
    bool Full(const Queue& q) const;

    std::string m_name;
    AVFormatContext* m_format = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_taken;
    std::map<int, Queue> m_queues;
    bool m_threaded = false;
    int m_state = 1;  // 1 reading, 0 ended, -1 failed
    std::string m_readError;
};

// A time in a stream's time base as 100-ns units.
int64_t TicksOf(int64_t timestamp, AVRational timeBase);

}  // namespace qvenc

#endif
