// A small stand-in for the platform's bundle queries: the main bundle of the
// running process and the string of its URL.
#ifndef QUEVARRA_PLATFORM_BUNDLE_H
#define QUEVARRA_PLATFORM_BUNDLE_H

#include <string>

namespace qvbundle {

enum StringEncoding { kEncodingUTF8, kEncodingUTF32 };

// URL string of the main bundle, "file://localhost/<absolute path>/", or an
// empty string when the executable's path cannot be read. The bundle is:
//  - the directory named by QUEVARRA_BUNDLE, when that names a directory;
//  - X.app when the executable lies in X.app/Contents/MacOS;
//  - the executable's own directory when it has Contents/MacOS/Encoder;
//  - the bundle installed with the library: X.app when the library lies in
//    X.app/Contents/MacOS, else quevarra/Quevarra.app beside the library;
//  - otherwise the executable's own directory.
// Paths are not percent-encoded, so the string is usable as a path verbatim.
std::string MainBundleURLString();

// Writes `text` into `buffer` of `bufferBytes` bytes in the given encoding,
// terminator included (UTF-32 units are wchar_t). Returns false and leaves the
// buffer untouched when it does not fit or the text is not valid UTF-8.
bool StringGetCString(const std::string& text, void* buffer, long bufferBytes,
                      StringEncoding encoding);

}  // namespace qvbundle

#endif
