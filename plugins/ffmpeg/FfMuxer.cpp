// plxffmpeg muxers: libavformat over a file descriptor of our own, so that
// every flushed byte reaches the file at once and the fast-start pass can
// report its progress.
#include "ffmpeg/FfCodecs.h"

#include "PlxContract.h"
#include "common/PlxCommon.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace plxff {

namespace {

enum { kAudio = 0, kVideo = 1 };

struct StreamState {
    bool want = false;   // enabled in the file's parameters
    bool known = false;  // codec parameters received from the encoder
    AVCodecParameters* par = nullptr;
    AVRational tb{0, 1};  // time base of the encoder's packets
    AVStream* st = nullptr;
};

struct Queued {
    int type;
    AVPacket* pkt;  // in the encoder's time base
};

struct MuxFile {
    uint32_t fourcc = 0;
    std::string path;
    int fd = -1;
    AVFormatContext* oc = nullptr;
    AVIOContext* pb = nullptr;
    StreamState s[2];
    std::vector<Queued> queue;  // packets that came before the header could be written
    bool header = false;
    bool failed = false;
    bool warnedWrite = false;
    bool faststart = false;
    // Progress of the fast-start pass, measured by the bytes it writes.
    QVPROGRESS_CALLBACK callback = nullptr;
    void* user = nullptr;
    bool inTrailer = false;
    int64_t trailerBytes = 0, trailerTotal = 0;
    unsigned lastStep = 0;
};

const char* FormatName(uint32_t fourcc) {
    switch (fourcc) {
    case QV_FOURCC('M', 'P', '4', ' '): return "mp4";
    case QV_FOURCC('F', 'M', 'P', '4'): return "mp4";
    case QV_FOURCC('M', 'O', 'V', ' '): return "mov";
    case QV_FOURCC('M', 'K', 'V', ' '): return "matroska";
    case QV_FOURCC('A', 'V', 'I', ' '): return "avi";
    case QV_FOURCC('W', 'E', 'B', 'M'): return "webm";
    case QV_FOURCC('M', '4', 'A', ' '): return "ipod";
    default: return nullptr;
    }
}

int IoWrite(void* opaque, uint8_t* buf, int size) {
    MuxFile* m = static_cast<MuxFile*>(opaque);
    int left = size;
    while (left > 0) {
        ssize_t n = write(m->fd, buf + (size - left), static_cast<size_t>(left));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return AVERROR(errno ? errno : EIO);
        left -= static_cast<int>(n);
    }
    if (m->inTrailer && m->faststart && m->callback && m->trailerTotal > 0) {
        m->trailerBytes += size;
        int64_t step = m->trailerBytes * 1000 / m->trailerTotal;
        unsigned s = static_cast<unsigned>(step > 1000 ? 1000 : step);
        if (s > m->lastStep) {
            m->lastStep = s;
            m->callback(m->user, s, 1000, PLX_STAGE_FASTSTART);
        }
    }
    return size;
}

int IoRead(void* opaque, uint8_t* buf, int size) {
    MuxFile* m = static_cast<MuxFile*>(opaque);
    ssize_t n;
    do n = read(m->fd, buf, static_cast<size_t>(size));
    while (n < 0 && errno == EINTR);
    if (n < 0) return AVERROR(errno);
    return n == 0 ? AVERROR_EOF : static_cast<int>(n);
}

int64_t IoSeek(void* opaque, int64_t offset, int whence) {
    MuxFile* m = static_cast<MuxFile*>(opaque);
    if (whence & AVSEEK_SIZE) {
        struct stat st;
        return fstat(m->fd, &st) == 0 ? st.st_size : AVERROR(errno);
    }
    off_t r = lseek(m->fd, offset, whence & ~AVSEEK_FORCE);
    return r < 0 ? AVERROR(errno) : r;
}

const char* TypeName(int type) { return type == kVideo ? "video" : "audio"; }

void Free(MuxFile* m) {
    for (Queued& q : m->queue) av_packet_free(&q.pkt);
    m->queue.clear();
    for (StreamState& s : m->s) avcodec_parameters_free(&s.par);
    if (m->pb) {
        av_freep(&m->pb->buffer);
        avio_context_free(&m->pb);
    }
    if (m->oc) avformat_free_context(m->oc);
    if (m->fd >= 0) close(m->fd);
    delete m;
}

bool WritePacket(MuxFile* m, int type, AVPacket* pkt) {
    StreamState& s = m->s[type];
    if (!s.st) return true;  // a stream left out of the file
    pkt->stream_index = s.st->index;
    av_packet_rescale_ts(pkt, s.tb, s.st->time_base);
    int err = av_interleaved_write_frame(m->oc, pkt);  // takes the packet's data
    if (err < 0) {
        if (!m->warnedWrite)
            plx::Report("plxffmpeg: cannot write %s to [%s]: %s", TypeName(type), m->path.c_str(),
                        ErrorText(err).c_str());
        m->warnedWrite = true;
        return false;
    }
    return true;
}

bool WriteHeader(MuxFile* m) {
    for (int type : {kVideo, kAudio}) {
        StreamState& s = m->s[type];
        if (!s.want) continue;
        if (!s.known) {
            plx::Report("plxffmpeg: no %s reached [%s]; the file has no %s stream", TypeName(type),
                        m->path.c_str(), TypeName(type));
            continue;
        }
        s.st = avformat_new_stream(m->oc, nullptr);
        if (!s.st || avcodec_parameters_copy(s.st->codecpar, s.par) < 0) {
            plx::Report("plxffmpeg: out of memory for the %s stream of [%s]", TypeName(type), m->path.c_str());
            return false;
        }
        s.st->codecpar->codec_tag = 0;
        s.st->time_base = s.tb;
        if (type == kVideo) s.st->avg_frame_rate = av_inv_q(s.tb);
    }
    if (m->oc->nb_streams == 0) {
        plx::Report("plxffmpeg: nothing was written to [%s]", m->path.c_str());
        return false;
    }
    AVDictionary* opts = nullptr;
    if (m->fourcc == QV_FOURCC('F', 'M', 'P', '4')) {
        // A fragment per key frame (every two seconds), each complete on disk.
        av_dict_set(&opts, "movflags", "+frag_keyframe+delay_moov+default_base_moof", 0);
    } else if (m->faststart) {
        av_dict_set(&opts, "movflags", "+faststart", 0);
    } else if (m->fourcc == QV_FOURCC('M', 'K', 'V', ' ') || m->fourcc == QV_FOURCC('W', 'E', 'B', 'M')) {
        // Short clusters: a killed writer loses at most the last second.
        av_dict_set(&opts, "cluster_time_limit", "1000", 0);
    }
    int err = avformat_write_header(m->oc, &opts);
    av_dict_free(&opts);
    if (err < 0) {
        plx::Report("plxffmpeg: cannot write the header of [%s]: %s", m->path.c_str(), ErrorText(err).c_str());
        return false;
    }
    m->header = true;
    std::vector<Queued> queue;
    queue.swap(m->queue);
    size_t done = 0;
    for (Queued& q : queue) {
        if (m->inTrailer && m->callback)
            m->callback(m->user, static_cast<unsigned>(done), static_cast<unsigned>(queue.size()),
                        PLX_STAGE_PACKETS);
        WritePacket(m, q.type, q.pkt);
        av_packet_free(&q.pkt);
        ++done;
    }
    return true;
}

// Takes one encoder output list; 1 when accepted.
uint32_t Accept(MuxFile* m, const void* data, int type) {
    const PLX_PACKETS* list = static_cast<const PLX_PACKETS*>(data);
    if (!m || !list || list->tag != PLX_CONTRACT_TAG || list->nType != type || !list->pCodecPar)
        return 0;
    StreamState& s = m->s[type];
    if (!s.want || m->failed) return 0;
    if (!s.known) {
        s.par = avcodec_parameters_alloc();
        if (!s.par || avcodec_parameters_copy(s.par, list->pCodecPar) < 0) return 0;
        s.tb = AVRational{list->nTimeBaseNum, list->nTimeBaseDen};
        s.known = true;
    }
    for (int i = 0; i < list->nPackets; ++i) {
        AVPacket* pkt = av_packet_clone(list->ppPackets[i]);
        if (!pkt) return 0;
        if (m->header) {
            WritePacket(m, type, pkt);
            av_packet_free(&pkt);
        } else {
            m->queue.push_back(Queued{type, pkt});
        }
    }
    // The header goes out once every enabled stream has described itself.
    if (!m->header && (!m->s[kAudio].want || m->s[kAudio].known) &&
        (!m->s[kVideo].want || m->s[kVideo].known) && !WriteHeader(m))
        m->failed = true;
    return m->failed ? 0 : 1;
}

}  // namespace

