// One media file being written: the library's handle, the conversion buffers
// made for it, and the locks that let video and audio come from two threads
// while keeping each stream's calls one at a time. No Python in here: the
// binding calls it with the interpreter lock released.
#ifndef QUEVARRA_PYTHON_WRITER_H
#define QUEVARRA_PYTHON_WRITER_H

#include <quevarra/quevarra.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "RgbInput.h"

namespace qvpy {

// Everything decided before the file is created.
struct FileConfig {
    std::wstring path;
    std::string pathText;  // UTF-8, for messages
    EncodeParam param{};
    xVideoInfo videoInfo{};
    xAudioInfo audioInfo{};
    PixelFormat pixelFormat = PixelFormat::Rgb24;
};

class Writer {
public:
    // Creates the file; throws LibraryError with the library's messages.
    explicit Writer(const FileConfig& config);
    // Closes a file still open; a failure to finish it is only logged then.
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    const FileConfig& Config() const { return m_config; }
    bool HasVideo() const { return !m_config.param.bDisableVideo; }
    bool HasAudio() const { return !m_config.param.bDisableAudio; }

    // Each write returns false, writing nothing, once the file is closed;
    // `result` is then the library's result. Times are in 100 ns units.
    bool WritePlanes(const uint8_t* const planes[3], const ptrdiff_t pitches[3], int64_t time, unsigned& result);
    bool WritePacked(const PackedPicture& picture, int64_t time, unsigned& result);
    // `frames` sample frames of the input's channels; sample c of frame i lies
    // at data + i * frameStride + c * sampleStride (bytes, 16-bit native order).
    bool WriteAudio(const uint8_t* data, ptrdiff_t frameStride, ptrdiff_t sampleStride, size_t frames,
                    int64_t time, unsigned& result);

    // The counters so far; once closed, those it had when it was closed.
    QV_MEDIAFILE_STATS Stats() const;
    bool IsOpen() const;

    // Finishes the file, calling `progress` as the muxer reports. Returns
    // false when it was closed already. Throws LibraryError, with what was
    // logged, when finishing it failed; the file is closed all the same.
    bool Close(QVPROGRESS_CALLBACK progress, void* user);

private:
    unsigned WriteFrame(const uint8_t* const planes[3], const int pitches[3], int64_t time);
    unsigned WriteBlock(const int16_t* samples, size_t frames, int64_t time);

    FileConfig m_config;
    std::string m_statPath;  // absolute: the working directory may change before closing
    void* m_handle = nullptr;
    // Writes and statistics hold it shared, closing holds it alone.
    mutable std::shared_mutex m_lifetime;
    std::mutex m_videoMutex;  // the library takes one stream's calls one at a time
    std::mutex m_audioMutex;
    std::unique_ptr<RgbToYuv> m_rgb;        // RGB input only
    std::vector<int16_t> m_audioScratch;    // strided or unaligned samples, gathered
    QV_MEDIAFILE_STATS m_finalStats{};
    int32_t m_frameDuration;                // one input frame, 100 ns units
};

}  // namespace qvpy

#endif
