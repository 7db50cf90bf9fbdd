#include "Sources.h"

#include "TestPattern.h"

#include <cmath>
#include <cstdlib>
#include <numeric>

namespace qvenc {

namespace {

// Stamps of consecutive blocks may disagree with their sample count by the
// container's rounding (a millisecond in Matroska); larger jumps are holes or
// overlaps that the library fills or cuts.
constexpr int64_t kAudioTolerance = 100000;  // 10 ms

// The frame's duration in its stream's time base, 0 when unknown.
int64_t FrameDuration(const AVFrame* f) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    return f->duration;
#else
    return f->pkt_duration;
#endif
}

Rational RateOf(AVRational r) { return Rational{r.num, r.den}; }

// A stream's length for progress and the creation log: the stream's own or
// the file's, whichever is longer (either may be missing or short).
double SecondsOf(const AVStream* s, const AVFormatContext* f) {
    const double own = s->duration != AV_NOPTS_VALUE && s->duration > 0 ? s->duration * av_q2d(s->time_base) : 0.0;
    const double file = f->duration != AV_NOPTS_VALUE && f->duration > 0 ? static_cast<double>(f->duration) / AV_TIME_BASE : 0.0;
    return std::max(own, file);
}

}  // namespace

int64_t StampOf(long long index, int64_t num, int64_t den) {
    const __int128 scaled = static_cast<__int128>(index) * 10000000 * den;
    return static_cast<int64_t>((scaled + num / 2) / num);
}

VideoSource::~VideoSource() { av_frame_free(&m_last); }

bool VideoSource::OpenStream(InputFile& input, int stream, std::string& error) {
    if (!m_decoder.Open(input, stream, error)) return false;
    const int r = m_decoder.Next(m_frame, error);
    if (r <= 0) {
        if (r == 0) error = input.Name() + ": no picture could be decoded from stream " + std::to_string(stream);
        return false;
    }
    m_kind = Stream;
    m_pending = true;
    AVStream* s = m_decoder.Stream();
    m_width = m_frame->width;
    m_height = m_frame->height;
    m_adapter.SetSize(m_width, m_height);
    m_rate = RateOf(s->avg_frame_rate);
    if (!m_rate.Valid()) m_rate = RateOf(s->r_frame_rate);
    if (!m_rate.Valid()) m_rate = Rational{25, 1};
    const AVRational sar = av_guess_sample_aspect_ratio(input.Format(), s, m_frame);
    if (sar.num > 0 && sar.den > 0 && sar.num != sar.den) {
        const int64_t x = static_cast<int64_t>(m_width) * sar.num, y = static_cast<int64_t>(m_height) * sar.den;
        const int64_t g = std::gcd(x, y);
        if (x / g <= 100000 && y / g <= 100000) {
            m_aspectX = static_cast<int>(x / g);
            m_aspectY = static_cast<int>(y / g);
        }
    }
    m_seconds = SecondsOf(s, input.Format());
    m_firstTime = m_decoder.TimeOf(m_frame);
    return true;
}

void VideoSource::OpenPattern(const Rational& rate, double seconds) {
    m_kind = Pattern;
    m_width = kPatternWidth;
    m_height = kPatternHeight;
    m_rate = rate;
    m_seconds = std::max(1.0, std::round(seconds * rate.Value())) / rate.Value();
}

int VideoSource::Next(MEDIA_FRAME& out) {
    const int64_t step = StampOf(1, m_rate.num, m_rate.den);
    if (m_kind == Pattern) {
        if (m_count >= std::llround(m_seconds * m_rate.Value())) return 0;
        RenderPatternFrame(m_count, m_rate, m_picture);
        uint8_t* planes[3] = {m_picture.plane[0].data(), m_picture.plane[1].data(), m_picture.plane[2].data()};
        for (int k = 0; k < 3; ++k) {
            out.pPlane[k] = planes[k];
            out.nPitch[k] = m_picture.pitch[k];
        }
        out.nWidth = m_width;
        out.nHeight = m_height;
        out.llStreamTime = out.llTimeStamp = StampOf(m_count, m_rate.num, m_rate.den);
        out.nDuration = static_cast<int32_t>(StampOf(m_count + 1, m_rate.num, m_rate.den) - out.llStreamTime);
        m_shownIndex = IndexOf(out.llStreamTime);
        ++m_count;
        return 1;
    }
    if (m_kind != Stream || m_ended) return 0;
    if (!m_pending) {
        const int r = m_decoder.Next(m_frame, m_error);
        if (r < 0) return r;
        if (r == 0) {
            // The last picture lasts until its own end.
            m_ended = true;
            return Hold(IndexOf(m_lastEnd) - 1, out);
        }
        m_pending = true;
        // A picture without a time follows the one before it.
        int64_t t = m_decoder.TimeOf(m_frame);
        if (t == AV_NOPTS_VALUE) t = m_count == 0 ? m_origin : m_lastTime + step;
        m_lastTime = t;
        m_pendingTime = t - m_origin;
    }
    // The library fills a gap in the pictures' times with the picture after
    // it; the one before it is what was on screen then.
    if (Hold(IndexOf(m_pendingTime) - 1, out)) return 1;
    m_pending = false;
    if (!m_adapter.Adapt(m_frame, out, m_error)) {
        m_error = m_decoder.Input().Name() + ": " + m_error;
        return -1;
    }
    out.llStreamTime = out.llTimeStamp = m_pendingTime;
    out.nDuration = static_cast<int32_t>(step);
    ++m_count;
    m_shownIndex = std::max(m_shownIndex, IndexOf(m_pendingTime));
    const int64_t duration = FrameDuration(m_frame);
    m_lastEnd = m_pendingTime + (duration > 0 ? TicksOf(duration, m_decoder.Stream()->time_base) : step);
    // Cover art picked as the video is shown for the whole input.
    if (m_decoder.Stream()->disposition & AV_DISPOSITION_ATTACHED_PIC)
        m_lastEnd = std::max(m_lastEnd, static_cast<int64_t>(m_seconds * 1e7));
    if (!m_last) m_last = av_frame_alloc();
    av_frame_unref(m_last);
    if (m_last && av_frame_ref(m_last, m_frame) < 0) av_frame_free(&m_last);
    return 1;
}

