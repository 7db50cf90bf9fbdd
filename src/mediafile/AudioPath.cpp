// Audio blocks on their way to the pipeline: conversion to the encoder's
// format, then hole filling or overlap cutting against the audio written.
#include <quevarra/qv_mediafile.h>
#include <quevarra/qv_support.h>

#include <string.h>

#include <algorithm>
#include <new>

#include "mediafile/MediaFileStats.h"
#include "mediafile/MediaFileUtil.h"

namespace {

constexpr double kTicksPerSecond = 10000000.0;
constexpr int kFillBytes = 4096;
constexpr int kAudioBufferSamples = 262144;
// Converted output per piece is kept to half the buffer, which leaves room for
// the few extra samples that the converter's shared remainder may add.
constexpr double kPieceOutputSamples = kAudioBufferSamples / 2;

// Whole sample frames of the encoder's format in a byte count.
int64_t OutputFrames(const MediaFile& mf, int64_t bytes) {
    return bytes > 0 && mf.m_nBlockAlign > 0 ? bytes / mf.m_nBlockAlign : 0;
}

// Hands B on and records it with the step that brought it.
unsigned HandOn(MediaFile& mf, const MEDIA_FRAME* B, const qvmedia::AudioStep& step) {
    const unsigned result = mf._WriteAudioData(B);
    qvmedia::CountAudio(mf, step, B);
    return result;
}

// Records `in` host frames whose `out` frames in the encoder's format are lost whole.
unsigned Drop(MediaFile& mf, int64_t in, int64_t out) {
    qvmedia::CountAudio(mf, {in, 0, out}, nullptr);
    return 0;
}

// Frame-count placement of one block in the output format, which brings `in`
// frames of the host's.
unsigned PlaceBlock(MediaFile& mf, const MEDIA_FRAME* B, int64_t in) {
    const EncodeAudioParam& a = mf.m_EncParam.audio;
    const double byteRate = qvmedia::OutputByteRate(a);
    const int align = mf.m_nBlockAlign;
    const qvmedia::AudioStep whole = {in, 0, 0};
    if (mf.m_PluginMgr.m_bTimestampMode || byteRate <= 0.0 || align < 1 || align > 64)
        return HandOn(mf, B, whole);

    const double t = static_cast<double>(B->llStreamTime) / kTicksPerSecond;
    const double w = static_cast<double>(mf.m_llAudioBytes) / byteRate;
    const int64_t frames = qvmedia::TruncToInt64((t - w) * a.nSampleRate + 0.5);
    if (frames == 0) return HandOn(mf, B, whole);

    // Overlaps are byte counts of one 32-bit block size, and one call fills a
    // hole of kMaxFillSeconds at most; anything larger (hours of audio, or a
    // wild time stamp) is refused, never wrapped nor filled for hours.
    const int64_t maxFill = std::min<int64_t>(
        INT32_MAX, static_cast<int64_t>(byteRate) * qvmedia::kMaxFillSeconds);
    int64_t samples = 0, bytes = 0;
    if (__builtin_mul_overflow(frames, static_cast<int64_t>(a.nChannels), &samples) ||
        __builtin_mul_overflow(samples, static_cast<int64_t>(a.nBitsPerSample), &bytes) ||
        bytes / 8 > maxFill || bytes / 8 < -static_cast<int64_t>(INT32_MAX)) {
        LogEx(L"QVWriteAudioData: block at %lld refused, %lld samples away from the audio "
              L"written.",
              static_cast<long long>(B->llStreamTime), static_cast<long long>(frames));
        return Drop(mf, in, OutputFrames(mf, B->nDataSize));
    }
    bytes /= 8;

    if (bytes > 0) {
        if (!mf.m_pFillBuffer) {
            mf.m_pFillBuffer = new (std::nothrow) uint8_t[kFillBytes];
            if (!mf.m_pFillBuffer) {
                Log(L"QVWriteAudioData: no memory for the filler; hole left unfilled.");
                return HandOn(mf, B, whole);
            }
        }
        // Hold the last sample frame written (silence before anything was).
        const int k = kFillBytes / align;
        for (int i = 0; i < k; ++i) memcpy(mf.m_pFillBuffer + i * align, mf.m_LastSample, align);

        int64_t time = qvmedia::TruncToInt64(static_cast<double>(mf.m_llAudioBytes) / byteRate *
                                                 kTicksPerSecond +
                                             0.5);
        unsigned sum = 0;
        for (int64_t remaining = bytes; remaining > 0;) {
            const int chunk = static_cast<int>(std::min<int64_t>(remaining, k * align));
            MEDIA_FRAME filler;
            memcpy(&filler, B, sizeof filler);
            filler.pData = reinterpret_cast<int16_t*>(mf.m_pFillBuffer);
            filler.nDataSize = chunk;
            filler.llTimeStamp = time;
            filler.llStreamTime = time;
            filler.nDuration = qvmedia::TruncToInt32(chunk / byteRate * kTicksPerSecond + 0.5);
            time = qvmedia::SaturatingAdd(time, filler.nDuration);
            sum += HandOn(mf, &filler, {0, OutputFrames(mf, chunk), 0});
            remaining -= chunk;
        }
        return sum + HandOn(mf, B, whole);
    }

    const int64_t overlap = -bytes;
    if (overlap >= B->nDataSize) return Drop(mf, in, OutputFrames(mf, B->nDataSize));
    MEDIA_FRAME cut;
    memcpy(&cut, B, sizeof cut);
    cut.pData = reinterpret_cast<int16_t*>(reinterpret_cast<uint8_t*>(B->pData) + overlap);
    cut.nDataSize = B->nDataSize - static_cast<int32_t>(overlap);
    const int64_t skipped =
        qvmedia::TruncToInt64(static_cast<double>(overlap) / byteRate * kTicksPerSecond);
    cut.llTimeStamp = qvmedia::SaturatingAdd(cut.llTimeStamp, skipped);
    cut.llStreamTime = qvmedia::SaturatingAdd(cut.llStreamTime, skipped);
    return HandOn(mf, &cut, {in, 0, OutputFrames(mf, overlap)});
}

}  // namespace

