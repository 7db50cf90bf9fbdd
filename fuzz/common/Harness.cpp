#include "common/Harness.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>

#include <quevarra/qv_support.h>

namespace qvfuzz {

void QuietLog() {
    // The build puts the discarding Log.dylib into a bundle of its own; the
    // library loads its logging library once per process, from the bundle
    // current at its first message.
    const char* previous = getenv("QUEVARRA_BUNDLE");
    const std::string saved = previous ? previous : "";
    setenv("QUEVARRA_BUNDLE", QV_FUZZ_LOG_BUNDLE, 1);
    const bool loaded = dyLogInit() != nullptr;
    if (previous) setenv("QUEVARRA_BUNDLE", saved.c_str(), 1);
    else unsetenv("QUEVARRA_BUNDLE");
    // Without it every message costs a line on standard output; libFuzzer
    // reports on standard error, so standard output can go.
    if (!loaded && !freopen("/dev/null", "w", stdout))
        fprintf(stderr, "qvfuzz: cannot silence standard output\n");
}

void Fail(const char* what) {
    fprintf(stderr, "%s\n", what);
    abort();
}

Plane::Plane(int rows, int pitch, int64_t lastRowBytes) : m_pitch(pitch), m_rows(rows) {
    const int64_t magnitude = pitch < 0 ? -int64_t{pitch} : pitch;
    const int64_t size = rows > 0 ? (rows - 1) * magnitude + lastRowBytes : 0;
    m_size = static_cast<size_t>(size > 0 ? size : 0);
    // An empty block is still a distinct pointer, and any touch of it is reported.
    m_mem.reset(new uint8_t[m_size]);
    m_row0 = m_mem.get() + (pitch < 0 && rows > 1 ? (rows - 1) * magnitude : 0);
}

int64_t Plane::Offset(int s, int64_t c) const {
    return (m_row0 - m_mem.get()) + int64_t{s} * m_pitch + c;
}

TempDir::TempDir(const char* prefix) {
    std::string templ = std::filesystem::temp_directory_path().string() + "/" + prefix + "-XXXXXX";
    if (!mkdtemp(templ.data())) Fail("qvfuzz: mkdtemp failed");
    m_path = templ;
}

TempDir::~TempDir() { RemoveTree(m_path); }

void RemoveTree(const std::string& path) {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
}

}  // namespace qvfuzz