void* MuxCreateFile(const wchar_t* path, EncodeParam* param) {
    if (!path || !param) return nullptr;
    MuxFile* m = new MuxFile;
    m->fourcc = param->dwFileFormat;
    m->path = plx::WideToUtf8(path);
    const char* format = FormatName(m->fourcc);
    const AVOutputFormat* ofmt = format ? av_guess_format(format, nullptr, nullptr) : nullptr;
    if (!ofmt) {
        plx::Report("plxffmpeg: this FFmpeg cannot write %s files [%s]", plx::FourCCText(m->fourcc).c_str(),
                    m->path.c_str());
        Free(m);
        return nullptr;
    }
    m->faststart = m->fourcc == QV_FOURCC('M', 'P', '4', ' ') || m->fourcc == QV_FOURCC('M', 'O', 'V', ' ') ||
                   m->fourcc == QV_FOURCC('M', '4', 'A', ' ');
    const bool hasVideo = m->fourcc != QV_FOURCC('M', '4', 'A', ' ');
    m->s[kVideo].want = hasVideo && !param->bDisableVideo;
    m->s[kAudio].want = !param->bDisableAudio;
    // Refuse codecs the container cannot hold before any file exists.
    const uint32_t codes[2] = {param->audio.dwFourCC, param->video.dwFourCC};
    for (int type : {kAudio, kVideo}) {
        if (!m->s[type].want) continue;
        const AVCodec* codec = ProbedEncoder(codes[type]);
        const CodecEntry* entry = FindCodecEntry(codes[type]);
        if (!codec || !entry || entry->type != type ||
            avformat_query_codec(ofmt, codec->id, FF_COMPLIANCE_NORMAL) == 0 ||
            // This FFmpeg writes FLAC into MP4 only as an experiment.
            (codec->id == AV_CODEC_ID_FLAC && !strcmp(ofmt->name, "mp4"))) {
            plx::Report("plxffmpeg: a %s file cannot hold %s [%s]", plx::FourCCText(m->fourcc).c_str(),
                        plx::FourCCText(codes[type]).c_str(), m->path.c_str());
            Free(m);
            return nullptr;
        }
    }
    if (!m->s[kAudio].want && !m->s[kVideo].want) {
        plx::Report("plxffmpeg: no stream to write to [%s]", m->path.c_str());
        Free(m);
        return nullptr;
    }
    int err = avformat_alloc_output_context2(&m->oc, ofmt, nullptr, nullptr);
    if (err >= 0) {
        // The fast-start pass reopens the file by name to read it back.
        m->oc->url = av_strdup(("file:" + m->path).c_str());
        m->fd = open(m->path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (m->fd < 0) err = AVERROR(errno);
    }
    if (err >= 0) {
        const int size = 1 << 16;
        uint8_t* buffer = static_cast<uint8_t*>(av_malloc(size));
        m->pb = buffer ? avio_alloc_context(buffer, size, 1, m, IoRead, IoWrite, IoSeek) : nullptr;
        if (!m->pb) {
            av_free(buffer);
            err = AVERROR(ENOMEM);
        }
    }
    if (err < 0) {
        plx::Report("plxffmpeg: cannot create the file [%s]: %s", m->path.c_str(), ErrorText(err).c_str());
        Free(m);
        return nullptr;
    }
    m->oc->pb = m->pb;
    // Every packet leaves our buffer at once: what was muxed is on disk even
    // if the process dies.
    m->oc->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_FLUSH_PACKETS;
    return m;
}

uint32_t MuxWriteAudio(void* hFile, const void* data, uint32_t word) {
    if (word != PLX_CONTRACT_TAG) return 0;
    return Accept(static_cast<MuxFile*>(hFile), data, kAudio);
}

uint32_t MuxWriteVideo(void* hFile, const void* data) {
    return Accept(static_cast<MuxFile*>(hFile), data, kVideo);
}

void MuxSetAudioExtra(void* hFile, uintptr_t w1, uintptr_t w2) {
    if (w2 == PLX_CONTRACT_TAG) Accept(static_cast<MuxFile*>(hFile), reinterpret_cast<const void*>(w1), kAudio);
}

void MuxSetVideoExtra(void* hFile, uintptr_t w1, uintptr_t w2, uintptr_t, uintptr_t) {
    if (w2 == PLX_CONTRACT_TAG) Accept(static_cast<MuxFile*>(hFile), reinterpret_cast<const void*>(w1), kVideo);
}

int MuxCloseFile(void* hFile, QVPROGRESS_CALLBACK callback, void* user) {
    MuxFile* m = static_cast<MuxFile*>(hFile);
    if (!m) return 0;
    m->callback = callback;
    m->user = user;
    m->inTrailer = true;
    bool ok = !m->failed;
    // A stream that never delivered anything is left out rather than losing the other.
    if (ok && !m->header) ok = WriteHeader(m);
    if (ok) {
        m->trailerTotal = IoSeek(m, 0, AVSEEK_SIZE);
        int err = av_write_trailer(m->oc);
        if (err < 0) {
            plx::Report("plxffmpeg: cannot finish the file [%s]: %s", m->path.c_str(), ErrorText(err).c_str());
            ok = false;
        }
        avio_flush(m->pb);
        if (m->faststart && callback && m->lastStep < 1000) callback(user, 1000, 1000, PLX_STAGE_FASTSTART);
    }
    if (m->fd >= 0 && close(m->fd) != 0 && ok) {
        plx::Report("plxffmpeg: cannot finish the file [%s]: %s", m->path.c_str(), strerror(errno));
        ok = false;
    }
    m->fd = -1;
    if (callback) callback(user, 1, 1, PLX_STAGE_DONE);
    Free(m);
    return ok ? 1 : 0;
}

}  // namespace plxff
