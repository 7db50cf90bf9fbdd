#include "FormatList.h"

#include <quevarra/quevarra.h>
#include "Names.h"
#include "Text.h"

#include <string>
#include <vector>

namespace qvenc {

namespace {

// The names to type for a list of encoders.
std::string Codes(ENCODER_ITEM** encoders, int count) {
    std::string s;
    for (int i = 0; encoders && i < count; ++i) {
        if (!s.empty()) s += ' ';
        s += qvnames::DisplayName(encoders[i]->dwFourCC);
    }
    return s.empty() ? "-" : s;
}

}  // namespace

int PrintFormatList(FILE* out) {
    const FILEFORMAT_INFO* info = QVGetFileFormatInfos();
    int formats = 0;
    std::vector<uint32_t> encoders;
    std::fprintf(out, "%-9s %-6s %-5s %-18s %-30s %s\n", "FORMAT", "FOURCC", "EXT", "DESCRIPTION", "VIDEO", "AUDIO");
    for (const FILEFORMAT_INFO* f = info; f && f->dwFourCC; ++f, ++formats) {
        std::fprintf(out, "%-9s %-6s %-5s %-18s %-30s %s\n", qvnames::DisplayName(f->dwFourCC).c_str(),
                     ("'" + qvnames::FourCCText(f->dwFourCC) + "'").c_str(), WideToUtf8(f->wszText0, 10).c_str(),
                     WideToUtf8(f->wszText1, 64).c_str(), Codes(f->ppVideoEnc, f->nVideoEnc).c_str(),
                     Codes(f->ppAudioEnc, f->nAudioEnc).c_str());
        for (int k = 0; k < 2; ++k) {
            ENCODER_ITEM** list = k ? f->ppAudioEnc : f->ppVideoEnc;
            const int n = k ? f->nAudioEnc : f->nVideoEnc;
            for (int i = 0; list && i < n; ++i) {
                bool seen = false;
                for (uint32_t c : encoders) seen = seen || c == list[i]->dwFourCC;
                if (!seen) encoders.push_back(list[i]->dwFourCC);
            }
        }
    }
    if (formats == 0) return 0;
    std::fprintf(out, "\n%-9s %-6s %-6s %s\n", "CODEC", "FOURCC", "TYPE", "DESCRIPTION");
    for (uint32_t code : encoders) {
        ENCODER_ITEM item{};
        if (!QVGetEncoderInfo(code, &item)) continue;
        const char* type = item.nType == 1 ? "video" : item.nType == 0 ? "audio" : "other";
        std::fprintf(out, "%-9s %-6s %-6s %s\n", qvnames::DisplayName(code).c_str(),
                     ("'" + qvnames::FourCCText(code) + "'").c_str(), type, WideToUtf8(item.wszText2, 120).c_str());
    }
    return formats;
}

}  // namespace qvenc
