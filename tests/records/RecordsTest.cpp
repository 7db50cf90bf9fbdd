// The default parameters as the bytes a separately built plugin reads, and
// rectangle fitting by aspect ratio.
#include <gtest/gtest.h>

#include <string.h>

#include <quevarra/qv_image.h>
#include <quevarra/qv_mediafile.h>

TEST(DefaultEncodeParam, OverwritesEveryByteWithTheDefaults) {
    const uint8_t expected[104] = {
        0x58, 0x56, 0x49, 0x44, 0x59, 0x56, 0x31, 0x32, 12, 0, 0, 0, 0x40, 0x01, 0, 0, 0xF0, 0, 0, 0,
        0, 0, 0, 0, 0, 0, 0x38, 0x40, 0, 0, 0, 0, 0x00, 0xD0, 0x07, 0, 0, 0, 0, 0, 1, 0, 0, 0,
        0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // interpolation, reserved
        0x41, 0x41, 0x43, 0x20, 0x44, 0xAC, 0, 0, 2, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0,
        0x00, 0xF4, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x4D, 0x50, 0x34, 0x20};
    for (int fill : {0x00, 0xAB, 0xFF}) {
        EncodeParam param;
        memset(&param, fill, sizeof param);
        QVDefaultEncodeParam(&param);
        uint8_t bytes[sizeof param];
        memcpy(bytes, &param, sizeof param);
        for (size_t i = 0; i < sizeof param; ++i)
            ASSERT_EQ(bytes[i], expected[i]) << "offset " << i << ", fill " << fill;
    }
    QVDefaultEncodeParam(nullptr);  // ignored
}

TEST(ResizeRect, FitsCentredWithTheOddPixelRightOrBelow) {
    struct Case {
        tagRECT rc;
        tagSIZE size;
        int method;
        tagRECT out;
    } cases[] = {
        {{0, 0, 320, 240}, {720, 576}, IMAGE_RESIZE_KEEP_ASPECT, {10, 0, 310, 240}},
        {{0, 0, 320, 240}, {720, 576}, IMAGE_RESIZE_16_9, {0, 30, 320, 210}},
        {{0, 0, 320, 240}, {720, 576}, IMAGE_RESIZE_4_3, {0, 0, 320, 240}},
        {{0, 0, 400, 240}, {1000, 100}, IMAGE_RESIZE_4_3, {40, 0, 360, 240}},  // wider: width term kept
        {{0, 0, 320, 240}, {720, 576}, IMAGE_RESIZE_STRETCH, {0, 0, 320, 240}},
        {{0, 0, 320, 240}, {0, 576}, IMAGE_RESIZE_KEEP_ASPECT, {0, 0, 320, 240}},
        {{0, 0, 320, 240}, {720, 0}, IMAGE_RESIZE_16_9, {0, 0, 320, 240}},
        {{0, 0, 320, 240}, {720, 576}, IMAGE_RESIZE_CROP, {10, 0, 310, 240}},
        {{0, 0, 320, 240}, {720, 576}, 7, {10, 0, 310, 240}},
        {{0, 0, 320, 240}, {720, 576}, -1, {10, 0, 310, 240}},  // any 32-bit value is a method
        {{0, 0, 320, 240}, {720, 576}, INT32_MAX, {10, 0, 310, 240}},
        {{5, 7, 105, 110}, {1, 1}, IMAGE_RESIZE_KEEP_ASPECT, {5, 8, 105, 109}},  // odd pixel below
        {{0, 0, 103, 100}, {1, 1}, IMAGE_RESIZE_KEEP_ASPECT, {1, 0, 102, 100}},
        {{0, 0, 321, 240}, {-16, -9}, IMAGE_RESIZE_KEEP_ASPECT, {-53, 0, 374, 240}},  // -105 >> 1
        {{0, 0, 32767, 32767}, {32767, 16000}, IMAGE_RESIZE_KEEP_ASPECT, {0, 8383, 32767, 24384}},
        {{0, 0, 32767, 32767}, {32767, 32767}, IMAGE_RESIZE_16_9, {0, 7168, 32767, 25599}},
    };
    for (const Case& c : cases) {
        tagRECT rc = c.rc;
        ResizeRect(rc, c.size, IMAGE_RESIZE_METHOD{c.method});
        EXPECT_EQ(memcmp(&rc, &c.out, sizeof rc), 0) << c.size.cx << "x" << c.size.cy << " method " << c.method
                                                     << ": " << rc.left << " " << rc.top << " " << rc.right;
    }
}
