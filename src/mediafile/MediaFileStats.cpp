// What the write paths record for QVGetMediaFileStats, and its reader.
#include "mediafile/MediaFileStats.h"

#include <string.h>

#include "mediafile/MediaFileUtil.h"

namespace qvmedia {

namespace {

// Each stream's fields, which only its own lock guards.
using Field = int64_t QV_MEDIAFILE_STATS::*;
constexpr Field kVideoFields[] = {
    &QV_MEDIAFILE_STATS::llVideoFramesIn, &QV_MEDIAFILE_STATS::llVideoFramesOut,
    &QV_MEDIAFILE_STATS::llVideoFramesRepeated, &QV_MEDIAFILE_STATS::llVideoFramesDropped,
    &QV_MEDIAFILE_STATS::llVideoTime};
constexpr Field kAudioFields[] = {
    &QV_MEDIAFILE_STATS::llAudioSamplesIn, &QV_MEDIAFILE_STATS::llAudioSamplesOut,
    &QV_MEDIAFILE_STATS::llAudioSamplesFilled, &QV_MEDIAFILE_STATS::llAudioSamplesCut,
    &QV_MEDIAFILE_STATS::llAudioTime};

template <size_t N>
void CopyFields(pthread_mutex_t* mutex, const Field (&fields)[N], QV_MEDIAFILE_STATS& to,
                const QV_MEDIAFILE_STATS& from) {
    CSingleLock lock(mutex);
    for (Field f : fields) to.*f = from.*f;
}

}  // namespace

int64_t Ticks(double amount, double perSecond) {
    constexpr double kTicksPerSecond = 10000000.0;
    return perSecond > 0.0 ? TruncToInt64(amount * kTicksPerSecond / perSecond + 0.5) : 0;
}

void CountVideoDropped(MediaFile& mf) {
    CSingleLock lock(&mf.m_VideoStatsMutex);
    ++mf.m_Stats.llVideoFramesIn;
    ++mf.m_Stats.llVideoFramesDropped;
}

void CountVideoHandedOn(MediaFile& mf, bool first, int64_t time) {
    CSingleLock lock(&mf.m_VideoStatsMutex);
    ++(first ? mf.m_Stats.llVideoFramesIn : mf.m_Stats.llVideoFramesRepeated);
    ++mf.m_Stats.llVideoFramesOut;
    mf.m_Stats.llVideoTime = time;
}

void CountAudio(MediaFile& mf, const AudioStep& step, const MEDIA_FRAME* handed) {
    const int align = mf.m_nBlockAlign > 0 ? mf.m_nBlockAlign : 1;
    const double byteRate = OutputByteRate(mf.m_EncParam.audio);
    int64_t time = 0;
    if (handed) {
        // Frame-count mode lays the blocks end to end; time-stamp mode keeps theirs.
        time = mf.m_PluginMgr.m_bTimestampMode
                   ? SaturatingAdd(handed->llStreamTime, Ticks(handed->nDataSize, byteRate))
                   : Ticks(static_cast<double>(mf.m_llAudioBytes), byteRate);
    }
    CSingleLock lock(&mf.m_AudioStatsMutex);
    QV_MEDIAFILE_STATS& s = mf.m_Stats;
    s.llAudioSamplesIn += step.in;
    s.llAudioSamplesFilled += step.filled;
    s.llAudioSamplesCut += step.cut;
    if (handed) {
        s.llAudioSamplesOut += handed->nDataSize > 0 ? handed->nDataSize / align : 0;
        s.llAudioTime = time;
    }
}

void ResetStats(MediaFile& mf) {
    const QV_MEDIAFILE_STATS zero = {};
    CopyFields(&mf.m_VideoStatsMutex, kVideoFields, mf.m_Stats, zero);
    CopyFields(&mf.m_AudioStatsMutex, kAudioFields, mf.m_Stats, zero);
}

}  // namespace qvmedia

extern "C" int QVGetMediaFileStats(void* hFile, QV_MEDIAFILE_STATS* pStats) {
    if (!hFile || !pStats || pStats->cbSize < static_cast<int32_t>(sizeof(QV_MEDIAFILE_STATS)))
        return 0;
    MediaFile& mf = *static_cast<MediaFile*>(hFile);
    QV_MEDIAFILE_STATS copy;
    copy.cbSize = pStats->cbSize;
    copy.nReserved = 0;
    qvmedia::CopyFields(&mf.m_VideoStatsMutex, qvmedia::kVideoFields, copy, mf.m_Stats);
    qvmedia::CopyFields(&mf.m_AudioStatsMutex, qvmedia::kAudioFields, copy, mf.m_Stats);
    // Only the fields of this version: a larger record keeps the rest.
    memcpy(pStats, &copy, sizeof copy);
    return 1;
}