int64_t VideoSource::IndexOf(int64_t time) const {
    // As the library places a picture: rounded, halves away from zero on
    // the positive side, truncated towards zero.
    return static_cast<int64_t>(static_cast<double>(time) / 1e7 * m_outputRate + 0.5);
}

int VideoSource::Hold(int64_t index, MEDIA_FRAME& out) {
    if (!(m_outputRate > 0) || !m_last || !m_last->buf[0] || index <= m_shownIndex) return 0;
    std::string error;
    if (!m_adapter.Adapt(m_last, out, error)) return 0;
    out.llStreamTime = out.llTimeStamp = std::llround(index * 1e7 / m_outputRate);
    out.nDuration = static_cast<int32_t>(std::llround(1e7 / m_outputRate));
    m_shownIndex = index;
    ++m_holds;
    return 1;
}

bool AudioSource::OpenStream(InputFile& input, int stream, std::string& error) {
    if (!m_decoder.Open(input, stream, error)) return false;
    m_kind = Stream;
    const int r = Decode(m_first, m_firstTime);
    if (r <= 0) {
        m_kind = None;
        error = r < 0 ? m_error : input.Name() + ": no sound could be decoded from stream " + std::to_string(stream);
        return false;
    }
    m_rate = m_converter.Rate();
    m_channels = m_converter.Channels();
    const double seconds = SecondsOf(m_decoder.Stream(), input.Format());
    m_total = seconds > 0 ? std::llround(seconds * m_rate) : -1;
    return true;
}

void AudioSource::OpenPattern(int rate, int channels, double seconds) {
    m_kind = Pattern;
    m_rate = rate;
    m_channels = channels;
    m_total = std::max<long long>(1, std::llround(seconds * rate));
}

int AudioSource::Decode(std::vector<int16_t>& samples, int64_t& time) {
    for (;;) {
        AVFrame* frame = nullptr;
        const int r = m_flushed ? 0 : m_decoder.Next(frame, m_error);
        if (r < 0) return -1;
        if (r == 0) {
            m_flushed = true;
            time = AV_NOPTS_VALUE;
            return m_converter.Rate() ? m_converter.Flush(samples) : 0;
        }
        if (!m_converter.Rate()) m_converter.Setup(frame);
        const int n = m_converter.Convert(frame, samples, m_error);
        if (n < 0) {
            m_error = m_decoder.Input().Name() + ": " + m_error;
            return -1;
        }
        time = m_decoder.TimeOf(frame);
        if (n > 0) return n;
    }
}

int AudioSource::Next(std::vector<int16_t>& samples, int64_t& time) {
    if (m_kind == Pattern) {
        const long n = static_cast<long>(std::min<long long>(2048, m_total - m_count));
        if (n <= 0) return 0;
        RenderPatternAudio(m_count, n, m_rate, m_channels, samples);
        time = StampOf(m_count, m_rate, 1);
        m_count += n;
        return 1;
    }
    if (m_kind != Stream) return 0;
    int64_t stamp = AV_NOPTS_VALUE;
    int n;
    if (!m_first.empty()) {
        samples.swap(m_first);
        m_first.clear();
        stamp = m_firstTime;
        n = static_cast<int>(samples.size()) / m_channels;
    } else {
        n = Decode(samples, stamp);
        if (n <= 0) return n;
    }
    if (stamp != AV_NOPTS_VALUE) stamp -= m_origin;
    const int64_t expected = m_clockStart + StampOf(m_clockSamples, m_rate, 1);
    if (!m_started || (stamp != AV_NOPTS_VALUE && std::llabs(stamp - expected) > kAudioTolerance)) {
        m_clockStart = stamp != AV_NOPTS_VALUE ? stamp : m_started ? expected : 0;
        m_clockSamples = 0;
        m_started = true;
    }
    time = m_clockStart + StampOf(m_clockSamples, m_rate, 1);
    m_clockSamples += n;
    m_count += n;
    return 1;
}

int64_t AudioSource::Position() const {
    if (m_kind == Pattern) return StampOf(m_count, m_rate, 1);
    return m_clockStart + StampOf(m_clockSamples, m_rate, 1);
}

}  // namespace qvenc
