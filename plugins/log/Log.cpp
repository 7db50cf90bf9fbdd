// The logging library placed beside the host: appends every message, as UTF-8,
// to the file named by QUEVARRA_LOG ("-" for standard error). Unset: silent.
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <wchar.h>

#include <string>

#include "common/PlxText.h"

namespace {

bool WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        ssize_t n = write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

// Returns 1 when the message was written, 0 otherwise. The variable is read on
// every call and the file opened in append mode for each message, so several
// processes (and threads) can share one log without tearing a message apart.
extern "C" __attribute__((visibility("default"))) int Log(const wchar_t* message) {
    const char* target = getenv("QUEVARRA_LOG");
    if (!target || !*target || !message) return 0;
    const std::string text = plx::WideToUtf8(message);
    if (text.empty()) return 0;
    if (strcmp(target, "-") == 0) return WriteAll(STDERR_FILENO, text.data(), text.size()) ? 1 : 0;
    int fd = open(target, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) return 0;
    bool ok = WriteAll(fd, text.data(), text.size());
    close(fd);
    return ok ? 1 : 0;
}
