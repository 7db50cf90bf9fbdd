#include "Names.h"

#include <quevarra/qv_plugin.h>

#include <algorithm>
#include <cctype>

namespace qvnames {

namespace {

constexpr uint32_t Code(const char (&s)[5]) { return QV_FOURCC(s[0], s[1], s[2], s[3]); }

struct Alias {
    const char* name;
    NameKind kind;
    uint32_t code;
};

// The first name of each code is the one shown in messages. Codec names
// follow FFmpeg's codec and encoder names, containers its usual extensions.
const Alias kAliases[] = {
    {"h264", NameKind::VideoCodec, Code("H264")},       {"avc", NameKind::VideoCodec, Code("H264")},
    {"x264", NameKind::VideoCodec, Code("H264")},       {"libx264", NameKind::VideoCodec, Code("H264")},
    {"hevc", NameKind::VideoCodec, Code("HEVC")},       {"h265", NameKind::VideoCodec, Code("HEVC")},
    {"x265", NameKind::VideoCodec, Code("HEVC")},       {"libx265", NameKind::VideoCodec, Code("HEVC")},
    {"vp9", NameKind::VideoCodec, Code("VP90")},        {"libvpx-vp9", NameKind::VideoCodec, Code("VP90")},
    {"av1", NameKind::VideoCodec, Code("AV01")},        {"libsvtav1", NameKind::VideoCodec, Code("AV01")},
    {"libaom-av1", NameKind::VideoCodec, Code("AV01")}, {"xvid", NameKind::VideoCodec, Code("XVID")},
    {"mpeg4", NameKind::VideoCodec, Code("XVID")},      {"libxvid", NameKind::VideoCodec, Code("XVID")},
    {"mjpeg", NameKind::VideoCodec, Code("MJPG")},      {"rawvideo", NameKind::VideoCodec, Code("I420")},
    {"aac", NameKind::AudioCodec, Code("AAC ")},        {"mp3", NameKind::AudioCodec, Code("MP3 ")},
    {"libmp3lame", NameKind::AudioCodec, Code("MP3 ")}, {"opus", NameKind::AudioCodec, Code("OPUS")},
    {"libopus", NameKind::AudioCodec, Code("OPUS")},    {"flac", NameKind::AudioCodec, Code("FLAC")},
    {"ac3", NameKind::AudioCodec, Code("AC3 ")},        {"pcm", NameKind::AudioCodec, Code("PCM ")},
    {"pcm_s16le", NameKind::AudioCodec, Code("PCM ")},  {"mp4", NameKind::Container, Code("MP4 ")},
    {"mov", NameKind::Container, Code("MOV ")},         {"mkv", NameKind::Container, Code("MKV ")},
    {"matroska", NameKind::Container, Code("MKV ")},    {"webm", NameKind::Container, Code("WEBM")},
    {"avi", NameKind::Container, Code("AVI ")},         {"m4a", NameKind::Container, Code("M4A ")},
    {"wav", NameKind::Container, Code("WAV ")},         {"y4m", NameKind::Container, Code("Y4M ")},
    {"yuv4mpegpipe", NameKind::Container, Code("Y4M ")}, {"fmp4", NameKind::Container, Code("FMP4")},
};

// Extensions that are not themselves container names.
const struct {
    const char* ext;
    uint32_t code;
} kExtensions[] = {{"m4v", Code("MP4 ")}, {"qt", Code("MOV ")}, {"mka", Code("MKV ")}};

std::string Lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// A code's text in lower case without its padding: what people type for it.
std::string TypedForm(uint32_t code) {
    std::string s = Lower(FourCCText(code));
    while (!s.empty() && s.back() == ' ') s.pop_back();
    return s;
}

bool Contains(const std::vector<uint32_t>& codes, uint32_t code) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

// Edits (insert, delete, substitute, swap two neighbours) from a to b.
size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::vector<size_t>> d(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
    for (size_t j = 0; j <= b.size(); ++j) d[0][j] = j;
    for (size_t i = 1; i <= a.size(); ++i)
        for (size_t j = 1; j <= b.size(); ++j) {
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
        }
    return d[a.size()][b.size()];
}

// Every name of a kind: the built-in names, then the typed form of each
// published code that has none.
std::vector<std::string> NamesOf(NameKind kind, const std::vector<uint32_t>& published) {
    std::vector<std::string> names;
    for (const Alias& a : kAliases)
        if (a.kind == kind) names.push_back(a.name);
    for (uint32_t code : published) {
        const std::string typed = TypedForm(code);
        if (!typed.empty() && std::find(names.begin(), names.end(), typed) == names.end()) names.push_back(typed);
    }
    return names;
}

std::string Quoted(const std::vector<std::string>& names, const char* lastJoin) {
    std::string s;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i) s += i + 1 == names.size() ? lastJoin : ", ";
        s += "'" + names[i] + "'";
    }
    return s;
}

