// Helper process for the kill-mid-write test: writes video and audio to the
// file named on the command line, says "ready" once three seconds are in,
// then keeps writing until it is killed (or gives up after a while).
#include "plugins/PlxDriver.h"

#include <stdio.h>
#include <time.h>
#include <unistd.h>

using namespace plxtest;

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    EncodeParam param{};
    param.dwFileFormat = Code(argv[1]);
    param.video = {Code("H264"), 0, 12, 160, 120, 25.0, 0, 300000, 0, 0, 0, {0}};
    param.audio = {Code("AAC "), 48000, 2, 16, 0, 96000, 0};
    Pipeline p;
    std::string error;
    if (!p.Create(argv[2], &param, &error)) {
        fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    Picture pic(160, 120);
    const time_t start = time(nullptr);
    for (int i = 0; time(nullptr) - start < 60; ++i) {
        pic.Paint(i);
        MEDIA_FRAME f = pic.Frame(i * 400000LL);
        p.WriteVideo(&f);
        std::vector<int16_t> s = Tone(48000, 2, 1920, 440, 8000, i * 1920LL);
        MEDIA_FRAME b = AudioBlock(s, 48000, 2, i * 400000LL);
        p.WriteAudio(&b);
        if (i == 75) {
            printf("ready\n");
            fflush(stdout);
        }
    }
    _exit(3);  // never closed: the test wants an unfinished file
}
