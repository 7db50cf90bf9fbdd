#include <cstring>

#include "RecordingPlugins.h"

using namespace rec;

namespace {

// A host picture with its own planes: uniform values unless changed.
struct Picture {
    Picture(int w, int h, uint8_t y, uint8_t u, uint8_t v)
        : W(w), H(h), Y(size_t(w) * h, y), U(size_t((w + 1) / 2) * ((h + 1) / 2), u),
          V(U.size(), v) {}
    MEDIA_FRAME Frame(int64_t streamTime, int64_t timeStamp = 0) {
        MEDIA_FRAME f;
        std::memset(&f, 0, sizeof f);
        f.pPlane[0] = Y.data();
        f.pPlane[1] = U.data();
        f.pPlane[2] = V.data();
        f.nWidth = W;
        f.nHeight = H;
        f.nPitch[0] = W;
        f.nPitch[1] = f.nPitch[2] = (W + 1) / 2;
        f.llStreamTime = streamTime;
        f.llTimeStamp = timeStamp;
        return f;
    }
    int W, H;
    std::vector<uint8_t> Y, U, V;
};

class VideoPath : public PluginTest {
protected:
    void Open(const xVideoInfo& in, int outW, int outH, double rate, int method = 1,
              uint32_t container = kMux) {
        EncodeParam p = Params(container);
        p.video.nWidth = outW;
        p.video.nHeight = outH;
        p.video.dFrameRate = rate;
        p.video.nResizeMethod = method;
        ASSERT_EQ(mf.Create(L"out", &p, &in, nullptr), 1);
    }
    unsigned Write(Picture& pic, int64_t streamTime, int64_t timeStamp = 0) {
        MEDIA_FRAME f = pic.Frame(streamTime, timeStamp);
        return mf.WriteVideoFrame(&f);
    }
    MediaFile mf;
};

size_t CountRowsOf(const std::vector<uint8_t>& plane, int w, uint8_t value, int fromRow, int toRow) {
    size_t rows = 0;
    for (int r = fromRow; r < toRow; ++r) {
        bool all = true;
        for (int c = 0; c < w; ++c) all = all && plane[size_t(r) * w + c] == value;
        rows += all;
    }
    return rows;
}

}  // namespace

TEST_F(VideoPath, FrameCountModeRepeatsAndDropsToKeepTheRate) {
    S().writeResult = 3;
    Open(VideoInfo(320, 240, 12.5), 320, 240, 25.0, 0);
    Picture pic(320, 240, 50, 60, 70);
    EXPECT_EQ(Write(pic, 0), 3u);
    EXPECT_EQ(Write(pic, 800000), 6u);
    EXPECT_EQ(Write(pic, 1600000), 6u);
    EXPECT_EQ(mf.m_nOutFrames, 5);
    EXPECT_EQ(Write(pic, 1600000), 0u);  // its index is already filled
    EXPECT_EQ(Write(pic, INT64_MIN), 0u);
    EXPECT_EQ(S().video.size(), 5u);
    EXPECT_EQ(S().video[0].frame.pPlane[0], pic.Y.data());  // no resize: the host's planes
}

TEST_F(VideoPath, FirstFrameLateFillsTheTimelineFromZero) {
    Open(VideoInfo(320, 240, 25.0), 320, 240, 25.0, 0);
    Picture pic(320, 240, 50, 60, 70);
    EXPECT_EQ(Write(pic, 10000000, 77), 26u);
    EXPECT_EQ(mf.m_nOutFrames, 26);
    EXPECT_EQ(mf.m_llLastVideoTime, 77);
    for (const Written& w : S().video) EXPECT_EQ(w.frame.llStreamTime, 10000000);
}

TEST_F(VideoPath, TimestampModeThinsFramesThatComeTooFast) {
    struct Case { double out, in; std::vector<size_t> written; };
    const Case cases[] = {
        {25.0, 50.0, {0, 2}},
        {25.0, 25.0005, {0, 2}},  // within 0.001 counts as equal
        {30.0, 25.0, {0, 1, 2, 3}},
        {0.0, 0.0, {0, 1, 2, 3}},  // no frame time: nothing thinned
    };
    UseTimestampMode(true);
    for (const Case& c : cases) {
        S().video.clear();
        MediaFile file;
        EncodeParam p = Params();
        p.video.dFrameRate = c.out;
        p.video.nResizeMethod = 0;
        xVideoInfo in = VideoInfo(320, 240, c.in);
        ASSERT_EQ(file.Create(L"out", &p, &in, nullptr), 1);
        Picture pic(320, 240, 1, 2, 3);
        std::vector<size_t> written;
        for (int i = 0; i < 4; ++i) {
            MEDIA_FRAME f = pic.Frame(0, i * 200000);
            if (file.WriteVideoFrame(&f)) written.push_back(size_t(i));
        }
        EXPECT_EQ(written, c.written) << c.out << " vs " << c.in;
    }
}

