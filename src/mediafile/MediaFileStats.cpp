// What the write paths record for QVGetMediaFileStats, and its reader.
#include "mediafile/MediaFileStats.h"

#include <string.h>

#include "mediafile/MediaFileUtil.h"

namespace qvmedia {

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
    {
        CSingleLock lock(&mf.m_VideoStatsMutex);
        QV_MEDIAFILE_STATS& s = mf.m_Stats;
        s.llVideoFramesIn = s.llVideoFramesOut = s.llVideoFramesRepeated = 0;
        s.llVideoFramesDropped = s.llVideoTime = 0;
    }
    CSingleLock lock(&mf.m_AudioStatsMutex);
    QV_MEDIAFILE_STATS& s = mf.m_Stats;
    s.llAudioSamplesIn = s.llAudioSamplesOut = s.llAudioSamplesFilled = 0;
    s.llAudioSamplesCut = s.llAudioTime = 0;
}

}  // namespace qvmedia

extern "C" int QVGetMediaFileStats(void* hFile, QV_MEDIAFILE_STATS* pStats) {
    if (!hFile || !pStats || pStats->cbSize < static_cast<int32_t>(sizeof(QV_MEDIAFILE_STATS)))
        return 0;
    MediaFile& mf = *static_cast<MediaFile*>(hFile);
    QV_MEDIAFILE_STATS copy;
    copy.cbSize = pStats->cbSize;
    copy.nReserved = 0;
    {
        CSingleLock lock(&mf.m_VideoStatsMutex);
        copy.llVideoFramesIn = mf.m_Stats.llVideoFramesIn;
        copy.llVideoFramesOut = mf.m_Stats.llVideoFramesOut;
        copy.llVideoFramesRepeated = mf.m_Stats.llVideoFramesRepeated;
        copy.llVideoFramesDropped = mf.m_Stats.llVideoFramesDropped;
        copy.llVideoTime = mf.m_Stats.llVideoTime;
    }
    {
        CSingleLock lock(&mf.m_AudioStatsMutex);
        copy.llAudioSamplesIn = mf.m_Stats.llAudioSamplesIn;
        copy.llAudioSamplesOut = mf.m_Stats.llAudioSamplesOut;
        copy.llAudioSamplesFilled = mf.m_Stats.llAudioSamplesFilled;
        copy.llAudioSamplesCut = mf.m_Stats.llAudioSamplesCut;
        copy.llAudioTime = mf.m_Stats.llAudioTime;
    }
    // Only the fields of this version: a larger record keeps the rest.
    memcpy(pStats, &copy, sizeof copy);
    return 1;
}
