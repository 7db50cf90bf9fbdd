// Shared test fixtures: temporary application bundles and the recorded log.
#ifndef QUEVARRA_TESTS_TESTSUPPORT_H
#define QUEVARRA_TESTS_TESTSUPPORT_H

#include <string>
#include <vector>

namespace qvtest {

// Directory holding the test modules (test plugins, TestLog.dylib).
std::string ModuleDir();

// A temporary bundle directory <root>/Contents/MacOS with an Encoder
// directory, removed on destruction. Use() points QUEVARRA_BUNDLE at it.
class TempBundle {
public:
    TempBundle();
    ~TempBundle();
    TempBundle(const TempBundle&) = delete;
    TempBundle& operator=(const TempBundle&) = delete;

    const std::string& Root() const { return m_root; }
    std::string MacOSDir() const { return m_root + "/Contents/MacOS"; }
    std::string EncoderDir() const { return MacOSDir() + "/Encoder"; }
    // Copies ModuleDir()/module into the Encoder directory as fileName.
    void AddPlugin(const std::string& module, const std::string& fileName);
    // Creates an arbitrary file (content irrelevant) in the Encoder directory.
    void AddFile(const std::string& fileName, const std::string& content = "x");
    void Use() const;

private:
    std::string m_root;
};

// Installs the recording Log.dylib once per process (its own bundle is made
// current first, so the library's one-time log load finds it) and clears it.
void InstallTestLog();
// Messages logged since the last call (InstallTestLog() is called if needed).
std::vector<std::wstring> TakeLog();
// Joins messages with '\n' for readable assertion failures.
std::wstring JoinLog(const std::vector<std::wstring>& messages);

// A unique empty temporary directory (removed by RemoveTree).
std::string MakeTempDir(const std::string& prefix);
void RemoveTree(const std::string& path);

}  // namespace qvtest

#endif
