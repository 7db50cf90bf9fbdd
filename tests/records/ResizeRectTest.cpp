#include <gtest/gtest.h>

#include <quevarra/qv_image.h>

namespace {

tagRECT Fit(tagRECT rc, int cx, int cy, int method) {
    ResizeRect(rc, tagSIZE{cx, cy}, static_cast<IMAGE_RESIZE_METHOD>(method));
    return rc;
}

::testing::AssertionResult Is(const tagRECT& rc, int l, int t, int r, int b) {
    if (rc.left == l && rc.top == t && rc.right == r && rc.bottom == b)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got (" << rc.left << ", " << rc.top << ", "
                                         << rc.right << ", " << rc.bottom << ")";
}

const tagRECT kQvga = {0, 0, 320, 240};

}  // namespace

TEST(ResizeRect, FitsPalPictureIntoQvgaByEachAspect) {
    EXPECT_TRUE(Is(Fit(kQvga, 720, 576, IMAGE_RESIZE_KEEP_ASPECT), 10, 0, 310, 240));
    EXPECT_TRUE(Is(Fit(kQvga, 720, 576, IMAGE_RESIZE_16_9), 0, 30, 320, 210));
    EXPECT_TRUE(Is(Fit(kQvga, 720, 576, IMAGE_RESIZE_4_3), 0, 0, 320, 240));
    // A size wider than 16:9 or 4:3 keeps its width term.
    EXPECT_TRUE(Is(Fit(kQvga, 1000, 100, IMAGE_RESIZE_16_9), 0, 30, 320, 210));
    EXPECT_TRUE(Is(Fit({0, 0, 400, 240}, 1000, 100, IMAGE_RESIZE_4_3), 40, 0, 360, 240));
}

TEST(ResizeRect, StretchOrEmptySizeLeavesRectangleAlone) {
    EXPECT_TRUE(Is(Fit(kQvga, 720, 576, IMAGE_RESIZE_STRETCH), 0, 0, 320, 240));
    EXPECT_TRUE(Is(Fit(kQvga, 0, 576, IMAGE_RESIZE_KEEP_ASPECT), 0, 0, 320, 240));
    EXPECT_TRUE(Is(Fit(kQvga, 720, 0, IMAGE_RESIZE_16_9), 0, 0, 320, 240));
}

TEST(ResizeRect, CropAndUnknownMethodsKeepTheSizesAspect) {
    for (int method : {int(IMAGE_RESIZE_CROP), 4, 7, -1})
        EXPECT_TRUE(Is(Fit(kQvga, 720, 576, method), 10, 0, 310, 240)) << method;
}

TEST(ResizeRect, OddRemainderStaysOnRightAndBottom) {
    EXPECT_TRUE(Is(Fit({0, 0, 103, 100}, 1, 1, IMAGE_RESIZE_KEEP_ASPECT), 1, 0, 102, 100));
    EXPECT_TRUE(Is(Fit({5, 7, 105, 110}, 1, 1, IMAGE_RESIZE_KEEP_ASPECT), 5, 8, 105, 109));
    // The new height is 180; the difference 3 splits 1 + 2.
    EXPECT_TRUE(Is(Fit({0, 0, 320, 183}, 16, 9, IMAGE_RESIZE_KEEP_ASPECT), 0, 1, 320, 182));
}

TEST(ResizeRect, NegativeDifferenceHalvesTowardMinusInfinity) {
    // Negative size terms give a new width of 426 > 321: d = -105 >> 1 = -53.
    EXPECT_TRUE(Is(Fit({0, 0, 321, 240}, -16, -9, IMAGE_RESIZE_KEEP_ASPECT), -53, 0, 374, 240));
}

TEST(ResizeRect, LargestSupportedSizesDoNotOverflow) {
    EXPECT_TRUE(Is(Fit({0, 0, 32767, 32767}, 32767, 16000, IMAGE_RESIZE_KEEP_ASPECT), 0, 8383,
                   32767, 24384));
    EXPECT_TRUE(Is(Fit({0, 0, 32767, 32767}, 32767, 32767, IMAGE_RESIZE_16_9), 0, 7168, 32767,
                   25599));
}
