// The application path (bundle variable or executable's place), its capacity
// bound, and where the log loader looks for the logging library.
#include <gtest/gtest.h>

#include <limits.h>

#include <filesystem>

#include <quevarra/qv_support.h>

#include "common/TestSupport.h"

namespace fs = std::filesystem;

namespace {

std::string RealPath(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? resolved : path;
}

// Copies the probe to dir/probe and runs it from cwd without a bundle variable.
std::string RunProbe(const std::string& dir, const std::string& mode, const std::string& cwd = "/") {
    fs::create_directories(dir);
    fs::copy_file(QV_APP_PROBE, dir + "/probe", fs::copy_options::overwrite_existing);
    FILE* pipe = popen(("cd '" + cwd + "' && env -u QUEVARRA_BUNDLE '" + dir + "/probe' " + mode).c_str(), "r");
    std::string out;
    char buffer[256];
    for (size_t n; pipe && (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    return pipe && pclose(pipe) == 0 ? out : out + "<failed>";
}

TEST(AppPath, BundleVariableGivesItsMacOSDirectoryWithinTheCapacity) {
    qvtest::TempBundle bundle;
    setenv("QUEVARRA_BUNDLE", (bundle.Root() + "/").c_str(), 1);
    const std::string expected = RealPath(bundle.Root()) + "/Contents/MacOS";
    const int fit = static_cast<int>(expected.size()) + 1;
    char narrow[600];
    wchar_t wide[600];
    EXPECT_EQ(std::string((GetAppPathA(narrow, fit), narrow)), expected);
    EXPECT_EQ(std::wstring(GetAppPath(wide, fit)), std::wstring(expected.begin(), expected.end()));
    memset(narrow, 'Z', sizeof narrow), wmemset(wide, L'Z', 600);  // one short: empty, nothing past it
    GetAppPathA(narrow, fit - 1), GetAppPath(wide, fit - 1);
    EXPECT_TRUE(narrow[0] == '\0' && wide[0] == L'\0');
    for (int i = fit - 1; i < 600; ++i) ASSERT_TRUE(narrow[i] == 'Z' && wide[i] == L'Z') << i;
    unsetenv("QUEVARRA_BUNDLE");
}

TEST(AppProbe, ExecutableInsideAnAppBundleGetsTheBundleOthersTheirDirectory) {
    std::string root = RealPath(qvtest::MakeTempDir("qvprobe"));
    std::string macos = root + "/Host.app/Contents/MacOS", plain = root + "/plain";
    EXPECT_EQ(RunProbe(macos, "path"), macos + "\n" + macos + "\n");
    EXPECT_EQ(RunProbe(plain, "path"), plain + "/Contents/MacOS\n" + plain + "/Contents/MacOS\n");
    const std::string lookup = "dyLog: LogGetAddress [Log] [0x0] error.\r\n";
    EXPECT_EQ(RunProbe(macos, "log"), "dyLog: dlopen [" + macos + "/Log.dylib] error.\r\n" + lookup + lookup);
    fs::copy_file(qvtest::ModuleDir() + "/TestLog.dylib", macos + "/Log.dylib");
    EXPECT_EQ(RunProbe(macos, "log"), "") << "found beside the executable";

    // A bundle URL too long for the path query leaves a relative path: the
    // logging library in the working directory must not be loaded from it.
    std::string deep = root;
    while (deep.size() < 520) deep += "/" + std::string(100, 'd');
    fs::create_directories(root + "/Contents/MacOS");
    fs::copy_file(qvtest::ModuleDir() + "/TestLog.dylib", root + "/Contents/MacOS/Log.dylib");
    EXPECT_EQ(RunProbe(deep, "log", root), "dyLog: dlopen [Contents/MacOS/Log.dylib] error.\r\n" + lookup + lookup);
    qvtest::RemoveTree(root);
}

}  // namespace
