// Log.dylib: what it writes where, and that plugin failures reach it.
#include <gtest/gtest.h>

#include "common/TestSupport.h"
#include "plugins/PlxDriver.h"

#include <dlfcn.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace {

typedef int (*PFN_LOG)(const wchar_t*);

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class LogLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        handle = dlopen((plxtest::BundleDir() + "/Log.dylib").c_str(), RTLD_LAZY);
        ASSERT_NE(handle, nullptr) << dlerror();
        log = reinterpret_cast<PFN_LOG>(dlsym(handle, "Log"));
        ASSERT_NE(log, nullptr);
        dir = qvtest::MakeTempDir("qvlogfile");
        file = dir + "/quevarra.log";
    }
    void TearDown() override {
        unsetenv("QUEVARRA_LOG");
        qvtest::RemoveTree(dir);
        if (handle) dlclose(handle);
    }
    void* handle = nullptr;
    PFN_LOG log = nullptr;
    std::string dir, file;
};

TEST_F(LogLibrary, AppendsMessagesAsUtf8WithoutAddingLineEnds) {
    setenv("QUEVARRA_LOG", file.c_str(), 1);
    EXPECT_EQ(log(L"QVInitEncoders"), 1);
    EXPECT_EQ(log(L"caf\u00e9 \U0001F600 [\u65e5]\r\n"), 1);
    EXPECT_EQ(ReadAll(file), "QVInitEncoderscaf\xc3\xa9 \xf0\x9f\x98\x80 [\xe6\x97\xa5]\r\n");
}

TEST_F(LogLibrary, WritesNothingWhenTheVariableIsUnset) {
    unsetenv("QUEVARRA_LOG");
    EXPECT_EQ(log(L"lost"), 0);
    struct stat st;
    EXPECT_NE(stat(file.c_str(), &st), 0);
    // An unwritable target is not a crash either.
    setenv("QUEVARRA_LOG", (dir + "/missing/dir/x.log").c_str(), 1);
    EXPECT_EQ(log(L"lost"), 0);
    EXPECT_EQ(log(nullptr), 0);
}

TEST_F(LogLibrary, PluginFailuresNameTheFileAndTheSystemError) {
    setenv("QUEVARRA_LOG", file.c_str(), 1);
    EncodeParam param{};
    param.audio = {QV_FOURCC('P', 'C', 'M', ' '), 44100, 2, 16, 0, 0, 0};
    param.bDisableVideo = 1;
    param.dwFileFormat = QV_FOURCC('W', 'A', 'V', ' ');
    plxtest::Pipeline p;
    std::string error;
    std::string target = dir + "/no/such/dir/out.wav";
    EXPECT_FALSE(p.Create(target, &param, &error));
    EXPECT_EQ(ReadAll(file), "plxraw: cannot create the WAV file [" + target +
                                 "]: No such file or directory\r\n");
}

}  // namespace
