// CAudioConverter with fuzzed formats, capacities, block sizes (whole sample
// frames or not) and Get counts, from a fuzzed shared remainder.
//
// Input: header (channels, rates, capacity, the remainder), then operations
// of one byte each plus their arguments: Put with that many samples from the
// input, Get, Reset or a direct ConvertData.
//
// Beyond memory safety it checks the queue's bookkeeping (waiting samples never
// negative nor above the capacity, Get returns min(count, waiting) and the
// oldest samples first) and that equal formats pass samples through unchanged.
#include <stdint.h>
#include <string.h>

#include <deque>
#include <memory>
#include <vector>

#include <quevarra/qv_audio.h>

#include "common/FuzzInput.h"
#include "common/Harness.h"

namespace {

const int kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000, 88200, 96000, 192000};

int Channels(qvfuzz::Input& in) {
    const int v = in.U8() % 8;
    return v < 5 ? 1 + (v & 1) : v - 6;  // mostly 1 or 2; also 0, -1 and 3..
}

int Rate(qvfuzz::Input& in) {
    const uint8_t v = in.U8();
    if (v < 200) return kRates[v % 10];
    if (v < 250) return 1 + static_cast<int>(in.U32() % 200000);  // any positive rate
    return v == 250 ? 0 : (v == 251 ? -44100 : static_cast<int>(in.U32()));
}

// Output samples above which a block is cut shorter: growth is 2x the
// estimate, so this bounds one run's memory and time (blocks that grow the
// arrays past the allocator's small sizes cost fresh pages on every run).
constexpr double kMaxOutputPerPut = 1 << 13;

// What the queue must hold when the formats are equal.
struct Model {
    bool passThrough;          // equal formats: the queue holds the input itself
    std::deque<short> queued;  // only tracked when passThrough
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 65536) return -1;
    qvfuzz::Input in(data, size);
    const int inCh = Channels(in), outCh = Channels(in);
    const int inRate = Rate(in), outRate = Rate(in);
    const uint8_t capacityKind = in.U8();
    // The default capacity (0 or negative: 262144 samples) costs fresh pages
    // on every run, so it is chosen now and then only.
    const int capacity = capacityKind < 240   ? 1 + capacityKind * 16
                         : capacityKind < 248 ? static_cast<int>(in.U16())
                                              : 250 - capacityKind;
    // The remainder is shared by the process and a host may set it between
    // conversions; it starts from a fuzzed but sane value each run.
    CAudioConverter::s_dSpare = static_cast<int16_t>(in.U16()) / 64.0;

    CAudioConverter c(inCh, outCh, inRate, outRate, capacity);
    QV_FUZZ_CHECK(c.GetValidSize() == 0);
    const bool usableRates = inRate > 0 && outRate > 0;
    const double ratio = usableRates ? static_cast<double>(outRate) / inRate : 1.0;
    Model model{inCh == outCh && (inRate == outRate || !usableRates), {}};

    for (int op = 0; op < 32 && !in.Empty(); ++op) {
        const uint8_t kind = in.U8();
        const int before = c.GetValidSize();
        switch (kind % 5) {
        case 0:
        case 1: {  // Put: up to 4096 samples, any count (odd ones split stereo frames)
            int count = in.Range(0, 4096);
            const double most = kMaxOutputPerPut / (2.0 * ratio);
            if (count > most) count = static_cast<int>(most);
            std::unique_ptr<short[]> samples(new short[count]);
            in.Bytes(samples.get(), sizeof(short) * static_cast<size_t>(count));
            const int waiting = c.Put(samples.get(), count);
            QV_FUZZ_CHECK(waiting == c.GetValidSize() && waiting >= before);
            if (model.passThrough && waiting > before) {
                // Whole sample frames only: a trailing partial frame is dropped.
                const int frame = inCh > 1 ? inCh : 1;
                const int whole = count - count % frame;
                QV_FUZZ_CHECK(waiting - before == whole);
                model.queued.insert(model.queued.end(), samples.get(), samples.get() + whole);
            }
            break;
        }
        case 2: {  // Get: any count, negative and above the waiting samples too
            const int count = static_cast<int16_t>(in.U16());
            const int room = count > 0 ? count : 0;
            std::unique_ptr<short[]> out(new short[room]);
            const int got = c.Get(out.get(), count);
            QV_FUZZ_CHECK(got == (count <= 0 ? 0 : (count < before ? count : before)));
            QV_FUZZ_CHECK(c.GetValidSize() == before - got);
            if (model.passThrough) {
                for (int i = 0; i < got; ++i) {
                    QV_FUZZ_CHECK(out[i] == model.queued.front());
                    model.queued.pop_front();
                }
            }
            break;
        }
        case 3:
            c.Reset();
            model.queued.clear();
            QV_FUZZ_CHECK(c.GetValidSize() == 0);
            break;
        default: {  // ConvertData writes at the queue's end without queueing
            const int count = in.Range(0, 1024);
            std::unique_ptr<short[]> samples(new short[count]);
            in.Bytes(samples.get(), sizeof(short) * static_cast<size_t>(count));
            const int written = c.ConvertData(samples.get(), count);
            QV_FUZZ_CHECK(written >= 0 && written <= c.GetFreeSize());
            QV_FUZZ_CHECK(c.GetValidSize() == before);
            break;
        }
        }
        QV_FUZZ_CHECK(c.GetValidSize() >= 0 && c.GetFreeSize() >= 0);
        QV_FUZZ_CHECK(c.GetFreeSize() + c.GetValidSize() == c.m_nCapacity);
    }
    return 0;
}
