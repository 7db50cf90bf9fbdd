// Known answers of the PCM converter: channel mapping and resampling over
// block sequences, with the shared remainder they leave behind.
#include <quevarra/qv_audio.h>

#include <cstring>

#include "kat/Kat.h"

namespace {

const std::map<std::string, uint64_t> kPinned = {
#include "kat/KatAudioPins.inc"
};

TEST(KnownAnswers, AudioConverterBlockSequences) {
    kat::Pins pins(kPinned);
    const int rates[] = {8000, 11025, 22050, 44100, 48000, 96000};
    const int blocks[] = {1, 2, 3, 17, 64, 441, 1000, 4096, 44100, 7};
    int n = 0;
    for (int inCh : {1, 2})
        for (int outCh : {1, 2})
            for (int inRate : rates)
                for (int outRate : {22050, 44100, 48000}) {
                    CAudioConverter::s_dSpare = 0.0;
                    CAudioConverter c(inCh, outCh, inRate, outRate, 0);
                    kat::Rng rng(n++);
                    kat::Digest d;
                    std::vector<short> in, out;
                    for (int frames : blocks) {
                        in.resize(size_t(frames) * inCh);
                        for (auto& s : in) s = short(rng.Next() >> 48);
                        if (frames == 441) in[0] = -32768, in[in.size() - 1] = 32767;
                        c.Put(in.data(), int(in.size()));
                        out.resize(size_t(c.GetValidSize()));
                        const int got = c.Get(out.data(), int(out.size()));
                        d.AddInt(got);
                        d.Add(out.data(), size_t(got) * sizeof(short));
                    }
                    d.Add(&CAudioConverter::s_dSpare, sizeof(double));
                    pins.Check(std::to_string(inCh) + "ch" + std::to_string(inRate) + "->" +
                                   std::to_string(outCh) + "ch" + std::to_string(outRate),
                               d);
                }
    CAudioConverter::s_dSpare = 0.0;
}

}  // namespace
