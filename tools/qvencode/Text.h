// UTF-8 <-> wide (UTF-32) text for file names and plugin descriptions.
#ifndef QVENCODE_TEXT_H
#define QVENCODE_TEXT_H

#include <string>

namespace qvenc {

// Malformed bytes become U+FFFD.
std::wstring Utf8ToWide(const std::string& text);
std::string WideToUtf8(const wchar_t* text, size_t maxChars);

}  // namespace qvenc

#endif
