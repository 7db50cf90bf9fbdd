// Known answers of every resizer and of the 4:2:0 dispatcher.
#include <quevarra/qv_image.h>

#include "kat/Kat.h"

namespace {

using kat::Bytes;

// Source and destination pictures (luma units) and the rectangles in them.
struct Geometry {
    int sw, sh, sx, sy, scx, scy;
    int dw, dh, dx, dy, dcx, dcy;
};
const Geometry kGeometries[] = {
    {64, 48, 0, 0, 64, 48, 40, 30, 0, 0, 40, 30},     {64, 48, 0, 0, 64, 48, 32, 24, 0, 0, 32, 24},
    {48, 36, 0, 0, 48, 36, 72, 54, 0, 0, 72, 54},     {17, 13, 0, 0, 17, 13, 50, 41, 0, 0, 50, 41},
    {7, 5, 0, 0, 7, 5, 2, 2, 0, 0, 2, 2},             {1, 1, 0, 0, 1, 1, 9, 7, 0, 0, 9, 7},
    {2, 2, 0, 0, 2, 2, 8, 8, 0, 0, 8, 8},             {3, 1, 0, 0, 3, 1, 5, 2, 0, 0, 5, 2},
    {100, 3, 0, 0, 100, 3, 37, 9, 0, 0, 37, 9},       {40, 30, 3, 2, 31, 23, 50, 40, 5, 1, 41, 37},
    {33, 21, 1, 1, 32, 20, 33, 21, 1, 1, 32, 20},     {97, 35, 7, 3, 81, 29, 64, 48, 2, 3, 60, 43},
    {640, 360, 0, 0, 640, 360, 426, 240, 0, 0, 426, 240}, {5, 64, 0, 0, 5, 64, 3, 200, 0, 0, 3, 200},
    {71, 19, 2, 0, 69, 19, 140, 38, 1, 0, 138, 38}};

enum class Kind { TopDown, BottomUp, Chroma };
struct Resizer {
    const char* name;
    int (*f)(const IMG_PARAM&, IMG_PARAM&);
    Kind kind;
    int srcBpp, dstBpp;
};
const Resizer kResizers[] = {
    {"NearY", DIB_ResizeNearY, Kind::TopDown, 1, 1},
    {"BiLinerY", DIB_ResizeBiLinerY, Kind::TopDown, 1, 1},
    {"BiLinerY_Simulate", DIB_ResizeBiLinerY_Simulate, Kind::TopDown, 1, 1},
    {"Near8", DIB_ResizeNear8, Kind::TopDown, 1, 1},
    {"NearUV", DIB_ResizeNearUV, Kind::Chroma, 1, 1},
    {"BiLinerUV", DIB_ResizeBiLinerUV, Kind::Chroma, 1, 1},
    {"BiLiner8", DIB_ResizeBiLiner8, Kind::BottomUp, 1, 1},
    {"Near", DIB_ResizeNear, Kind::BottomUp, 4, 4},
    {"BiLiner", DIB_ResizeBiLiner, Kind::BottomUp, 4, 4},
    {"Convolve", DIB_ResizeConvolve, Kind::BottomUp, 4, 4},
    {"AlphaBiLiner", DIB_AlphaResizeBiLiner, Kind::BottomUp, 4, 4},
    {"MaskNear", StretchMaskResizeNear, Kind::BottomUp, 1, 4},
    {"MaskBiLiner", StretchMaskResizeBiLiner, Kind::BottomUp, 1, 4}};

// A buffer holding a w x h picture (half size for chroma) with `pad` junk bytes per row.
struct Plane {
    Bytes bytes;
    IMG_PARAM p;
    Plane(kat::Rng& rng, Kind kind, int bpp, int w, int h, int x, int y, int cx, int cy, int pad) {
        const int cols = kind == Kind::Chroma ? (w + 1) / 2 : w;
        const int rows = kind == Kind::Chroma ? (h + 1) / 2 : h;
        const int pitch = cols * bpp + pad;
        bytes = rng.Fill(size_t(pitch) * rows);
        p = IMG_PARAM{bytes.data(), w, kind == Kind::Chroma ? h : rows, pitch, bpp * 8, x, y, cx, cy};
    }
};

const std::map<std::string, uint64_t> kPinned = {
#include "kat/KatImagePins.inc"
};

TEST(KnownAnswers, EveryResizerAndTheYv12Dispatcher) {
    kat::Pins pins(kPinned);
    int index = 0;
    for (const Geometry& g : kGeometries) {
        const int pad = (index * 3) % 8;
        for (const Resizer& r : kResizers) {
            kat::Rng rng(index * 977 + r.srcBpp * 31 + r.dstBpp);
            Plane src(rng, r.kind, r.srcBpp, g.sw, g.sh, g.sx, g.sy, g.scx, g.scy, pad);
            Plane dst(rng, r.kind, r.dstBpp, g.dw, g.dh, g.dx, g.dy, g.dcx, g.dcy, (pad + 5) % 8);
            kat::Digest d;
            d.AddInt(r.f(src.p, dst.p));
            d.Add(dst.bytes);
            pins.Check(std::string(r.name) + "/" + std::to_string(index), d);
        }
        for (int method = 0; method < 4; ++method) {
            kat::Rng rng(index * 131 + method);
            Plane y(rng, Kind::TopDown, 1, g.sw, g.sh, g.sx, g.sy, g.scx, g.scy, pad);
            Plane u(rng, Kind::Chroma, 1, g.sw, g.sh, g.sx, g.sy, g.scx, g.scy, pad + 1);
            Plane v(rng, Kind::Chroma, 1, g.sw, g.sh, g.sx, g.sy, g.scx, g.scy, pad);
            Plane dy(rng, Kind::TopDown, 1, g.dw, g.dh, g.dx, g.dy, g.dcx, g.dcy, 3);
            Plane du(rng, Kind::Chroma, 1, g.dw, g.dh, g.dx, g.dy, g.dcx, g.dcy, 0);
            Plane dv(rng, Kind::Chroma, 1, g.dw, g.dh, g.dx, g.dy, g.dcx, g.dcy, 2);
            kat::Digest d;
            d.AddInt(ImageResizeYV12(y.p, y.p.pBits, u.p.pBits, v.p.pBits, y.p.pitch, u.p.pitch,
                                     v.p.pitch, dy.p, dy.p.pBits, du.p.pBits, dv.p.pBits, dy.p.pitch,
                                     du.p.pitch, dv.p.pitch, IMAGE_INTERPOLATION(method)));
            d.Add(dy.bytes), d.Add(du.bytes), d.Add(dv.bytes);
            pins.Check("YV12/" + std::to_string(method) + "/" + std::to_string(index), d);
        }
        ++index;
    }
}

}  // namespace
