#include <gtest/gtest.h>

#include <quevarra/qv_mediafile.h>

#include <string.h>

namespace {

// The defaults as the bytes a plugin built elsewhere reads.
const uint8_t kDefaultBytes[104] = {
    0x58, 0x56, 0x49, 0x44, 0x59, 0x56, 0x31, 0x32,  // XVID, YV12
    12, 0, 0, 0, 0x40, 0x01, 0, 0, 0xF0, 0, 0, 0,    // 12, 320, 240
    0, 0, 0, 0, 0, 0, 0x38, 0x40,                    // 24.0
    0, 0, 0, 0, 0x00, 0xD0, 0x07, 0x00,              // nExtra 0, 512000
    0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0,              // 0, resize 1, interpolation 0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // reserved
    0x41, 0x41, 0x43, 0x20, 0x44, 0xAC, 0, 0,        // "AAC ", 44100
    2, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0,             // 2, 16, 0
    0x00, 0xF4, 0x01, 0x00, 0, 0, 0, 0,              // 128000, 0
    0, 0, 0, 0, 0, 0, 0, 0,                          // both streams enabled
    0x4D, 0x50, 0x34, 0x20,                          // "MP4 "
};

}  // namespace

TEST(DefaultEncodeParam, OverwritesEveryByteWithTheDefaults) {
    for (int fill : {0x00, 0xAB, 0xFF}) {
        EncodeParam param;
        memset(&param, fill, sizeof param);
        QVDefaultEncodeParam(&param);
        uint8_t bytes[sizeof param];
        memcpy(bytes, &param, sizeof param);
        for (size_t i = 0; i < sizeof param; ++i)
            EXPECT_EQ(bytes[i], kDefaultBytes[i]) << "offset " << i << ", fill " << fill;
    }
}

TEST(DefaultEncodeParam, NullRecordIsIgnored) { QVDefaultEncodeParam(nullptr); }