// What to tell someone whose name matched nothing of its kind.
std::string UnknownNameError(NameKind kind, const std::string& text, const std::vector<uint32_t>& published) {
    const std::string typed = Lower(text);
    std::string error = std::string("unknown ") + KindText(kind) + " '" + text + "'";
    for (const Alias& a : kAliases)
        if (a.kind != kind && typed == a.name)
            return error + " ('" + a.name + "' is " + (a.kind == NameKind::AudioCodec ? "an " : "a ") + KindText(a.kind) + ")";

    // Close matches: a few edits away (fewer for short names), or names that
    // begin with what was typed.
    const size_t limit = typed.size() <= 3 ? 1 : typed.size() <= 6 ? 2 : 3;
    std::vector<std::pair<size_t, std::string>> close;
    const std::vector<std::string> names = NamesOf(kind, published);
    for (const std::string& name : names) {
        size_t d = Distance(typed, name);
        if (typed.size() >= 3 && name.compare(0, typed.size(), typed) == 0) d = std::min<size_t>(d, 1);
        if (d <= limit) close.emplace_back(d, name);
    }
    std::stable_sort(close.begin(), close.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    if (close.size() > 4) close.resize(4);
    std::vector<std::string> suggestions;
    for (const auto& c : close) suggestions.push_back(c.second);
    if (!suggestions.empty()) return error + " (did you mean " + Quoted(suggestions, " or ") + "?)";

    // Nothing close: list one name per code.
    std::vector<std::string> known;
    std::vector<uint32_t> seen;
    for (const Alias& a : kAliases)
        if (a.kind == kind && !Contains(seen, a.code)) {
            seen.push_back(a.code);
            known.push_back(a.name);
        }
    for (uint32_t code : published)
        if (!Contains(seen, code)) {
            seen.push_back(code);
            known.push_back(TypedForm(code));
        }
    return error + " (known: " + Quoted(known, ", ") + ")";
}

}  // namespace

const char* KindText(NameKind kind) {
    switch (kind) {
    case NameKind::VideoCodec: return "video codec";
    case NameKind::AudioCodec: return "audio codec";
    case NameKind::Container: return "container";
    }
    return "name";
}

std::string FourCCText(uint32_t code) {
    std::string s;
    for (int i = 0; i < 4; ++i) {
        const char c = static_cast<char>((code >> (8 * i)) & 0xff);
        s.push_back(c >= 0x20 && c <= 0x7e ? c : '?');
    }
    return s;
}

std::string DisplayName(uint32_t code) {
    for (const Alias& a : kAliases)
        if (a.code == code) return a.name;
    return TypedForm(code);
}

NameResult ResolveName(NameKind kind, const std::string& text, const std::vector<uint32_t>& published) {
    NameResult r;
    const std::string typed = Lower(text);
    // A code exactly as published, padding and case included.
    for (uint32_t code : published)
        if (FourCCText(code) == text) {
            r.code = code;
            return r;
        }
    for (const Alias& a : kAliases)
        if (a.kind == kind && typed == a.name) {
            r.code = a.code;
            return r;
        }
    // Any code of this kind in any case, with or without its padding.
    std::vector<uint32_t> codes = published;
    for (const Alias& a : kAliases)
        if (a.kind == kind) codes.push_back(a.code);
    std::string trimmed = typed;
    while (!trimmed.empty() && trimmed.back() == ' ') trimmed.pop_back();
    for (uint32_t code : codes)
        if (!trimmed.empty() && TypedForm(code) == trimmed) {
            r.code = code;
            return r;
        }
    r.error = text.empty() ? std::string("empty ") + KindText(kind) + " name" : UnknownNameError(kind, text, published);
    return r;
}

std::vector<uint32_t> PublishedCodes(NameKind kind) {
    std::vector<uint32_t> codes;
    for (const FILEFORMAT_INFO* f = QVGetFileFormatInfos(); f && f->dwFourCC; ++f) {
        if (kind == NameKind::Container) {
            if (!Contains(codes, f->dwFourCC)) codes.push_back(f->dwFourCC);
            continue;
        }
        ENCODER_ITEM** list = kind == NameKind::VideoCodec ? f->ppVideoEnc : f->ppAudioEnc;
        const int count = kind == NameKind::VideoCodec ? f->nVideoEnc : f->nAudioEnc;
        for (int i = 0; list && i < count; ++i)
            if (list[i] && !Contains(codes, list[i]->dwFourCC)) codes.push_back(list[i]->dwFourCC);
    }
    return codes;
}

uint32_t ContainerForFileName(const std::string& fileName) {
    const size_t slash = fileName.rfind('/');
    const size_t dot = fileName.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash) || dot + 1 == fileName.size())
        return 0;
    const std::string ext = Lower(fileName.substr(dot + 1));
    for (const auto& e : kExtensions)
        if (ext == e.ext) return e.code;
    for (const Alias& a : kAliases)
        if (a.kind == NameKind::Container && ext == a.name) return a.code;
    return 0;
}

CodecChoice ChooseCodec(const FILEFORMAT_INFO* container, NameKind stream, uint32_t requested,
                        uint32_t libraryDefault) {
    CodecChoice c;
    const bool video = stream == NameKind::VideoCodec;
    if (!container) {
        c.error = "no plugin writes this container";
        return c;
    }
    ENCODER_ITEM** list = video ? container->ppVideoEnc : container->ppAudioEnc;
    const int count = list ? (video ? container->nVideoEnc : container->nAudioEnc) : 0;
    const std::string name = "'" + DisplayName(container->dwFourCC) + "'";
    std::vector<uint32_t> codes;
    for (int i = 0; i < count; ++i)
        if (list[i]) codes.push_back(list[i]->dwFourCC);
    if (codes.empty()) {
        c.ok = requested == 0;
        if (!c.ok) c.error = "container " + name + " carries no " + (video ? "video" : "audio");
        return c;
    }
    c.carries = true;
    if (requested) {
        if (!Contains(codes, requested)) {
            std::vector<std::string> names;
            for (uint32_t code : codes) names.push_back(DisplayName(code));
            c.error = "container " + name + " does not take " + KindText(stream) + " '" + DisplayName(requested) +
                      "' (it takes " + Quoted(names, ", ") + ")";
            return c;
        }
        c.code = requested;
    } else {
        c.code = Contains(codes, libraryDefault) ? libraryDefault : codes.front();
    }
    c.ok = true;
    return c;
}

}  // namespace qvnames
