// FFmpeg's own messages while qvencode runs. With -v they are shown live;
// otherwise they are kept, so that a failure can be explained by FFmpeg's
// last error and a finished run can mention what FFmpeg warned about.
#ifndef QVENCODE_FFLOG_H
#define QVENCODE_FFLOG_H

#include <string>
#include <vector>

namespace qvenc {

// Installs the routing for the whole process; call once, before FFmpeg runs.
void RouteFfmpegLog(bool verbose);

// The last error FFmpeg reported ("moov atom not found"), empty if none;
// cleared by reading it.
std::string TakeFfmpegError();

// The distinct warnings and errors kept so far, in order of first
// appearance, "(N times)" added to repeated ones.
std::vector<std::string> FfmpegWarnings();

// FFmpeg's text for an error code.
std::string FfmpegErrorText(int error);

}  // namespace qvenc

#endif
