// The library's log while qvencode runs, taken through the library's log
// callback: with -v shown live on standard error, and always kept (its last
// lines) so that a failure can be explained.
#ifndef QVENCODE_LOGCAPTURE_H
#define QVENCODE_LOGCAPTURE_H

#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace qvenc {

// One per process at a time: the callback is the library's, process-wide.
class LogCapture {
public:
    // live: where to show each line as it comes (null: keep only).
    explicit LogCapture(FILE* live);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The last `count` non-empty lines logged so far.
    std::vector<std::string> Tail(size_t count) const;

private:
    static void OnMessage(void* user, const wchar_t* message);

    FILE* m_live;
    mutable std::mutex m_mutex;
    std::deque<std::string> m_lines;
};

// The non-empty lines of a text (CR and LF both end a line).
std::vector<std::string> SplitLines(const std::string& text);

}  // namespace qvenc

#endif
