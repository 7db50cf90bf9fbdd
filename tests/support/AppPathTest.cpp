// The application path (from the bundle variable or the executable's place)
// and the log loader's complaints when the logging library is missing.
#include <gtest/gtest.h>

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include <quevarra/qv_support.h>

#include "common/TestSupport.h"

namespace fs = std::filesystem;

namespace {

std::string RealPath(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? resolved : path;
}

std::string AppPathA(int capacity = 511) {
    char path[512];
    GetAppPathA(path, capacity);
    return path;
}

std::wstring AppPathW(int capacity = 511) {
    wchar_t path[512];
    return GetAppPath(path, capacity);
}

// Copies the probe to dir/name and runs it there without a bundle variable.
std::string RunProbe(const std::string& dir, const std::string& mode) {
    fs::create_directories(dir);
    std::string exe = dir + "/probe";
    fs::copy_file(QV_APP_PROBE, exe, fs::copy_options::overwrite_existing);
    std::string command = "env -u QUEVARRA_BUNDLE '" + exe + "' " + mode;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return "<popen failed>";
    std::string out;
    char buffer[256];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    int status = pclose(pipe);
    if (status != 0) out += "<exit " + std::to_string(status) + ">";
    return out;
}

class AppPath : public ::testing::Test {
protected:
    void TearDown() override { unsetenv("QUEVARRA_BUNDLE"); }
    qvtest::TempBundle m_bundle;
};

TEST_F(AppPath, BundleVariableWithOrWithoutSlashGivesItsMacOSDirectory) {
    const std::string expected = RealPath(m_bundle.Root()) + "/Contents/MacOS";
    for (const std::string& value : {m_bundle.Root(), m_bundle.Root() + "/"}) {
        setenv("QUEVARRA_BUNDLE", value.c_str(), 1);
        EXPECT_EQ(AppPathA(), expected) << value;
        EXPECT_EQ(AppPathW(), std::wstring(expected.begin(), expected.end())) << value;
    }
}

TEST_F(AppPath, CapacityBoundsWhatIsWrittenAndTooSmallGivesEmpty) {
    m_bundle.Use();
    const std::string expected = AppPathA();
    const int fit = static_cast<int>(expected.size()) + 1;

    char narrow[600];
    memset(narrow, 'Z', sizeof narrow);
    GetAppPathA(narrow, fit);
    EXPECT_EQ(std::string(narrow), expected);
    memset(narrow, 'Z', sizeof narrow);
    GetAppPathA(narrow, fit - 1);
    EXPECT_EQ(narrow[0], '\0');
    for (int i = fit - 1; i < 600; ++i) ASSERT_EQ(narrow[i], 'Z') << "written past capacity at " << i;

    wchar_t wide[600];
    wmemset(wide, L'Z', 600);
    EXPECT_EQ(std::wstring(GetAppPath(wide, fit)).size(), expected.size());
    wmemset(wide, L'Z', 600);
    GetAppPath(wide, fit - 1);
    EXPECT_EQ(wide[0], L'\0');
    for (int i = fit - 1; i < 600; ++i) ASSERT_EQ(wide[i], L'Z') << "written past capacity at " << i;
}

TEST(AppProbe, ExecutableInsideAnAppBundleGetsTheBundleOthersTheirDirectory) {
    std::string root = RealPath(qvtest::MakeTempDir("qvprobe"));
    std::string macos = root + "/Host.app/Contents/MacOS";
    EXPECT_EQ(RunProbe(macos, "path"), macos + "\n" + macos + "\n");
    // Not a bundle: the executable's directory, "Contents/MacOS" right after it.
    std::string plain = root + "/plain";
    EXPECT_EQ(RunProbe(plain, "path"), plain + "/Contents/MacOS\n" + plain + "/Contents/MacOS\n");
    qvtest::RemoveTree(root);
}

TEST(AppProbe, MissingLogLibraryIsTriedOnceAndEachMessageComplains) {
    std::string root = RealPath(qvtest::MakeTempDir("qvprobe"));
    std::string macos = root + "/Host.app/Contents/MacOS";
    const std::string lookup = "dyLog: LogGetAddress [Log] [0x0] error.\r\n";
    EXPECT_EQ(RunProbe(macos, "log"),
              "dyLog: dlopen [" + macos + "/Log.dylib] error.\r\n" + lookup + lookup + lookup);

    // With the logging library beside it the probe prints nothing.
    fs::copy_file(qvtest::ModuleDir() + "/TestLog.dylib", macos + "/Log.dylib");
    EXPECT_EQ(RunProbe(macos, "log"), "");
    qvtest::RemoveTree(root);
}

}  // namespace
