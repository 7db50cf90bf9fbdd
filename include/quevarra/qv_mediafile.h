/* The media file: one output file being written, and the host's entry points. */
#ifndef QUEVARRA_QV_MEDIAFILE_H
#define QUEVARRA_QV_MEDIAFILE_H

#include <quevarra/qv_audio.h>
#include <quevarra/qv_embed.h>
#include <quevarra/qv_export.h>
#include <quevarra/qv_image.h>
#include <quevarra/qv_plugin.h>
#include <quevarra/qv_records.h>

/* Stands between the host and one encoding pipeline: keeps the revised copy of
 * the parameters, resizes video and converts audio as decided at creation, and
 * paces both streams on the output timeline. Fields are public for tests. */
class QV_API MediaFile {
public:
    MediaFile();
    virtual ~MediaFile();
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    /* 1 = created, 0 = failure (logged). */
    int Create(const wchar_t* fileName, const EncodeParam* param, const xVideoInfo* videoInfo,
               const xAudioInfo* audioInfo);
    void Close(QVPROGRESS_CALLBACK callback, void* user);

    unsigned WriteVideoFrame(const MEDIA_FRAME* frame);
    /* The resized frame, or null (logged once per file) when a plane cannot be resized. */
    MEDIA_FRAME* GetResizeFrame(const MEDIA_FRAME* frame);
    unsigned _WriteVideoFrame(const MEDIA_FRAME* frame);
    /* Logs the first refused video frame of the file. */
    void RefuseFrame(const MEDIA_FRAME* frame, const wchar_t* why);

    unsigned WriteAudioData(const MEDIA_FRAME* block);
    const MEDIA_FRAME* GetResampleFrame(const MEDIA_FRAME* block);
    unsigned _WriteAudioData(const MEDIA_FRAME* block);

    PluginMgr m_PluginMgr;               /* the encoding pipeline */
    CAudioConverter* m_pAudioConverter;  /* owned; null when no conversion is needed */
    uint8_t* m_pAudioBuffer;             /* owned; 524288 bytes of converted samples */
    MEDIA_FRAME m_ResizeFrame;           /* frame handed on when the picture is resized */
    MEDIA_FRAME m_ResampleFrame;         /* block handed on when the audio is converted */
    uint8_t* m_pResizeBuffer;            /* owned; one output picture in YV12 order, or null */
    EncodeParam m_EncParam;              /* own copy of the host's parameters, revised */
    xVideoInfo m_VideoInfo;              /* copy of the input video description, or zeros */
    IMG_PARAM m_SrcY;                    /* source luma descriptor */
    IMG_PARAM m_DstY;                    /* destination luma descriptor */
    IMG_PARAM m_SrcUV;                   /* source chroma descriptor (luma sizes) */
    IMG_PARAM m_DstUV;                   /* destination chroma descriptor (luma sizes) */
    int32_t m_nOutFrames;                /* video frames handed to the pipeline */
    int64_t m_llLastVideoTime;           /* llTimeStamp of the last video frame; -1 = none */
    int64_t m_llAudioBytes;              /* bytes of audio handed to the pipeline */
    uint8_t* m_pFillBuffer;              /* owned; 4096 bytes of filler, made on the first hole */
    uint8_t m_LastSample[64];            /* last sample frame handed to the pipeline */
    int32_t m_nBlockAlign;               /* bytes per output sample frame; 4 until set up */
    int32_t m_bFrameRefusalLogged;       /* a refused video frame has been logged for this file */
    pthread_mutex_t m_VideoStatsMutex;   /* guards the video fields of m_Stats */
    pthread_mutex_t m_AudioStatsMutex;   /* guards the audio fields of m_Stats */
    QV_MEDIAFILE_STATS m_Stats;          /* what QVGetMediaFileStats reports; zero after Close */
    int32_t m_bPartialFrameLogged;       /* an audio block of partial frames has been logged */
};

extern "C" {
/* Fills param with the library's defaults (XVID 320x240 24 fps in MP4 with AAC
 * 44100 Hz stereo). A null pointer is ignored. */
QV_API void QVDefaultEncodeParam(EncodeParam* param);
/* Creates the file; returns its handle, or null (the log says why). */
QV_API void* QVCreateMediaFile(const wchar_t* fileName, const EncodeParam* param,
                               const xVideoInfo* videoInfo, const xAudioInfo* audioInfo);
/* Finishes the file; the callback, if any, is called by the muxer while it finishes. */
QV_API void QVCloseMediaFile(void* handle, QVPROGRESS_CALLBACK callback, void* user);
/* Writes one planar 4:2:0 frame; the muxer's result (summed over repeats), 0 if
 * dropped. QVGetMediaFileStats (qv_embed.h) tells drops and repeats from failures. */
QV_API unsigned QVWriteVideoFrame(void* handle, const MEDIA_FRAME* frame);
/* Writes one block of 16-bit PCM; the muxer's results summed, 0 if dropped. */
QV_API unsigned QVWriteAudioData(void* handle, const MEDIA_FRAME* block);
}

#endif /* QUEVARRA_QV_MEDIAFILE_H */
