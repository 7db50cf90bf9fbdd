/* Fixed-layout records shared by hosts, the library and plugins.
 *
 * Layouts. Every record below has the exact size and field offsets of the
 * original 32-bit module when compiled with -m32 (pointers 4 bytes); this is
 * pinned with static_assert at the end of the file. On a 64-bit build:
 *  - the records without pointers (EncodeParam 104, xVideoInfo 44, xAudioInfo 28,
 *    ENCODER_MODE 8) keep their 32-bit layout exactly (4-byte packing of their
 *    doubles and 64-bit integers);
 *  - the records with pointers use natural alignment, which widens them:
 *    MEDIA_FRAME 96 bytes (bytes 4..7 padding, the shared union at 8..71,
 *    llTimeStamp 72, llStreamTime 80, nDuration 88), ENCODER_ITEM 800 (entry
 *    pointers from 744), FILEFORMAT_ITEM 888 (pAudioModes at 816),
 *    FILEFORMAT_INFO 840 (ppAudioEnc at 824), IMG_PARAM 40.
 * Plugins must be built with the same pointer width as the library. */
#ifndef QUEVARRA_QV_RECORDS_H
#define QUEVARRA_QV_RECORDS_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

/* Builds a FourCC from its four characters, the first in the lowest byte:
 * QV_FOURCC('X','V','I','D') == 0x44495658. */
#define QV_FOURCC(a, b, c, d)                                                  \
    ((uint32_t)(uint8_t)(a) | ((uint32_t)(uint8_t)(b) << 8) |                  \
     ((uint32_t)(uint8_t)(c) << 16) | ((uint32_t)(uint8_t)(d) << 24))

/* Container code that makes the media file hand video frames to the pipeline
 * untouched (no resizing, no pacing). */
#define QV_FOURCC_COPY QV_FOURCC('C', 'O', 'P', 'Y')

/* Progress callback handed to a muxer's close entry. The three numbers are the
 * muxer's to define (our plugins: done, total, stage). May be null. */
typedef unsigned int (*QVPROGRESS_CALLBACK)(void* user, unsigned int, unsigned int,
                                            unsigned int);

#pragma pack(push, 4)

/* Video part of EncodeParam (bytes 0..63). */
struct EncodeVideoParam {
    uint32_t dwFourCC;      /* video codec code; selects the video encoder */
    uint32_t dwColorFormat; /* FourCC of the picture format given to the encoder; not interpreted */
    int32_t nBitCount;      /* bits per pixel of that picture format; not interpreted */
    int32_t nWidth;         /* output picture width in pixels */
    int32_t nHeight;        /* output picture height in rows */
    double dFrameRate;      /* output frames per second */
    int32_t nExtra;         /* encoder setting; only printed by the library */
    int32_t nBitRate;       /* video bit rate, bits per second */
    int32_t nExtraBitRate;  /* second bit rate for the encoder; not interpreted */
    int32_t nResizeMethod;  /* IMAGE_RESIZE_METHOD, or 5 (IMAGE_RESIZE_CROP) */
    int32_t nInterpolation; /* IMAGE_INTERPOLATION used to resize the planes */
    uint8_t reserved[16];   /* not read by the library */
};

/* Audio part of EncodeParam (bytes 64..91); the audio revise entry gets a pointer to it. */
struct EncodeAudioParam {
    uint32_t dwFourCC;      /* audio codec code; selects the audio encoder */
    int32_t nSampleRate;    /* output samples per second per channel */
    int32_t nChannels;      /* output channel count */
    int32_t nBitsPerSample; /* bits per PCM sample; must equal the input's and be 16 */
    int32_t nExtra;         /* encoder setting; only printed by the library */
    int32_t nBitRate;       /* audio bit rate, bits per second */
    int32_t nExtraBitRate;  /* second bit rate for the encoder; not interpreted */
};

