// Whether an output may be written, and what a failed run removes.
#include "Job.h"
#include "OutputFile.h"
#include "ToolRun.h"

#include <cstring>
#include <sys/stat.h>

using namespace qvenc;
using namespace qvtools;

using OutputFile = TempDirTest;

TEST_F(OutputFile, ExistingFilesAreOverwrittenOnlyWhenAllowed) {
    const std::string out = Write("out.mkv", "old"), input = Write("in.mp4", "x");
    std::string error;
    auto check = [&](const std::string& path, Overwrite policy, bool canAsk, const char* answer) {
        error.clear();
        FILE* answers = fmemopen(const_cast<char*>(answer), std::strlen(answer) + 1, "r");
        FILE* prompt = std::fopen("/dev/null", "w");
        const int code = CheckOutput(path, policy, canAsk, prompt, answers, {input, "-"}, error);
        std::fclose(answers);
        std::fclose(prompt);
        return code;
    };
    EXPECT_EQ(check(Path("new.mkv"), Overwrite::No, false, ""), kExitOk);
    EXPECT_EQ(check(out, Overwrite::Yes, false, ""), kExitOk);
    EXPECT_EQ(check(out, Overwrite::No, true, "y\n"), kExitUsage);  // -n: not even asked
    EXPECT_EQ(check(out, Overwrite::Ask, false, "y\n"), kExitUsage);  // no terminal: refused
    EXPECT_NE(error.find("-y overwrites it"), std::string::npos) << error;
    EXPECT_EQ(check(out, Overwrite::Ask, true, "y\n"), kExitOk);
    EXPECT_EQ(check(out, Overwrite::Ask, true, "n\n"), kExitUsage);
    EXPECT_EQ(check(out, Overwrite::Ask, true, ""), kExitUsage);  // end of input is no
    EXPECT_EQ(check(input, Overwrite::Yes, false, ""), kExitUsage);  // never over an input
    EXPECT_NE(error.find("is also an input"), std::string::npos) << error;
    EXPECT_EQ(ReadFile(out), "old");
}

TEST_F(OutputFile, AFailedRunRemovesOnlyWhatItWrote) {
    const std::string untouched = Write("keep.mkv", "old");
    const FileStamp keep = StampFile(untouched);
    EXPECT_EQ(RemoveFailedOutput(untouched, keep), 0);  // creation failed before the file was opened
    EXPECT_TRUE(FileExists(untouched));

    const std::string rewritten = Write("over.mkv", "old");
    const FileStamp over = StampFile(rewritten);
    Write("over.mkv", "partial output");
    EXPECT_EQ(RemoveFailedOutput(rewritten, over), 1);
    EXPECT_FALSE(FileExists(rewritten));

    const FileStamp absent = StampFile(Path("new.mkv"));
    EXPECT_EQ(RemoveFailedOutput(Path("new.mkv"), absent), 0);  // nothing was made
    Write("new.mkv", "partial");
    EXPECT_EQ(RemoveFailedOutput(Path("new.mkv"), absent), 1);

    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(RemoveFailedOutput(Path("pipe"), absent), 0);  // special files are written through
    EXPECT_TRUE(FileExists(Path("pipe")));
}
