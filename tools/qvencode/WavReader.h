// Reader of RIFF WAVE files holding 16-bit PCM, one or two channels, any rate.
#ifndef QVENCODE_WAVREADER_H
#define QVENCODE_WAVREADER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace qvenc {

class WavReader {
public:
    WavReader() = default;
    ~WavReader();
    WavReader(const WavReader&) = delete;
    WavReader& operator=(const WavReader&) = delete;

    // Opens the file and checks its format and that the data is all there.
    bool Open(const std::string& path);
    // Reads up to maxFrames sample frames (interleaved) into samples; the
    // number read, 0 at the end, -1 on a read error.
    long Read(std::vector<int16_t>& samples, long maxFrames);

    int SampleRate() const { return m_rate; }
    int Channels() const { return m_channels; }
    long long TotalFrames() const { return m_dataBytes / (2 * m_channels); }
    const std::string& Error() const { return m_error; }

private:
    bool Fail(const std::string& what);

    FILE* m_file = nullptr;
    std::string m_name;
    int m_rate = 0, m_channels = 0;
    long long m_dataBytes = 0;
    long long m_left = 0;
    std::string m_error;
};

}  // namespace qvenc

#endif
