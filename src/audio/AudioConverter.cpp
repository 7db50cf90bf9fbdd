// PCM converter: channel mapping, then linear resampling with the previous
// block's last sample frame carried over so that block joins have no step.
#include <quevarra/qv_audio.h>

#include <limits.h>
#include <math.h>
#include <string.h>

#include <algorithm>
#include <mutex>
#include <new>

#include "audio/AudioRows.h"

namespace {

constexpr int kDefaultCapacity = 262144;
// A larger initial size is taken as this one: the arrays are zero-filled when
// made, and they grow anyway when a block needs more.
constexpr int kMaxInitialCapacity = 1 << 24;

// New zero-filled array of `capacity` samples holding the first `keep` samples of `old`.
short* GrownCopy(const short* old, int keep, int capacity) {
    short* p = new (std::nothrow) short[capacity];
    if (!p) return nullptr;
    memset(p, 0, sizeof(short) * static_cast<size_t>(capacity));
    if (old && keep > 0) memcpy(p, old, sizeof(short) * static_cast<size_t>(keep));
    return p;
}

// The remainder is one value for the whole process (each converter's count is
// nudged by what the others leave behind). Its read and its update are guarded
// so that files converted on different threads at once race on nothing; the
// resampling itself runs outside the lock.
std::mutex g_spareMutex;

double ReadSpare() {
    std::lock_guard<std::mutex> lock(g_spareMutex);
    return CAudioConverter::s_dSpare;
}

void AddSpare(double delta) {
    std::lock_guard<std::mutex> lock(g_spareMutex);
    CAudioConverter::s_dSpare += delta;
}

// Rates that cannot form a ratio (zero, negative) are treated as equal, so the
// samples pass at their own rate instead of dividing by zero.
bool RatesUsable(int inRate, int outRate) { return inRate > 0 && outRate > 0; }

}  // namespace

double CAudioConverter::s_dSpare = 0.0;

CAudioConverter::CAudioConverter(int inChannels, int outChannels, int inRate, int outRate,
                                 int bufferSize)
    : m_pBuffer(nullptr),
      m_pWork(nullptr),
      m_nCapacity(0),
      m_nValid(0),
      m_nInChannels(inChannels),
      m_nOutChannels(outChannels),
      m_nInRate(inRate),
      m_nOutRate(outRate),
      m_nWorkCapacity(0) {
    // Two carried samples live at the start of the work array, so it is never
    // smaller than that.
    int capacity = bufferSize > 0 ? std::clamp(bufferSize, 2, kMaxInitialCapacity) : kDefaultCapacity;
    m_pBuffer = GrownCopy(nullptr, 0, capacity);
    m_pWork = GrownCopy(nullptr, 0, capacity);
    if (m_pBuffer && m_pWork) {
        m_nCapacity = capacity;
        m_nWorkCapacity = capacity;
    } else {
        // Left empty; Put grows the arrays on the first block or refuses it.
        delete[] m_pBuffer;
        delete[] m_pWork;
        m_pBuffer = nullptr;
        m_pWork = nullptr;
    }
}

CAudioConverter::~CAudioConverter() {
    delete[] m_pBuffer;
    delete[] m_pWork;
}

int CAudioConverter::GetFreeSize() const { return m_nCapacity - m_nValid; }

int CAudioConverter::GetValidSize() const { return m_nValid; }

void CAudioConverter::Reset() { m_nValid = 0; }

int CAudioConverter::Get(short* out, int count) {
    if (!out || count <= 0 || m_nValid <= 0) return 0;
    int k = std::min(m_nValid, count);
    memcpy(out, m_pBuffer, sizeof(short) * static_cast<size_t>(k));
    memmove(m_pBuffer, m_pBuffer + k, sizeof(short) * static_cast<size_t>(m_nValid - k));
    m_nValid -= k;
    return k;
}

namespace {

// Samples after channel mapping for `count` input samples; -1 when too many.
long long MappedCount(int inChannels, int outChannels, int count) {
    if (inChannels == outChannels) return count;
    if (inChannels == 1) return 2LL * count;
    return count / 2;
}

// Maps `count` input samples into `dst` and returns the mapped sample count:
// equal counts copy, mono input is duplicated into two channels, any other
// input is treated as stereo and averaged down to one channel.
int MapChannels(const qv::audio::AudioRows& rows, const short* src, int count, int inChannels,
                int outChannels, short* dst) {
    if (inChannels == outChannels) {
        memcpy(dst, src, sizeof(short) * static_cast<size_t>(count));
        return count;
    }
    if (inChannels == 1) {
        rows.monoToStereo(src, count, dst);
        return 2 * count;
    }
    rows.stereoToMono(src, count / 2, dst);
    return count / 2;
}

// Grows the work array so that `mapped` samples fit after the two carried ones.
bool EnsureWork(short*& work, int& workCapacity, long long mapped) {
    long long needed = mapped + 2;
    if (needed <= workCapacity) return true;
    if (needed > INT_MAX) return false;
    short* grown = GrownCopy(work, std::min(workCapacity, 2), static_cast<int>(needed));
    if (!grown) return false;
    delete[] work;
    work = grown;
    workCapacity = static_cast<int>(needed);
    return true;
}

}  // namespace

