// Where the library's log goes while qvencode runs.
#ifndef QVENCODE_LOGCAPTURE_H
#define QVENCODE_LOGCAPTURE_H

#include <string>
#include <vector>

namespace qvenc {

// Must be set up before the library logs anything. Verbose: the log goes to
// standard error. Otherwise it goes to the file the user named in
// QUEVARRA_LOG, or to a temporary file removed on destruction, so that its
// last lines can be shown when something fails.
class LogCapture {
public:
    explicit LogCapture(bool verbose);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The last `count` non-empty lines logged so far (empty when the log is
    // shown live or cannot be read).
    std::vector<std::string> Tail(size_t count) const;

private:
    std::string m_path;  // file to read back; empty when live
    bool m_temporary = false;
};

// The last `count` non-empty lines of a text (CR and LF both end a line).
std::vector<std::string> LastLines(const std::string& text, size_t count);

}  // namespace qvenc

#endif