unsigned MediaFile::_WriteAudioData(const MEDIA_FRAME* block) {
    if (!block) return 0;
    unsigned result = m_PluginMgr.WriteAudioData(block);
    if (block->nDataSize > 0) {
        m_llAudioBytes += block->nDataSize;
        // A block shorter than one sample frame has no last frame to keep.
        if (block->pData && m_nBlockAlign > 0 && m_nBlockAlign <= 64 &&
            block->nDataSize >= m_nBlockAlign)
            memcpy(m_LastSample,
                   reinterpret_cast<const uint8_t*>(block->pData) + block->nDataSize -
                       m_nBlockAlign,
                   static_cast<size_t>(m_nBlockAlign));
    }
    return result;
}

const MEDIA_FRAME* MediaFile::GetResampleFrame(const MEDIA_FRAME* block) {
    if (!block || !m_pAudioConverter || !m_pAudioBuffer) return block;
    if (block->pData && block->nDataSize > 0)
        m_pAudioConverter->Put(block->pData, block->nDataSize / 2);
    // Whatever would not fit stays queued in the converter for the next block.
    const int n = m_pAudioConverter->Get(reinterpret_cast<short*>(m_pAudioBuffer),
                                         std::min(m_pAudioConverter->GetValidSize(),
                                                  kAudioBufferSamples));
    memcpy(&m_ResampleFrame, block, sizeof m_ResampleFrame);
    m_ResampleFrame.pData = reinterpret_cast<int16_t*>(m_pAudioBuffer);
    m_ResampleFrame.nDataSize = 2 * n;
    m_ResampleFrame.nSampleRate = m_EncParam.audio.nSampleRate;
    m_ResampleFrame.nChannels = m_EncParam.audio.nChannels;
    m_ResampleFrame.nBitsPerSample = m_EncParam.audio.nBitsPerSample;
    return &m_ResampleFrame;
}

