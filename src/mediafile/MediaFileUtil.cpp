#include "mediafile/MediaFileUtil.h"

#include <math.h>

namespace qvmedia {

std::string NarrowName(const wchar_t* name) {
    std::string out;
    if (!name) return out;
    // Only for the log: out of memory gives what was converted so far.
    try {
    for (; *name; ++name) {
        uint32_t c = static_cast<uint32_t>(*name);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    } catch (...) {
    }
    return out;
}

int64_t TruncToInt64(double value) {
    if (isnan(value)) return 0;
    // 2^63 is exactly representable; anything at or beyond it saturates.
    if (value >= 9223372036854775808.0) return INT64_MAX;
    if (value < -9223372036854775808.0) return INT64_MIN;
    return static_cast<int64_t>(value);
}

int32_t TruncToInt32(double value) {
    if (isnan(value)) return 0;
    if (value >= 2147483647.0) return INT32_MAX;
    if (value <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(value);
}

}  // namespace qvmedia
