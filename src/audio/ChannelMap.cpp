#include "audio/ChannelMap.h"

#include <string.h>

int MapChannels(const short* src, int count, int inChannels, int outChannels, short* dst) {
    if (inChannels == outChannels) {
        memcpy(dst, src, sizeof(short) * static_cast<size_t>(count));
        return count;
    }
    if (inChannels == 1) {
        for (int i = 0; i < count; ++i) dst[2 * i] = dst[2 * i + 1] = src[i];
        return 2 * count;
    }
    int m = count / 2;
    for (int i = 0; i < m; ++i)
        dst[i] = static_cast<short>(src[2 * i] / 2 + src[2 * i + 1] / 2);
    return m;
}
