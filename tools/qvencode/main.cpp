// qvencode: writes a media file from YUV4MPEG2 / raw RGB video and WAV audio,
// or from a generated test pattern, through the library's plugins.
#include "Job.h"
#include "Options.h"

#include <cstdio>

int main(int argc, char** argv) {
    qvenc::Options options;
    const qvenc::ParseResult parsed = qvenc::ParseOptions(argc, argv, options);
    if (!parsed.ok) {
        std::fprintf(stderr, "qvencode: %s\n%s", parsed.error.c_str(), qvenc::UsageText());
        return qvenc::kExitUsage;
    }
    if (options.help) {
        std::fputs(qvenc::UsageText(), stdout);
        return qvenc::kExitOk;
    }
    if (options.list) return qvenc::RunList(options);
    const int code = qvenc::RunJob(options);
    if (code == qvenc::kExitUsage) std::fputs(qvenc::UsageText(), stderr);
    return code;
}