TEST_F(VideoPath, LetterboxedFrameHasBlackBarsAndPlanarLayout) {
    Open(VideoInfo(720, 576, 25.0, 16, 9), 720, 576, 25.0, 1);
    Picture pic(720, 576, 200, 60, 180);
    Write(pic, 0);
    ASSERT_EQ(S().video.size(), 1u);
    const Written& w = S().video[0];
    EXPECT_EQ(w.frame.nPitch[0], 720);
    EXPECT_EQ(w.frame.nPitch[1], 360);
    EXPECT_EQ(w.frame.pPlane[1], w.frame.pPlane[2] + 360 * 288);  // U after V
    EXPECT_EQ(w.frame.pPlane[2], w.frame.pPlane[0] + 720 * 576);
    EXPECT_EQ(CountRowsOf(w.y, 720, 16, 0, 85), 85u);
    EXPECT_EQ(CountRowsOf(w.y, 720, 200, 85, 491), 406u);
    EXPECT_EQ(CountRowsOf(w.y, 720, 16, 491, 576), 85u);
    EXPECT_EQ(CountRowsOf(w.u, 360, 128, 0, 42), 42u);
    EXPECT_EQ(CountRowsOf(w.u, 360, 60, 43, 245), 202u);
    EXPECT_EQ(CountRowsOf(w.v, 360, 180, 43, 245), 202u);
    EXPECT_EQ(CountRowsOf(w.v, 360, 128, 246, 288), 42u);
}

TEST_F(VideoPath, CroppedFrameUsesOnlyTheCentreOfTheSource) {
    Open(VideoInfo(720, 576, 25.0, 16, 9), 640, 480, 25.0, IMAGE_RESIZE_CROP);
    Picture pic(720, 576, 100, 90, 160);
    for (int r = 0; r < 576; ++r)
        for (int c = 0; c < 720; ++c)
            if (c < 90 || c >= 630) pic.Y[size_t(r) * 720 + c] = 255;  // cut away
    Write(pic, 0);
    ASSERT_EQ(S().video.size(), 1u);
    const Written& w = S().video[0];
    EXPECT_EQ(CountRowsOf(w.y, 640, 100, 0, 480), 480u);
    EXPECT_EQ(CountRowsOf(w.u, 320, 90, 0, 240), 240u);
    EXPECT_EQ(w.frame.nPitch[0], 640);
}

TEST_F(VideoPath, DownscaledFramePitchesAndTimesFollowTheHostFrame) {
    Open(VideoInfo(640, 480, 25.0), 320, 240, 25.0, 1);
    Picture pic(640, 480, 10, 20, 30);
    Write(pic, 0, 55);
    ASSERT_EQ(S().video.size(), 1u);
    const MEDIA_FRAME& f = S().video[0].frame;
    EXPECT_EQ(std::vector<int>({f.nWidth, f.nHeight, f.nPitch[0], f.nPitch[1], f.nPitch[2]}),
              std::vector<int>({320, 240, 320, 160, 160}));
    EXPECT_EQ(f.pPlane[1], f.pPlane[2] + 160 * 120);
    EXPECT_EQ(f.llTimeStamp, 55);
    EXPECT_EQ(CountRowsOf(S().video[0].y, 320, 10, 0, 240), 240u);
}

TEST_F(VideoPath, CopyContainerPassesFramesUntouchedAndUntimed) {
    Open(VideoInfo(640, 480, 25.0), 320, 240, 25.0, 1, QV_FOURCC_COPY);
    Picture pic(640, 480, 10, 20, 30);
    EXPECT_EQ(Write(pic, 0, 5), 1u);
    EXPECT_EQ(Write(pic, 0, 5), 1u);
    ASSERT_EQ(S().video.size(), 2u);
    EXPECT_EQ(S().video[1].frame.pPlane[0], pic.Y.data());
    EXPECT_EQ(S().video[1].frame.nWidth, 640);
    EXPECT_EQ(mf.m_nOutFrames, 2);
}
