// A logging library for the fuzz targets: reads each message to its
// terminator (so that an unterminated one is reported) and discards it.
#include <wchar.h>

extern "C" __attribute__((visibility("default"))) int Log(const wchar_t* message) {
    return message ? static_cast<int>(wcslen(message) > 0) : 0;
}