/* How the output file is to be encoded (104 bytes). */
struct EncodeParam {
    EncodeVideoParam video; /* video codec and picture */
    EncodeAudioParam audio; /* audio codec and sample format */
    int32_t bDisableVideo;  /* non-zero: the file gets no video stream */
    int32_t bDisableAudio;  /* non-zero: the file gets no audio stream */
    uint32_t dwFileFormat;  /* container FourCC; selects the muxer; QV_FOURCC_COPY passes video through */
};

/* The host's input video (44 bytes). */
struct xVideoInfo {
    int32_t width;       /* input picture width in pixels */
    int32_t height;      /* input picture height in rows */
    double fps;          /* input frames per second; above 200.0 counts as 30.0 */
    double duration;     /* input length in seconds; only logged */
    int32_t aspectx;     /* display aspect, horizontal term (16 for 16:9); 0 = unknown */
    int32_t aspecty;     /* display aspect, vertical term; used only when both are non-zero */
    uint8_t reserved[8]; /* copied, not read */
    int32_t f;           /* only logged, as "f[%d]" */
};

/* The host's input audio (28 bytes). */
struct xAudioInfo {
    int32_t samplerate;    /* input samples per second per channel */
    int32_t channels;      /* input channel count (1 or 2 are convertible) */
    int32_t bitspersample; /* bits per input sample; must be 16 */
    int32_t bytespersec;   /* input bytes per second; only logged */
    double duration;       /* input length in seconds; only logged */
    int32_t f;             /* only logged, as "f[%d]" */
};

#pragma pack(pop)

/* One video frame (planar YUV 4:2:0) or one block of 16-bit PCM audio.
 * The audio calls read the audio layout, the video calls the video layout; the
 * two share the bytes after the first word. Times are in 100 ns units. */
struct MEDIA_FRAME {
    uint32_t dwReserved0; /* not read by the library */
    __extension__ union {
        __extension__ struct {
            int32_t nSampleRate;    /* samples per second of pData */
            int32_t nChannels;      /* channel count of pData */
            int32_t nBitsPerSample; /* bits per sample of pData */
            int16_t* pData;         /* interleaved signed 16-bit PCM, channel 0 first */
            int32_t nDataSize;      /* bytes in pData; 0 = no data */
        };
        __extension__ struct {
            int32_t nVideoReserved4;  /* not read */
            int32_t nVideoReserved8;  /* not read */
            uint8_t* pPlane[3];       /* Y, U (Cb), V (Cr) planes */
            int32_t nVideoReserved24; /* not read */
            int32_t nWidth;           /* picture width in pixels */
            int32_t nHeight;          /* picture height in rows */
            int32_t nPitch[3];        /* bytes per row of the Y, U and V planes */
            int32_t nVideoReserved48[2]; /* not read */
        };
    };
    /* i386 aligns 64-bit integers to 4 inside structures, as the contract wants. */
    int64_t llTimeStamp;  /* time stamp of the frame or block */
    int64_t llStreamTime; /* time from the start of the stream */
    int32_t nDuration; /* duration of the frame or block */
};

/* One codec entry of a muxer's codec list (8 bytes). */
struct ENCODER_MODE {
    uint32_t dwFourCC; /* codec code; 0 ends the list */
    int32_t bInline;   /* non-zero: the muxer takes this codec's frames as they come */
};

/* Plugin entries. An extra word is pointer-sized so that a 64-bit encoder can
 * hand its muxer a pointer through it (4 bytes on the 32-bit build). */
typedef void* (*PFN_ENC_CREATE)(uint32_t dwFourCC, EncodeParam* param);
typedef int (*PFN_ENC_ENCODE)(void* hEnc, const MEDIA_FRAME* in, void** ppOut, uint32_t* pOutWord);
typedef void (*PFN_ENC_CLOSE)(void* hEnc);
typedef void (*PFN_ENC_GET_AUDIO_EXTRA)(void* hEnc, uintptr_t* pWord1, uintptr_t* pWord2);
typedef void (*PFN_ENC_GET_VIDEO_EXTRA)(void* hEnc, uintptr_t* pWord1, uintptr_t* pWord2,
                                        uintptr_t* pWord3, uintptr_t* pWord4);
