/* Plugin manager: registries, plugin scan, the encoding pipeline and the host's
 * plugin queries. */
#ifndef QUEVARRA_QV_PLUGIN_H
#define QUEVARRA_QV_PLUGIN_H

#include <quevarra/qv_export.h>
#include <quevarra/qv_records.h>

#include <pthread.h>

#include <vector>

/* Scoped lock of a pthread mutex: locks on construction, unlocks on destruction. */
class QV_API CSingleLock {
public:
    explicit CSingleLock(pthread_mutex_t* pMutex);
    virtual ~CSingleLock();
    CSingleLock(const CSingleLock&) = delete;
    CSingleLock& operator=(const CSingleLock&) = delete;

private:
    pthread_mutex_t* m_pMutex;
};

/* A 32-bit counter with its own mutex. The post-increment and post-decrement
 * operators return the new value (not the old one). */
class QV_API SafeInt {
public:
    SafeInt();
    ~SafeInt();
    int operator++(int);
    int operator--(int);
    int Get();
    void Set(int value);

private:
    int m_nValue;
    pthread_mutex_t m_mutex;
};

typedef std::vector<void*> ModuleArray;
typedef std::vector<ENCODER_ITEM> EncoderArray;
typedef std::vector<FILEFORMAT_ITEM> FileFormatArray;

/* First record, in registration order, with that code; null when none. */
QV_API FILEFORMAT_ITEM* FindFileFormat(FileFormatArray& arFileFormat, uint32_t dwFourCC);
QV_API ENCODER_ITEM* FindEncoderInfo(EncoderArray& arEncoder, uint32_t dwFourCC);
/* bInline of the first list entry with that code; 0 for a null list or no match. */
QV_API int IsInlineEnc(const ENCODER_MODE* pModes, uint32_t dwFourCC);

/* One output file written through plugins: the muxer, up to one video and one
 * audio encoder instance. The static members are the process-wide registries
 * filled by the plugin scan. Fields are public so that tests and tools can
 * inspect them; hosts use the QV functions instead. */
class QV_API PluginMgr {
public:
    PluginMgr();
    virtual ~PluginMgr();
    PluginMgr(const PluginMgr&) = delete;
    PluginMgr& operator=(const PluginMgr&) = delete;

    /* 1 = file created, 0 = failure. On an open pipeline it closes it first. */
    unsigned Create(const wchar_t* path, EncodeParam* param);
    unsigned WriteVideoFrame(const MEDIA_FRAME* frame);
    unsigned WriteAudioData(const MEDIA_FRAME* frame);
    /* Finishes the file with the encoders' final words; always 0. */
    unsigned Close(QVPROGRESS_CALLBACK callback, void* user);

    /* 0 = this call scanned and could not open the plugin directory, else 1. */
    static unsigned InitPlugins();
    static void UninitPlugins();
    static FILEFORMAT_INFO* GetFileFormatInfos();

    void* m_hFile;                  /* muxer's handle of the open file; null when none */
    void* m_hVideoEnc;              /* video encoder instance, or null */
    void* m_hAudioEnc;              /* audio encoder instance, or null */
    FILEFORMAT_ITEM* m_pFileFormat; /* chosen muxer record, inside m_arFileFormat */
    ENCODER_ITEM* m_pVideoEnc;      /* chosen video encoder record, or null */
    ENCODER_ITEM* m_pAudioEnc;      /* chosen audio encoder record, or null */
    int32_t m_bAudioInline;         /* audio frames go to the muxer as they come */
    int32_t m_bVideoInline;         /* video frames go to the muxer as they come */
    int32_t m_bTimestampMode;       /* pacing of the media file's write paths */
    pthread_mutex_t m_mutex;        /* serialises the muxer's write entries */

    static SafeInt m_InitRefCounter;          /* initialisations not yet released */
    static ModuleArray m_arModule;            /* loaded plugin libraries, in load order */
    static EncoderArray m_arEncoder;          /* every encoder record, by value */
    static FileFormatArray m_arFileFormat;    /* every file-format record, by value */
    static ENCODER_ITEM* m_pEncInfo;          /* published encoder descriptions, or null */
    static FILEFORMAT_INFO* m_pFileFormatInfo; /* published file formats, or null */
};

extern "C" {
/* Scans the plugin directory on the first call; 0 when it cannot be opened. */
QV_API unsigned QVInitPlugins(void);
/* Releases the plugins when the count falls below 1 (never below 0). */
QV_API void QVUninitPlugins(void);
/* Published file formats, ending with a record whose dwFourCC is 0; or null. */
QV_API FILEFORMAT_INFO* QVGetFileFormatInfos(void);
/* Copies the full encoder record with that code; 1 = found, 0 = none. */
QV_API int QVGetEncoderInfo(uint32_t dwFourCC, ENCODER_ITEM* pInfo);
/* The published file format with that code, or null. */
QV_API FILEFORMAT_INFO* QVFindFileFormatPlugin(uint32_t dwFourCC);
}

#endif /* QUEVARRA_QV_PLUGIN_H */
