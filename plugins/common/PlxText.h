// Text conversion shared by the plugins and the logging library.
#ifndef QUEVARRA_PLUGINS_PLXTEXT_H
#define QUEVARRA_PLUGINS_PLXTEXT_H

#include <string>

namespace plx {

// UTF-32 wide text to UTF-8; code points that are not scalar values become U+FFFD.
std::string WideToUtf8(const wchar_t* text);
// UTF-8 to wide text; malformed bytes become U+FFFD.
std::wstring Utf8ToWide(const std::string& text);

}  // namespace plx

#endif