typedef int (*PFN_ENC_REVISE_AUDIO)(EncodeAudioParam* audio);
typedef int (*PFN_ENC_REVISE_VIDEO)(EncodeParam* param);

typedef void* (*PFN_MUX_CREATE_FILE)(const wchar_t* path, EncodeParam* param);
typedef uint32_t (*PFN_MUX_WRITE_AUDIO)(void* hFile, const void* data, uint32_t word);
typedef uint32_t (*PFN_MUX_WRITE_VIDEO)(void* hFile, const void* frame);
typedef int (*PFN_MUX_CLOSE_FILE)(void* hFile, QVPROGRESS_CALLBACK callback, void* user);
typedef void (*PFN_MUX_SET_AUDIO_EXTRA)(void* hFile, uintptr_t word1, uintptr_t word2);
typedef void (*PFN_MUX_SET_VIDEO_EXTRA)(void* hFile, uintptr_t word1, uintptr_t word2,
                                        uintptr_t word3, uintptr_t word4);

/* One encoder, video or audio (772 bytes on 32-bit). */
struct ENCODER_ITEM {
    uint32_t dwFourCC;     /* codec code; 0 ends a list */
    wchar_t wszText1[64];  /* short text, NUL-terminated */
    wchar_t wszText2[120]; /* long text, NUL-terminated */
    int32_t nType;         /* 1 = video, 0 = audio, other = unusable */
    PFN_ENC_CREATE pfnCreate;                   /* required unless the codec is inline */
    PFN_ENC_ENCODE pfnEncode;                   /* required */
    PFN_ENC_CLOSE pfnClose;                     /* required */
    PFN_ENC_GET_AUDIO_EXTRA pfnGetAudioExtra;   /* optional; audio encoders */
    PFN_ENC_GET_VIDEO_EXTRA pfnGetVideoExtra;   /* optional; video encoders */
    PFN_ENC_REVISE_AUDIO pfnReviseAudioParam;   /* optional; non-zero = accepted */
    PFN_ENC_REVISE_VIDEO pfnReviseVideoParam;   /* optional; non-zero = accepted */
};

/* One file format written by a muxer (848 bytes on 32-bit). */
struct FILEFORMAT_ITEM {
    uint32_t dwFourCC;     /* container code; 0 ends a list */
    wchar_t wszText0[10];  /* shortest text (e.g. the extension) */
    wchar_t wszText1[64];  /* short text */
    wchar_t wszText2[128]; /* long text */
    ENCODER_MODE* pAudioModes; /* audio codecs carried; null = no audio */
    ENCODER_MODE* pVideoModes; /* video codecs carried; null = no video */
    PFN_MUX_CREATE_FILE pfnCreateFile;       /* required */
    PFN_MUX_WRITE_AUDIO pfnWriteAudio;       /* required when audio is carried */
    PFN_MUX_WRITE_VIDEO pfnWriteVideo;       /* required when video is carried */
    PFN_MUX_CLOSE_FILE pfnCloseFile;         /* required */
    PFN_MUX_SET_AUDIO_EXTRA pfnSetAudioExtra; /* optional */
    PFN_MUX_SET_VIDEO_EXTRA pfnSetVideoExtra; /* optional */
    uint32_t dwFlags; /* bit 0: time-stamp mode */
};

/* What the host reads about one published file format (828 bytes on 32-bit). */
struct FILEFORMAT_INFO {
    uint32_t dwFourCC;     /* container code; 0 ends the published array */
    wchar_t wszText0[10];  /* copied from the muxer record */
    wchar_t wszText1[64];  /* copied from the muxer record */
    wchar_t wszText2[128]; /* copied from the muxer record */
    int32_t nAudioEnc;     /* valid entries in ppAudioEnc */
    int32_t nVideoEnc;     /* valid entries in ppVideoEnc */
    ENCODER_ITEM** ppAudioEnc; /* descriptions of the audio encoders; null when none listed */
    ENCODER_ITEM** ppVideoEnc; /* descriptions of the video encoders */
};

