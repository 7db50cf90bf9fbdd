// --version: qvencode's own version, the library's and the FFmpeg libraries
// the program runs on (which may differ from those it was built with).
#ifndef QVENCODE_VERSION_H
#define QVENCODE_VERSION_H

#include <string>

namespace qvenc {

std::string VersionText();

}  // namespace qvenc

#endif
