#include "Writer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "Runtime.h"

namespace qvpy {

namespace {

constexpr double kTicksPerSecond = 10000000.0;
// Long blocks go to the library in pieces of this many sample frames, so that
// one call's byte count stays far from the 32-bit limit of MEDIA_FRAME.
constexpr size_t kFramesPerPiece = size_t{1} << 20;

int32_t Ticks(double seconds) { return static_cast<int32_t>(std::lround(seconds * kTicksPerSecond)); }

// The files this thread is inside a call of. A log handler or progress
// callback that comes back to the same file would wait for itself: it is
// refused instead.
struct Inside {
    const Writer* writer;
    const Inside* outer;
};
thread_local const Inside* t_inside = nullptr;

bool IsInside(const Writer* writer) {
    for (const Inside* i = t_inside; i; i = i->outer)
        if (i->writer == writer) return true;
    return false;
}

struct Enter {
    Inside inside;
    explicit Enter(const Writer* writer) : inside{writer, t_inside} {
        if (IsInside(writer))
            throw std::runtime_error("a MediaFile cannot be used from a callback of one of its own calls");
        t_inside = &inside;
    }
    ~Enter() { t_inside = inside.outer; }
};

}  // namespace

Writer::Writer(const FileConfig& config) : m_config(config), m_statPath(config.pathText) {
    if (m_statPath.empty() || m_statPath[0] != '/') {
        char cwd[4096];
        if (getcwd(cwd, sizeof cwd)) m_statPath = std::string(cwd) + "/" + m_statPath;
    }
    const double fps = m_config.videoInfo.fps > 0 ? m_config.videoInfo.fps : m_config.param.video.dFrameRate;
    m_frameDuration = fps > 0 ? Ticks(1.0 / fps) : 0;
    if (HasVideo() && m_config.pixelFormat != PixelFormat::Yuv420p)
        m_rgb = std::make_unique<RgbToYuv>(m_config.pixelFormat, m_config.videoInfo.width, m_config.videoInfo.height);

    LogCapture log;
    m_handle = QVCreateMediaFile(m_config.path.c_str(), &m_config.param, HasVideo() ? &m_config.videoInfo : nullptr,
                                 HasAudio() ? &m_config.audioInfo : nullptr);
    if (!m_handle) {
        const std::string said = log.Text();
        throw LibraryError("cannot create '" + m_config.pathText + "'" + (said.empty() ? "" : ":\n" + said));
    }
}

Writer::~Writer() {
    try {
        Close(nullptr, nullptr);
    } catch (...) {
        // Already in the log; a destructor has no one to tell.
    }
}

bool Writer::IsOpen() const {
    if (IsInside(this)) return m_handle != nullptr;  // this thread holds it open
    std::shared_lock<std::shared_mutex> lock(m_lifetime);
    return m_handle != nullptr;
}

unsigned Writer::WriteFrame(const uint8_t* const planes[3], const int pitches[3], int64_t time) {
    MEDIA_FRAME frame{};
    for (int i = 0; i < 3; ++i) {
        frame.pPlane[i] = const_cast<uint8_t*>(planes[i]);
        frame.nPitch[i] = pitches[i];
    }
    frame.nWidth = m_config.videoInfo.width;
    frame.nHeight = m_config.videoInfo.height;
    frame.llTimeStamp = frame.llStreamTime = time;
    frame.nDuration = m_frameDuration;
    return QVWriteVideoFrame(m_handle, &frame);
}

bool Writer::WritePlanes(const uint8_t* const planes[3], const ptrdiff_t pitches[3], int64_t time,
                         unsigned& result) {
    Enter enter(this);
    std::shared_lock<std::shared_mutex> alive(m_lifetime);
    if (!m_handle) return false;
    std::lock_guard<std::mutex> stream(m_videoMutex);
    const int pitch[3] = {static_cast<int>(pitches[0]), static_cast<int>(pitches[1]), static_cast<int>(pitches[2])};
    result = WriteFrame(planes, pitch, time);
    return true;
}

bool Writer::WritePacked(const PackedPicture& picture, int64_t time, unsigned& result) {
    Enter enter(this);
    std::shared_lock<std::shared_mutex> alive(m_lifetime);
    if (!m_handle) return false;
    std::lock_guard<std::mutex> stream(m_videoMutex);
    m_rgb->Convert(picture);
    const uint8_t* planes[3] = {m_rgb->Plane(0), m_rgb->Plane(1), m_rgb->Plane(2)};
    const int pitches[3] = {m_rgb->Pitch(0), m_rgb->Pitch(1), m_rgb->Pitch(2)};
    result = WriteFrame(planes, pitches, time);
    return true;
}

unsigned Writer::WriteBlock(const int16_t* samples, size_t frames, int64_t time) {
    const xAudioInfo& in = m_config.audioInfo;
    MEDIA_FRAME block{};
    block.nSampleRate = in.samplerate;
    block.nChannels = in.channels;
    block.nBitsPerSample = 16;
    block.pData = const_cast<int16_t*>(samples);
    block.nDataSize = static_cast<int32_t>(frames * in.channels * sizeof(int16_t));
    block.llTimeStamp = block.llStreamTime = time;
    block.nDuration = Ticks(static_cast<double>(frames) / in.samplerate);
    return QVWriteAudioData(m_handle, &block);
}

bool Writer::WriteAudio(const uint8_t* data, ptrdiff_t frameStride, ptrdiff_t sampleStride, size_t frames,
                        int64_t time, unsigned& result) {
    Enter enter(this);
    std::shared_lock<std::shared_mutex> alive(m_lifetime);
    if (!m_handle) return false;
    std::lock_guard<std::mutex> stream(m_audioMutex);
    const int channels = m_config.audioInfo.channels;
    const ptrdiff_t packed = static_cast<ptrdiff_t>(channels * sizeof(int16_t));
    const bool direct = frameStride == packed && (channels == 1 || sampleStride == 2) &&
                        reinterpret_cast<uintptr_t>(data) % alignof(int16_t) == 0;
    result = 0;
    for (size_t done = 0; done < frames;) {
        const size_t n = std::min(kFramesPerPiece, frames - done);
        const int64_t at = time + std::llround(static_cast<double>(done) / m_config.audioInfo.samplerate * kTicksPerSecond);
        const uint8_t* first = data + static_cast<ptrdiff_t>(done) * frameStride;
        if (direct) {
            result += WriteBlock(reinterpret_cast<const int16_t*>(first), n, at);
        } else {
            m_audioScratch.resize(n * channels);
            int16_t* out = m_audioScratch.data();
            for (size_t i = 0; i < n; ++i)
                for (int c = 0; c < channels; ++c)
                    std::memcpy(out++, first + static_cast<ptrdiff_t>(i) * frameStride + c * sampleStride,
                                sizeof(int16_t));
            result += WriteBlock(m_audioScratch.data(), n, at);
        }
        done += n;
    }
    return true;
}

QV_MEDIAFILE_STATS Writer::Stats() const {
    Enter enter(this);
    std::shared_lock<std::shared_mutex> alive(m_lifetime);
    if (!m_handle) return m_finalStats;
    QV_MEDIAFILE_STATS stats{};
    stats.cbSize = sizeof stats;
    QVGetMediaFileStats(m_handle, &stats);
    return stats;
}

bool Writer::Close(QVPROGRESS_CALLBACK progress, void* user) {
    Enter enter(this);
    std::unique_lock<std::shared_mutex> alone(m_lifetime);
    if (!m_handle) return false;
    m_finalStats.cbSize = sizeof m_finalStats;
    QVGetMediaFileStats(m_handle, &m_finalStats);
    LogCapture log;
    QVCloseMediaFile(m_handle, progress, user);
    m_handle = nullptr;
    m_rgb.reset();
    m_audioScratch = std::vector<int16_t>();
    UnregisterOpen(this);
    alone.unlock();

    // The library does not report whether the muxer finished the file. Our
    // plugins and the library say nothing while closing unless something
    // failed, so anything said on this thread meanwhile is the failure.
    const std::string said = log.Text();
    struct stat st;
    const bool missing = stat(m_statPath.c_str(), &st) != 0;
    if (!said.empty() || missing)
        throw LibraryError("cannot finish '" + m_config.pathText + "'" +
                           (said.empty() ? ": the file is not there after closing" : ":\n" + said));
    return true;
}

}  // namespace qvpy
