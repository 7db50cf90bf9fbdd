// Where pictures and sound come from: a decoded stream of an input, or the
// generated test pattern. Times are 100-ns units from the input's start.
#ifndef QVENCODE_SOURCES_H
#define QVENCODE_SOURCES_H

#include "Decoder.h"
#include "FrameAdapter.h"
#include "Options.h"
#include "PcmConverter.h"
#include "Picture.h"

#include <quevarra/qv_records.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qvenc {

// 100-ns time of item `index` at num/den items per second, rounded to the
// nearest unit (exact for 30000/1001).
int64_t StampOf(long long index, int64_t num, int64_t den);

class VideoSource {
public:
    VideoSource() = default;
    ~VideoSource();
    VideoSource(const VideoSource&) = delete;
    VideoSource& operator=(const VideoSource&) = delete;

    // Decodes the stream's first picture, so that an input that cannot be
    // decoded is found before any output exists.
    bool OpenStream(InputFile& input, int stream, std::string& error);
    void OpenPattern(const Rational& rate, double seconds);
    bool IsOpen() const { return m_kind != None; }
    bool IsPattern() const { return m_kind == Pattern; }

    int Width() const { return m_width; }
    int Height() const { return m_height; }
    // The stream's average rate (the output's default).
    const Rational& Rate() const { return m_rate; }
    int AspectX() const { return m_aspectX; }
    int AspectY() const { return m_aspectY; }
    double Seconds() const { return m_seconds; }  // the stream's length, 0 when unknown
    // Time of the first picture in the input's clock; AV_NOPTS_VALUE if unknown.
    int64_t FirstTime() const { return m_firstTime; }
    // The input's time that becomes stream time 0.
    void SetOrigin(int64_t origin) { m_origin = origin; }
    // The rate the library paces the output at. With it, a picture that
    // stays on screen across several output frames (a variable rate, the
    // last picture) is handed over again at the last of them, so that the
    // library repeats it there rather than showing the next one early.
    void SetOutputRate(double rate) { m_outputRate = rate; }

    // 1 = a picture: `out` gets its planes (valid until the next call) and
    // times; 0 = the end; -1 = an error (Error()).
    int Next(MEDIA_FRAME& out);
    // Output frames covered so far (at the output rate).
    long long Covered() const { return m_shownIndex + 1; }
    // Pictures handed over again to hold them over a gap.
    long long Holds() const { return m_holds; }
    const std::string& Error() const { return m_error; }
    long long Damaged() const { return m_decoder.Damaged(); }
    // No more pictures are wanted.
    void Stop() { m_decoder.Stop(); }

private:
    // The output frame index of a stream time.
    int64_t IndexOf(int64_t time) const;
    // The last picture again at output frame `index`, if that is past those
    // already covered. 1 when `out` holds it.
    int Hold(int64_t index, MEDIA_FRAME& out);

    enum Kind { None, Stream, Pattern } m_kind = None;
    Decoder m_decoder;
    FrameAdapter m_adapter;
    AVFrame* m_frame = nullptr;  // the decoder's current frame
    AVFrame* m_last = nullptr;   // a reference to the last picture handed out
    int64_t m_lastEnd = 0;       // its end, in stream time
    int64_t m_pendingTime = 0;   // stream time of m_frame
    int64_t m_shownIndex = -1;   // the last output frame index covered
    double m_outputRate = 0.0;
    long long m_holds = 0;
    bool m_ended = false;
    bool m_pending = false;      // m_frame is the first picture, not yet handed out
    Picture m_picture;           // the pattern
    int m_width = 0, m_height = 0;
    Rational m_rate;
    int m_aspectX = 0, m_aspectY = 0;
    double m_seconds = 0.0;
    long long m_count = 0;  // pictures handed out
    int64_t m_firstTime = 0, m_origin = 0, m_lastTime = 0;
    std::string m_error;
};

class AudioSource {
public:
    // Decodes the stream's first block (see VideoSource::OpenStream).
    bool OpenStream(InputFile& input, int stream, std::string& error);
    void OpenPattern(int rate, int channels, double seconds);
    bool IsOpen() const { return m_kind != None; }
    bool IsPattern() const { return m_kind == Pattern; }

    int Rate() const { return m_rate; }
    int Channels() const { return m_channels; }
    long long Total() const { return m_total; }  // sample frames, -1 when unknown
    int64_t FirstTime() const { return m_firstTime; }
    void SetOrigin(int64_t origin) { m_origin = origin; }

    // 1 = a block of interleaved samples and its time, 0 = the end, -1 = an
    // error (Error()). Blocks that follow on within a small tolerance of their
    // time stamps are timed by the samples before them, so that containers'
    // rounded stamps cause no holes or cuts; a larger jump is kept.
    int Next(std::vector<int16_t>& samples, int64_t& time);
    // The time just after the last block.
    int64_t Position() const;
    // Sample frames handed out.
    long long Count() const { return m_count; }
    const std::string& Error() const { return m_error; }
    long long Damaged() const { return m_decoder.Damaged(); }
    void Stop() { m_decoder.Stop(); }

private:
    int Decode(std::vector<int16_t>& samples, int64_t& time);

    enum Kind { None, Stream, Pattern } m_kind = None;
    Decoder m_decoder;
    PcmConverter m_converter;
    std::vector<int16_t> m_first;  // the first block, decoded at opening
    bool m_flushed = false;
    int m_rate = 0, m_channels = 0;
    long long m_total = -1;
    long long m_count = 0;
    int64_t m_firstTime = 0, m_origin = 0;
    bool m_started = false;
    int64_t m_clockStart = 0;     // time of the block that started the run of samples
    long long m_clockSamples = 0;  // samples since then
    std::string m_error;
};

}  // namespace qvenc

#endif
