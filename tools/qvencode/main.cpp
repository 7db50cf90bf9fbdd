// qvencode: writes a media file through the library's plugins from anything
// FFmpeg can read, or from a generated test pattern.
#include "FfLog.h"
#include "Job.h"
#include "Options.h"
#include "Version.h"

#include <malloc.h>

#include <cstdio>

int main(int argc, char** argv) {
    qvenc::Options options;
    const qvenc::ParseResult parsed = qvenc::ParseOptions(argc, argv, options);
    if (!parsed.ok) {
        std::fprintf(stderr, "qvencode: %s\nTry 'qvencode -h'.\n", parsed.error.c_str());
        return qvenc::kExitUsage;
    }
    if (options.help) {
        std::fputs(qvenc::UsageText(), stdout);
        return qvenc::kExitOk;
    }
    if (options.version) {
        std::fputs(qvenc::VersionText().c_str(), stdout);
        return qvenc::kExitOk;
    }
    // Demuxers allocate every packet afresh (8 MB for a 1080p BGRA frame). With
    // glibc's defaults each free hands those pages back to the kernel and the
    // next frame faults them in again, which costs more system time than the
    // whole colour conversion: keep freed memory for reuse instead.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    qvenc::RouteFfmpegLog(options.verbose);
    if (options.list) return qvenc::RunList(options);
    return qvenc::RunJob(options);
}
