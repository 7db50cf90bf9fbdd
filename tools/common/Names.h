// Names people type for codecs and containers, and the codec chosen for a
// container. Shared by the command-line tool and the language bindings so that
// every front end accepts the same names and picks codecs the same way.
// Depends on the library's public records only.
#ifndef QUEVARRA_TOOLS_NAMES_H
#define QUEVARRA_TOOLS_NAMES_H

#include <quevarra/qv_records.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qvnames {

enum class NameKind { VideoCodec, AudioCodec, Container };

// "video codec", "audio codec", "container".
const char* KindText(NameKind kind);

// The code a typed name stands for, or 0 with `error` saying why
// ("unknown video codec 'h246' (did you mean 'h264'?)").
struct NameResult {
    uint32_t code = 0;
    std::string error;
};

// Accepts, for its kind: a FourCC exactly as published ("H264", "AAC "); a
// FourCC in any case without its padding ("h264", "aac"); and the usual
// names ("libx264", "hevc", "matroska"). `published` adds codes beyond the
// built-in ones (other plugins' codes, by their FourCC only).
NameResult ResolveName(NameKind kind, const std::string& text, const std::vector<uint32_t>& published);

// Codes the loaded plugins publish for a kind: containers from
// QVGetFileFormatInfos, codecs from the containers' encoder lists. Empty when
// no plugins are loaded.
std::vector<uint32_t> PublishedCodes(NameKind kind);

// The container for a file name's extension (".mkv", ".MP4", ".webm"), or 0.
uint32_t ContainerForFileName(const std::string& fileName);

// The name shown for a code: the short name people type ("h264", "vp9",
// "mkv"), else the FourCC without its padding.
std::string DisplayName(uint32_t code);

// The four characters of a code, unprintable bytes as '?'.
std::string FourCCText(uint32_t code);

// The codec for one stream of a container.
struct CodecChoice {
    bool ok = false;       // false: the request cannot be met; error says why
    bool carries = false;  // the container has a stream of this kind
    uint32_t code = 0;     // the codec to use when ok and carries
    std::string error;
};

// `stream` is VideoCodec or AudioCodec. `requested` 0 means none was asked
// for: the library's default when the container lists it, else the
// container's first listed codec. A container that carries no such stream
// gives ok with carries false, unless a codec was requested. A null
// container (not published) is refused.
CodecChoice ChooseCodec(const FILEFORMAT_INFO* container, NameKind stream, uint32_t requested,
                        uint32_t libraryDefault);

}  // namespace qvnames

#endif