int CAudioConverter::Put(const short* samples, int count) {
    bool sameFormat = m_nInChannels == m_nOutChannels &&
                      (m_nInRate == m_nOutRate || !RatesUsable(m_nInRate, m_nOutRate));
    // Whole input sample frames only: a trailing partial frame is dropped, or
    // it would shift every later frame's channels. Passed through unchanged,
    // frames are of the input's own channel count; converted, of one or two.
    const int frame = sameFormat ? std::max(m_nInChannels, 1) : (m_nInChannels == 1 ? 1 : 2);
    count -= count > 0 ? count % frame : 0;
    if (count <= 0 || !samples) return m_nValid;

    double factor = RatesUsable(m_nInRate, m_nOutRate)
                        ? static_cast<double>(m_nOutRate) / static_cast<double>(m_nInRate)
                        : 1.0;
    // Room for mono-to-stereo doubling.
    double estimateD = static_cast<double>(count) * factor * 2.0;
    if (!(estimateD < static_cast<double>(INT_MAX / 4))) return m_nValid;  // refuse, never wrap
    int estimate = static_cast<int>(estimateD);

    if (estimate > m_nCapacity - m_nValid) {
        long long grownCapacity = static_cast<long long>(m_nCapacity) + 2LL * estimate + 4096;
        if (grownCapacity > INT_MAX) return m_nValid;
        int capacity = static_cast<int>(grownCapacity);
        // Waiting and carried samples survive; both arrays are replaced only
        // when both allocations succeed, so a failure leaves everything as it was.
        short* buffer = GrownCopy(m_pBuffer, m_nCapacity, capacity);
        short* work = capacity > m_nWorkCapacity ? GrownCopy(m_pWork, m_nWorkCapacity, capacity)
                                                 : m_pWork;
        if (!buffer || !work) {
            delete[] buffer;
            if (work != m_pWork) delete[] work;
            return m_nValid;
        }
        delete[] m_pBuffer;
        m_pBuffer = buffer;
        if (work != m_pWork) {
            delete[] m_pWork;
            m_pWork = work;
            m_nWorkCapacity = capacity;
        }
        m_nCapacity = capacity;
    }

    if (sameFormat) {
        memcpy(m_pBuffer + m_nValid, samples, sizeof(short) * static_cast<size_t>(count));
        m_nValid += count;
        return m_nValid;
    }
    long long mapped = MappedCount(m_nInChannels, m_nOutChannels, count);
    if (!EnsureWork(m_pWork, m_nWorkCapacity, mapped)) return m_nValid;
    m_nValid += ConvertData(samples, count);
    return m_nValid;
}

int CAudioConverter::ConvertData(const short* samples, int count) {
    if (!samples || count <= 0 || !m_pBuffer) return 0;
    long long mapped = MappedCount(m_nInChannels, m_nOutChannels, count);
    if (!EnsureWork(m_pWork, m_nWorkCapacity, mapped)) return 0;

    const qv::audio::AudioRows& rows = qv::audio::AudioRowFamily().Active();
    short* W = m_pWork + 2;
    int m = MapChannels(rows, samples, count, m_nInChannels, m_nOutChannels, W);

    double ratio = RatesUsable(m_nInRate, m_nOutRate)
                       ? static_cast<double>(m_nInRate) / static_cast<double>(m_nOutRate)
                       : 1.0;
    // The remainder is shared with every other converter; a value left by one
    // with a very different ratio must not push the count past the buffer.
    int room = m_nCapacity - m_nValid;
    double nD = trunc((static_cast<double>(m) + ReadSpare()) / ratio + 0.5);
    int n = nD <= 0.0 ? 0 : (nD >= static_cast<double>(room) ? room : static_cast<int>(nD));
    bool stereoOut = m_nOutChannels != 1;
    short* out = m_pBuffer + m_nValid;

    if (m_nInRate == m_nOutRate || !RatesUsable(m_nInRate, m_nOutRate)) {
        rows.copyHolding(W, m, out, n, stereoOut ? 2 : 1);
    } else if (!stereoOut) {
        rows.resampleMono(W, m, out, n);
    } else {
        if (n & 1) --n;  // whole frames only; the remainder returns the sample later
        rows.resampleStereo(W, m, out, n);
    }

    AddSpare(static_cast<double>(m) - ratio * static_cast<double>(n));

    short carry0 = W[m - 2];
    short carry1 = W[m - 1];
    m_pWork[0] = carry0;
    m_pWork[1] = carry1;
    return n;
}
