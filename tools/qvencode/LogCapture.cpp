#include "LogCapture.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace qvenc {

LogCapture::LogCapture(bool verbose) {
    if (verbose) {
        setenv("QUEVARRA_LOG", "-", 1);
        return;
    }
    const char* user = std::getenv("QUEVARRA_LOG");
    if (user && *user) {
        if (std::string(user) != "-") m_path = user;
        return;
    }
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/qvencode-log-XXXXXX";
    int fd = mkstemp(&pattern[0]);
    if (fd < 0) return;  // no capture; failures are still reported, without log lines
    close(fd);
    m_path = pattern;
    m_temporary = true;
    setenv("QUEVARRA_LOG", m_path.c_str(), 1);
}

LogCapture::~LogCapture() {
    if (m_temporary) {
        unlink(m_path.c_str());
        unsetenv("QUEVARRA_LOG");
    }
}

std::vector<std::string> LogCapture::Tail(size_t count) const {
    if (m_path.empty()) return {};
    FILE* f = std::fopen(m_path.c_str(), "rb");
    if (!f) return {};
    std::string text;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) {
        text.append(buf, n);
        if (text.size() > (1u << 20)) text.erase(0, text.size() - (1u << 19));  // keep the end only
    }
    std::fclose(f);
    return LastLines(text, count);
}

std::vector<std::string> LastLines(const std::string& text, size_t count) {
    std::vector<std::string> lines;
    std::string line;
    for (char c : text) {
        if (c == '\n' || c == '\r') {
            if (!line.empty()) lines.push_back(line);
            line.clear();
        } else {
            line.push_back(c);
        }
    }
    if (!line.empty()) lines.push_back(line);
    if (lines.size() > count) lines.erase(lines.begin(), lines.end() - static_cast<long>(count));
    return lines;
}

}  // namespace qvenc
