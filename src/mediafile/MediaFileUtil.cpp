#include "mediafile/MediaFileUtil.h"

#include <math.h>

#include <vector>

#include <quevarra/qv_support.h>

namespace qvmedia {

std::string NarrowName(const wchar_t* name) {
    if (!name) return std::string();
    // Room for the longest encoding (4 bytes a character) and the terminator;
    // lenient conversion turns what is not Unicode into U+FFFD.
    std::vector<char> out(wcslen(name) * 4 + 1, '\0');
    WtoUTF8(name, -1, out.data(), static_cast<int>(out.size()), false);
    return std::string(out.data());
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

double OutputByteRate(const EncodeAudioParam& a) {
    int64_t rate = static_cast<int64_t>(a.nSampleRate) * a.nChannels * a.nBitsPerSample / 8;
    return rate > 0 ? static_cast<double>(rate) : 0.0;
}

int64_t SaturatingAdd(int64_t a, int64_t b) {
    int64_t sum;
    if (__builtin_add_overflow(a, b, &sum)) return b > 0 ? INT64_MAX : INT64_MIN;
    return sum;
}

}  // namespace qvmedia
