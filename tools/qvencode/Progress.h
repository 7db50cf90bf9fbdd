// Progress display on standard error: a bar with frames, media time, speed
// and ETA while writing, then the muxer's own progress while it finishes.
#ifndef QVENCODE_PROGRESS_H
#define QVENCODE_PROGRESS_H

#include <chrono>
#include <cstdio>
#include <string>

namespace qvenc {

class Progress {
public:
    // total: units (frames, or audio sample frames for audio-only) or -1 when unknown.
    // unitsPerSecond converts units to media time.
    Progress(bool enabled, FILE* out, long long total, double unitsPerSecond, const char* unitName);

    // `extra` ends the line ("dup 2 drop 0").
    void Update(long long done, const std::string& extra = "");
    // Ends the writing line (prints a final state).
    void FinishWriting(long long done, const std::string& extra = "");
    // The line shown for one report of the muxer while it finishes the file.
    static std::string CloseLine(unsigned done, unsigned total, unsigned stage);
    // Callback for QVCloseMediaFile; user is a Progress*.
    static unsigned CloseCallback(void* user, unsigned done, unsigned total, unsigned stage);
    void EndClose();

    // "[=====>    ] 120/250 frames 00:00:04.8 2.1x ETA 0:06 dup 2 drop 0".
    static std::string Line(long long done, long long total, double unitsPerSecond, const char* unitName,
                            double elapsedSeconds, const std::string& extra = "");

private:
    void Print(const std::string& line);

    bool m_enabled;
    FILE* m_out;
    long long m_total;
    double m_unitsPerSecond;
    const char* m_unitName;
    std::chrono::steady_clock::time_point m_start, m_last;
    bool m_closeShown = false;
    size_t m_lastWidth = 0;
};

}  // namespace qvenc

#endif
