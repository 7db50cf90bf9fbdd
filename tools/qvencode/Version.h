// --version: qvencode's own version, that of the library it loaded and of the
// FFmpeg libraries it runs on (which may differ from those it was built with).
#ifndef QVENCODE_VERSION_H
#define QVENCODE_VERSION_H

#include <string>

namespace qvenc {

std::string VersionText();

}  // namespace qvenc

#endif