#ifdef __cplusplus
/* Layout pins. */
#define QV_PIN(T, f, o32, o64)                                                 \
    static_assert(offsetof(T, f) == (sizeof(void*) == 4 ? (o32) : (o64)), #T "." #f)
static_assert(sizeof(EncodeParam) == 104, "EncodeParam size");
static_assert(offsetof(EncodeParam, video.dFrameRate) == 20, "dFrameRate");
static_assert(offsetof(EncodeParam, video.nInterpolation) == 44, "nInterpolation");
static_assert(offsetof(EncodeParam, audio) == 64, "audio");
static_assert(offsetof(EncodeParam, audio.nExtraBitRate) == 88, "audio.nExtraBitRate");
static_assert(offsetof(EncodeParam, bDisableVideo) == 92, "bDisableVideo");
static_assert(offsetof(EncodeParam, dwFileFormat) == 100, "dwFileFormat");
static_assert(sizeof(xVideoInfo) == 44 && offsetof(xVideoInfo, fps) == 8 &&
                  offsetof(xVideoInfo, aspectx) == 24 && offsetof(xVideoInfo, f) == 40,
              "xVideoInfo layout");
static_assert(sizeof(xAudioInfo) == 28 && offsetof(xAudioInfo, duration) == 16 &&
                  offsetof(xAudioInfo, f) == 24,
              "xAudioInfo layout");
static_assert(sizeof(ENCODER_MODE) == 8, "ENCODER_MODE size");
static_assert(sizeof(MEDIA_FRAME) == (sizeof(void*) == 4 ? 76 : 96), "MEDIA_FRAME size");
QV_PIN(MEDIA_FRAME, nSampleRate, 4, 8);
QV_PIN(MEDIA_FRAME, nBitsPerSample, 12, 16);
QV_PIN(MEDIA_FRAME, pData, 16, 24);
QV_PIN(MEDIA_FRAME, nDataSize, 20, 32);
QV_PIN(MEDIA_FRAME, pPlane, 12, 16);
QV_PIN(MEDIA_FRAME, nWidth, 28, 44);
QV_PIN(MEDIA_FRAME, nPitch, 36, 52);
QV_PIN(MEDIA_FRAME, llTimeStamp, 56, 72);
QV_PIN(MEDIA_FRAME, llStreamTime, 64, 80);
QV_PIN(MEDIA_FRAME, nDuration, 72, 88);
static_assert(sizeof(ENCODER_ITEM) == (sizeof(void*) == 4 ? 772 : 800), "ENCODER_ITEM size");
QV_PIN(ENCODER_ITEM, wszText2, 260, 260);
QV_PIN(ENCODER_ITEM, nType, 740, 740);
QV_PIN(ENCODER_ITEM, pfnCreate, 744, 744);
QV_PIN(ENCODER_ITEM, pfnReviseVideoParam, 768, 792);
static_assert(sizeof(FILEFORMAT_ITEM) == (sizeof(void*) == 4 ? 848 : 888), "FILEFORMAT_ITEM size");
QV_PIN(FILEFORMAT_ITEM, wszText1, 44, 44);
QV_PIN(FILEFORMAT_ITEM, wszText2, 300, 300);
QV_PIN(FILEFORMAT_ITEM, pAudioModes, 812, 816);
QV_PIN(FILEFORMAT_ITEM, pfnCreateFile, 820, 832);
QV_PIN(FILEFORMAT_ITEM, pfnSetVideoExtra, 840, 872);
QV_PIN(FILEFORMAT_ITEM, dwFlags, 844, 880);
static_assert(sizeof(FILEFORMAT_INFO) == (sizeof(void*) == 4 ? 828 : 840), "FILEFORMAT_INFO size");
QV_PIN(FILEFORMAT_INFO, nAudioEnc, 812, 812);
QV_PIN(FILEFORMAT_INFO, nVideoEnc, 816, 816);
QV_PIN(FILEFORMAT_INFO, ppAudioEnc, 820, 824);
QV_PIN(FILEFORMAT_INFO, ppVideoEnc, 824, 832);
#undef QV_PIN
#endif

#endif /* QUEVARRA_QV_RECORDS_H */
