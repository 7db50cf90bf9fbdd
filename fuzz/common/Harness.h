// What every target shares: a quiet diagnostic log, failure reports that
// libFuzzer records as crashes, and buffers exactly as large as a call may
// touch, so that a sanitizer report is always the library's.
#ifndef QUEVARRA_FUZZ_HARNESS_H
#define QUEVARRA_FUZZ_HARNESS_H

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>

namespace qvfuzz {

// Sends the library's log to a callback that checks each message is a
// terminated wide string and discards it: the log costs little and prints
// nothing. The shared LLVMFuzzerInitialize calls it.
void QuietLog();

// A broken property of the library: prints the message and aborts, which
// libFuzzer reports as a crash with the input that caused it.
[[noreturn]] void Fail(const char* what);
#define QV_FUZZ_CHECK(cond)                                                    \
    do {                                                                       \
        if (!(cond)) ::qvfuzz::Fail(__FILE__ ": check failed: " #cond);        \
    } while (0)

// A heap block of exactly `size` bytes (ASan poisons what lies around it).
// Rows are addressed from Row0(): stored row s starts at Row0() + s * pitch,
// so a negative pitch walks upwards from the block's last row. Every row but
// the last in memory holds |pitch| bytes, that last one `lastRowBytes`.
class Plane {
public:
    Plane() = default;
    Plane(int rows, int pitch, int64_t lastRowBytes);

    uint8_t* Row0() const { return m_row0; }
    uint8_t* Base() const { return m_mem.get(); }
    size_t Size() const { return m_size; }
    int Pitch() const { return m_pitch; }
    int Rows() const { return m_rows; }
    // Byte offset from Base() of column byte c of stored row s.
    int64_t Offset(int s, int64_t c) const;

private:
    std::unique_ptr<uint8_t[]> m_mem;
    uint8_t* m_row0 = nullptr;
    size_t m_size = 0;
    int m_pitch = 0;
    int m_rows = 0;
};

// A temporary directory removed with everything in it on destruction.
class TempDir {
public:
    explicit TempDir(const char* prefix);
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

void RemoveTree(const std::string& path);

}  // namespace qvfuzz

#endif
