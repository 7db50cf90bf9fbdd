// Process-wide state of the Python module: the plugins, the log hook and the
// files still open. Python objects come and go with the interpreter; the
// library's plugins and log callback belong to the process, so this unit owns
// them and hands them back at interpreter exit.
#ifndef QUEVARRA_PYTHON_RUNTIME_H
#define QUEVARRA_PYTHON_RUNTIME_H

#include <pybind11/pybind11.h>

#include <memory>
#include <string>
#include <vector>

namespace qvpy {

class Writer;
struct FileConfig;

// Raised (as quevarra.Error) when the library refuses to create or finish a file.
struct LibraryError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Registers the interpreter-exit clean-up. At module import, GIL held.
void InstallExitHandler();

// Installs the log hook and scans the plugins on first use. GIL held.
void EnsurePlugins();

// Creates a file and counts it as open. Holds off the exit clean-up
// meanwhile, and refuses once it has begun. GIL released.
std::shared_ptr<Writer> CreateWriter(const FileConfig& config);

// fn(message) for every library message, or None for the default destination.
// GIL held.
void SetLogHandler(pybind11::object handler);

// Collects the messages logged on the constructing thread while it lives, so
// that a failure can say what the library said about it. The messages still
// reach the handler (or the default destination) as well.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    void Add(const wchar_t* message);
    // The messages, one a line, each without its line end.
    std::string Text() const;

private:
    std::vector<std::wstring> m_lines;
    LogCapture* m_outer;
};

// A closed file is no longer counted as open. Whatever is still open at
// interpreter exit is closed then, before the plugins are released.
void UnregisterOpen(const Writer* writer);

// UTF-32 library text to UTF-8.
std::string Narrow(const std::wstring& text);

}  // namespace qvpy

#endif
