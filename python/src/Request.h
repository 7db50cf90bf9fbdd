// What a MediaFile's constructor was asked for, and how that becomes the
// library's parameters: names resolved and codecs chosen exactly as qvencode
// does, sizes and rates defaulted from each other.
#ifndef QUEVARRA_PYTHON_REQUEST_H
#define QUEVARRA_PYTHON_REQUEST_H

#include <cstdint>
#include <optional>
#include <string>

#include "Writer.h"

namespace qvpy {

struct FileRequest {
    std::wstring path;
    std::string pathText;
    std::optional<std::string> format, videoCodec, audioCodec;
    std::optional<int64_t> width, height, inputWidth, inputHeight;
    std::optional<double> fps, inputFps;
    std::optional<int64_t> videoBitrate, audioBitrate;
    std::optional<int64_t> sampleRate, channels, inputSampleRate, inputChannels;
    std::string pixelFormat = "rgb24";
    std::string resize = "keep";
    std::string interpolation = "bilinear";
    bool video = true;
    bool audio = true;
};

// The configuration of the file to create. Throws std::invalid_argument for
// a request that cannot mean anything (unknown names, sizes out of range, a
// codec the container does not take) and LibraryError when no installed
// plugin writes the container. The plugins must be initialised.
FileConfig ResolveRequest(const FileRequest& request);

// Text of a pixel format, as the constructor takes it.
const char* PixelFormatName(PixelFormat format);

}  // namespace qvpy

#endif
