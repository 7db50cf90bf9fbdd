// The library's version, given by the build from the project's version so
// that it always matches the installed CMake package and pkg-config file.
#include <quevarra/qv_embed.h>

#ifndef QV_VERSION_STRING
#error "the build defines QV_VERSION_STRING"
#endif

extern "C" const char* QVGetVersionString(void) { return QV_VERSION_STRING; }
