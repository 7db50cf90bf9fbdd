// UTF-8 <-> UTF-32 text for the plugins and the logging library, which link
// nothing of the library's own.
#include "common/PlxText.h"

#include <stdint.h>

namespace plx {

std::string WideToUtf8(const wchar_t* text) {
    std::string out;
    if (!text) return out;
    for (; *text; ++text) {
        uint32_t c = static_cast<uint32_t>(*text);
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
    return out;
}

std::wstring Utf8ToWide(const std::string& text) {
    std::wstring out;
    size_t i = 0;
    while (i < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        unsigned len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        uint32_t cp = len == 1 ? c : len == 2 ? (c & 0x1F) : len == 3 ? (c & 0x0F) : (c & 0x07);
        bool ok = len != 0 && i + len <= text.size();
        for (unsigned k = 1; ok && k < len; ++k) {
            unsigned char cc = static_cast<unsigned char>(text[i + k]);
            ok = (cc & 0xC0) == 0x80;
            cp = (cp << 6) | (cc & 0x3F);
        }
        if (!ok) {
            out += static_cast<wchar_t>(0xFFFD);
            ++i;
            continue;
        }
        out += static_cast<wchar_t>(cp);
        i += len;
    }
    return out;
}

}  // namespace plx
