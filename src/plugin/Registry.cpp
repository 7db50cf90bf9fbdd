// Process-wide plugin registries, the counter that guards them, and the
// lookups over them.
#include <quevarra/qv_plugin.h>

CSingleLock::CSingleLock(pthread_mutex_t* pMutex) : m_pMutex(pMutex) {
    pthread_mutex_lock(m_pMutex);
}

CSingleLock::~CSingleLock() { pthread_mutex_unlock(m_pMutex); }

SafeInt::SafeInt() : m_nValue(0) { pthread_mutex_init(&m_mutex, nullptr); }

SafeInt::~SafeInt() {
    m_nValue = 0;
    pthread_mutex_destroy(&m_mutex);
}

int SafeInt::operator++(int) {
    CSingleLock lock(&m_mutex);
    return ++m_nValue;
}

int SafeInt::operator--(int) {
    CSingleLock lock(&m_mutex);
    return --m_nValue;
}

int SafeInt::Get() {
    CSingleLock lock(&m_mutex);
    return m_nValue;
}

void SafeInt::Set(int value) {
    CSingleLock lock(&m_mutex);
    m_nValue = value;
}

SafeInt PluginMgr::m_InitRefCounter;
ModuleArray PluginMgr::m_arModule;
EncoderArray PluginMgr::m_arEncoder;
FileFormatArray PluginMgr::m_arFileFormat;
ENCODER_ITEM* PluginMgr::m_pEncInfo = nullptr;
FILEFORMAT_INFO* PluginMgr::m_pFileFormatInfo = nullptr;

FILEFORMAT_ITEM* FindFileFormat(FileFormatArray& arFileFormat, uint32_t dwFourCC) {
    for (FILEFORMAT_ITEM& item : arFileFormat)
        if (item.dwFourCC == dwFourCC) return &item;
    return nullptr;
}

ENCODER_ITEM* FindEncoderInfo(EncoderArray& arEncoder, uint32_t dwFourCC) {
    for (ENCODER_ITEM& item : arEncoder)
        if (item.dwFourCC == dwFourCC) return &item;
    return nullptr;
}

int IsInlineEnc(const ENCODER_MODE* pModes, uint32_t dwFourCC) {
    if (!pModes) return 0;
    for (; pModes->dwFourCC != 0; ++pModes)
        if (pModes->dwFourCC == dwFourCC) return pModes->bInline;
    return 0;
}
