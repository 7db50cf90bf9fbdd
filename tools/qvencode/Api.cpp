#include "Api.h"

namespace qvenc {

std::string MissingEntryPoints() {
    struct Entry {
        const char* name;
        bool present;
    };
    const Entry entries[] = {
        {"QVInitPlugins", &QVInitPlugins != nullptr},
        {"QVUninitPlugins", &QVUninitPlugins != nullptr},
        {"QVGetFileFormatInfos", &QVGetFileFormatInfos != nullptr},
        {"QVGetEncoderInfo", &QVGetEncoderInfo != nullptr},
        {"QVFindFileFormatPlugin", &QVFindFileFormatPlugin != nullptr},
        {"QVDefaultEncodeParam", &QVDefaultEncodeParam != nullptr},
        {"QVCreateMediaFile", &QVCreateMediaFile != nullptr},
        {"QVCloseMediaFile", &QVCloseMediaFile != nullptr},
        {"QVWriteVideoFrame", &QVWriteVideoFrame != nullptr},
        {"QVWriteAudioData", &QVWriteAudioData != nullptr},
        {"Rgb32_2_yuv420_Ex", &Rgb32_2_yuv420_Ex != nullptr},
    };
    std::string missing;
    for (const Entry& e : entries)
        if (!e.present) missing += (missing.empty() ? "" : " ") + std::string(e.name);
    return missing;
}

}  // namespace qvenc