unsigned MediaFile::WriteAudioData(const MEDIA_FRAME* block) {
    if (!block || block->nDataSize <= 0) return 0;
    const bool converting = m_pAudioConverter && m_pAudioBuffer;
    if (!block->pData) {
        // Bytes without data: lost whole, as many frames as they would have made.
        const int64_t in = converting ? block->nDataSize / (2 * m_pAudioConverter->m_nInChannels)
                                      : OutputFrames(*this, block->nDataSize);
        return Drop(*this, in,
                    converting ? in * m_pAudioConverter->m_nOutRate / m_pAudioConverter->m_nInRate
                               : in);
    }
    // Whole sample frames of the input only: a partial one would shift the
    // channels of everything after it. The rest of the block is dropped.
    const int frameBytes =
        converting ? (m_pAudioConverter->m_nInChannels == 1 ? 2 : 4) : m_nBlockAlign;
    MEDIA_FRAME whole;
    if (frameBytes > 0 && block->nDataSize % frameBytes != 0) {
        if (!m_bPartialFrameLogged) {
            m_bPartialFrameLogged = 1;
            LogEx(L"QVWriteAudioData: a block of %d bytes is not whole %d-byte sample frames; the "
                  L"rest of each such block is dropped (said once a file).",
                  block->nDataSize, frameBytes);
        }
        memcpy(&whole, block, sizeof whole);
        whole.nDataSize -= block->nDataSize % frameBytes;
        if (whole.nDataSize == 0) return 0;
        block = &whole;
    }
    if (!converting) return PlaceBlock(*this, block, OutputFrames(*this, block->nDataSize));

    // A block whose converted output could overflow the buffer is converted in
    // pieces of whole input frames, each with its own time; once part of the
    // block is on the timeline the rest follows it directly.
    const CAudioConverter& c = *m_pAudioConverter;
    const int inFrameBytes = c.m_nInChannels == 1 ? 2 : 4;
    const int outPerFrame = c.m_nOutChannels == 1 ? 1 : 2;
    const double perInputFrame =
        static_cast<double>(outPerFrame) * c.m_nOutRate / static_cast<double>(c.m_nInRate);
    const int64_t maxFrames =
        std::max<int64_t>(1, static_cast<int64_t>(kPieceOutputSamples / perInputFrame));
    const int64_t maxBytes = maxFrames * inFrameBytes;

    unsigned sum = 0;
    bool placed = false;
    for (int32_t offset = 0; offset < block->nDataSize;) {
        MEDIA_FRAME piece;
        memcpy(&piece, block, sizeof piece);
        const int64_t left = block->nDataSize - offset;
        // The last piece takes any trailing partial frame with it.
        const int32_t size = static_cast<int32_t>(left <= maxBytes ? left : maxBytes);
        piece.pData = reinterpret_cast<int16_t*>(reinterpret_cast<uint8_t*>(block->pData) + offset);
        piece.nDataSize = size;
        const int64_t shift = qvmedia::TruncToInt64(static_cast<double>(offset / inFrameBytes) /
                                                    c.m_nInRate * kTicksPerSecond);
        piece.llTimeStamp = qvmedia::SaturatingAdd(block->llTimeStamp, shift);
        piece.llStreamTime = qvmedia::SaturatingAdd(block->llStreamTime, shift);
        offset += size;

        const MEDIA_FRAME* B = GetResampleFrame(&piece);
        const int64_t in = size / inFrameBytes;
        if (placed) {
            sum += HandOn(*this, B, {in, 0, 0});
        } else {
            const int64_t before = m_llAudioBytes;
            sum += PlaceBlock(*this, B, in);
            placed = m_llAudioBytes != before;
        }
    }
    return sum;
}
