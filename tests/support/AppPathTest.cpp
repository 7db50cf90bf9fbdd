// The application path (bundle variable, the executable's place or the
// library's), its capacity bound, and where the log loader looks for the
// logging library.
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

// Copies the probe to dir/probe and runs it from cwd without the variables;
// libDir, when given, is where the loader finds the library first.
std::string RunProbe(const std::string& dir, const std::string& mode, const std::string& cwd = "/",
                     const std::string& libDir = "") {
    fs::create_directories(dir);
    fs::copy_file(QV_APP_PROBE, dir + "/probe", fs::copy_options::overwrite_existing);
    std::string env = "env -u QUEVARRA_BUNDLE -u QUEVARRA_LOG";
    if (!libDir.empty()) env += " LD_LIBRARY_PATH='" + libDir + "'";
    FILE* pipe = popen(("cd '" + cwd + "' && " + env + " '" + dir + "/probe' " + mode).c_str(), "r");
    std::string out;
    char buffer[256];
    for (size_t n; pipe && (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
    return pipe && pclose(pipe) == 0 ? out : out + "<failed>";
}

// A copy of the library in dir, under the name the probe asks the loader for.
void PlaceLibrary(const std::string& dir) {
    fs::create_directories(dir);
    fs::copy_file(QV_LIBRARY, dir + "/libquevarra.so.0", fs::copy_options::overwrite_existing);
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

// Without the variable: the executable's X.app, the executable's directory
// when it carries plugins, else the bundle installed with the library
// (wherever the library was put), else the executable's directory.
TEST(AppProbe, BundleComesFromTheExecutableThenFromTheLibrarysOwnPlace) {
    const std::string root = RealPath(qvtest::MakeTempDir("qvprobe"));
    const std::string macos = root + "/Host.app/Contents/MacOS", own = root + "/own",
                      plain = root + "/plain", prefix = root + "/prefix/lib",
                      installed = prefix + "/quevarra/Quevarra.app/Contents/MacOS",
                      inApp = root + "/Lib.app/Contents/MacOS";
    fs::create_directories(own + "/Contents/MacOS/Encoder");
    fs::create_directories(installed);
    PlaceLibrary(prefix), PlaceLibrary(inApp), PlaceLibrary(root + "/bare");
    const struct { std::string exeDir, libDir, expected; } cases[] = {
        {macos, "", macos},
        {macos, prefix, macos},  // the executable's bundle comes first
        {own, prefix, own + "/Contents/MacOS"},
        {plain, "", RealPath(QV_BUNDLE_DIR)},  // the build tree's library lies in its bundle
        {plain, prefix, installed},
        {plain, inApp, inApp},
        {plain, root + "/bare", plain + "/Contents/MacOS"},  // no bundle anywhere
    };
    for (const auto& c : cases)
        EXPECT_EQ(RunProbe(c.exeDir, "path", "/", c.libDir), c.expected + "\n" + c.expected + "\n")
            << c.exeDir << " with the library in " << c.libDir;

    // Log.dylib comes from the same bundle; a missing one costs a complaint per message.
    const std::string lookup = "dyLog: LogGetAddress [Log] [0x0] error.\r\n";
    EXPECT_EQ(RunProbe(macos, "log"), "dyLog: dlopen [" + macos + "/Log.dylib] error.\r\n" + lookup + lookup);
    EXPECT_EQ(RunProbe(plain, "log", "/", prefix), "dyLog: dlopen [" + installed + "/Log.dylib] error.\r\n" + lookup + lookup);
    fs::copy_file(qvtest::ModuleDir() + "/TestLog.dylib", installed + "/Log.dylib");
    EXPECT_EQ(RunProbe(plain, "log", "/", prefix), "") << "found in the library's bundle";
    // With a callback set, messages reach it and nothing is printed, whatever the bundle holds.
    EXPECT_EQ(RunProbe(macos, "callback"), "first|second 2|");

    // A bundle URL too long for the path query leaves a relative path: the
    // logging library in the working directory must not be loaded from it.
    std::string deep = root;
    while (deep.size() < 520) deep += "/" + std::string(100, 'd');
    fs::create_directories(deep + "/Contents/MacOS/Encoder");
    fs::create_directories(root + "/Contents/MacOS");
    fs::copy_file(qvtest::ModuleDir() + "/TestLog.dylib", root + "/Contents/MacOS/Log.dylib");
    EXPECT_EQ(RunProbe(deep, "log", root), "dyLog: dlopen [Contents/MacOS/Log.dylib] error.\r\n" + lookup + lookup);
    qvtest::RemoveTree(root);
}

}  // namespace
