// The resize dispatchers, the two resizers reached only directly, and
// ImageResizeYV12, with fuzzed descriptors: rectangles, buffer sizes, pitches
// of either sign, interpolation values, and now and then a descriptor the
// resizers must refuse. Each buffer is exactly the rows its descriptor
// addresses (a negative pitch walks upwards from row 0).
//
// Input: byte 0 the function, byte 1 the interpolation, byte 2 the CPU
// target, then the source and destination descriptors.
//
// Beyond memory safety it checks: the result (1 for accepted descriptors and
// a supported interpolation, else 0); that nothing outside the destination
// rectangle changes (but for the margins the luma resizers paint); that a
// refused call writes nothing; and that the chosen SIMD target writes exactly
// the bytes of the scalar reference rows.
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include <quevarra/qv_image.h>

#include "common/FuzzInput.h"
#include "common/Harness.h"
#include "cpu/Cpu.h"

namespace {

enum class Rows { TopDown, BottomUp, Chroma };

// How one side of a call lays out its buffer.
struct Format {
    Rows rows;
    int bpp;           // bytes per pixel (chroma: 1 per sample)
    int minSide;       // smallest accepted rectangle side
    bool paintsRows;   // the luma resizers set the whole width of covered rows
    bool needs8Bit;    // StretchMaskResizeBiLiner reads bitCount
};

constexpr int kMaxSide = 524287;  // larger sides are refused

struct Desc {
    IMG_PARAM p{};
    qvfuzz::Plane plane;
    Format format{};
    bool valid = false;
};

int Length(qvfuzz::Input& in) {
    const uint8_t v = in.U8();
    // Mostly below 100: larger blocks come from fresh pages on every run.
    if (v < 248) return 1 + v % 100;
    const int odd[] = {0, -1, 1, 2, kMaxSide + 1, 255, 256, -200};
    return odd[v - 248];
}

int Offset(qvfuzz::Input& in) {
    const uint8_t v = in.U8();
    return v == 255 ? -1 : v % 24;
}

// Bytes of stored row that a rectangle reaching column `right` needs.
int64_t RowNeed(const Format& f, int64_t right) {
    return f.rows == Rows::Chroma ? (right - 1) / 2 + 1 : right * f.bpp;
}

// A descriptor of `format` over a buffer it fits, or (now and then) one the
// resizers must refuse; the buffer is what a valid reading of it addresses.
void MakeDesc(qvfuzz::Input& in, qvfuzz::Noise& noise, const Format& f, Desc& d) {
    d.format = f;
    IMG_PARAM& p = d.p;
    p.cx = Length(in), p.cy = Length(in);
    p.x = Offset(in), p.y = Offset(in);
    const uint8_t shape = in.U8();
    // The buffer: at least the rectangle, plus some columns and rows.
    const int cols = (p.x > 0 ? p.x : 0) + (p.cx > 0 && p.cx <= 256 ? p.cx : 1) + (shape & 7);
    const int lumaRows = (p.y > 0 ? p.y : 0) + (p.cy > 0 && p.cy <= 256 ? p.cy : 1) + ((shape >> 3) & 3);
    const int rowBytes = static_cast<int>(RowNeed(f, cols));
    const uint8_t slack = in.U8();
    int pitch = slack >= 248 ? rowBytes - 1 - (slack & 3) : rowBytes + slack % 16;  // short pitches refused
    if (shape & 0x20) pitch = -pitch;
    p.pitch = pitch;
    p.bitCount = (shape & 0xC0) == 0xC0 ? 32 : 8;
    const int rows = f.rows == Rows::Chroma ? (lumaRows + 1) / 2 : lumaRows;
    // Bottom-up rows are addressed from `height`; top-down ones need not fill it.
    const uint8_t fields = in.U8();
    // A bottom-up height one row short of the rectangle must be refused; the
    // buffer never holds more rows than the sizes above allow.
    const int shortHeight = static_cast<int>(std::min<int64_t>(int64_t{p.y} + p.cy - 1, lumaRows));
    p.height = f.rows == Rows::BottomUp ? (fields >= 250 ? shortHeight : lumaRows)
                                        : lumaRows * (fields % 4) / 3;
    p.width = cols * ((fields >> 2) % 4) / 3;
    const int allocated = f.rows == Rows::BottomUp ? (p.height > 0 ? p.height : 0) : rows;
    const int magnitude = pitch < 0 ? -pitch : pitch;
    d.plane = qvfuzz::Plane(allocated, pitch, f.paintsRows ? magnitude : rowBytes);
    noise.Fill(d.plane.Base(), d.plane.Size());
    p.pBits = fields == 0x55 ? nullptr : d.plane.Row0();

    d.valid = p.pBits && p.cx >= f.minSide && p.cy >= f.minSide && p.cx <= kMaxSide &&
              p.cy <= kMaxSide && p.x >= 0 && p.y >= 0 &&
              RowNeed(f, int64_t{p.x} + p.cx) <= magnitude &&
              (f.rows != Rows::BottomUp || int64_t{p.y} + p.cy <= p.height) &&
              (!f.needs8Bit || p.bitCount == 8);
}

// Which bytes of the destination's block a call may change.
std::vector<bool> Writable(const Desc& d) {
    std::vector<bool> ok(d.plane.Size(), false);
    if (!d.valid) return ok;
    const IMG_PARAM& p = d.p;
    const int magnitude = p.pitch < 0 ? -p.pitch : p.pitch;
    auto mark = [&](int stored, int64_t from, int64_t to) {
        for (int64_t c = from; c < to; ++c) {
            const int64_t at = d.plane.Offset(stored, c);
            if (at >= 0 && at < static_cast<int64_t>(ok.size())) ok[at] = true;
        }
    };
    for (int r = p.y; r < p.y + p.cy; ++r) {
        if (d.format.rows == Rows::Chroma)
            mark(r / 2, p.x / 2, (p.x + p.cx - 1) / 2 + 1);
        else if (d.format.paintsRows)
            mark(r, 0, magnitude);
        else
            mark(d.format.rows == Rows::BottomUp ? p.height - 1 - r : r, int64_t{p.x} * d.format.bpp,
                 int64_t{p.x + p.cx} * d.format.bpp);
    }
    return ok;
}

void CheckOnlyWritable(const Desc& d, const std::vector<uint8_t>& before) {
    const std::vector<bool> ok = Writable(d);
    for (size_t i = 0; i < before.size(); ++i)
        if (!ok[i] && d.plane.Base()[i] != before[i])
            qvfuzz::Fail("resize_fuzz: a byte outside the destination rectangle changed");
}

std::vector<uint8_t> Snapshot(const Desc& d) {
    return std::vector<uint8_t>(d.plane.Base(), d.plane.Base() + d.plane.Size());
}

using Resizer = int (*)(const IMG_PARAM&, IMG_PARAM&, IMAGE_INTERPOLATION);

// The function under test and the formats it reads its descriptors in.
struct Call {
    Resizer resize;
    Format src, dst;
    bool supported;
};

Call Choose(int which, int method) {
    const Format top1{Rows::TopDown, 1, 1, false, false}, bottom1{Rows::BottomUp, 1, 1, false, false};
    const Format bottom4{Rows::BottomUp, 4, 1, false, false}, chroma{Rows::Chroma, 1, 1, false, false};
    auto dst = [](Format f, bool paints = false) { return f.minSide = 2, f.paintsRows = paints, f; };
    const bool planeMethod = method >= 0 && method <= 2;
    switch (which) {
    case 0:
        return {ImageResize, bottom4, dst(bottom4), method >= 0 && method <= 3};
    case 1:  // nearest is the top-down member, bilinear the bottom-up one
        return {ImageResize8, method == 1 ? top1 : bottom1, dst(method == 1 ? top1 : bottom1),
                planeMethod};
    case 2:
        return {ImageResizeY, top1, dst(top1, true), planeMethod};
    case 3:
        return {ImageResizeUV, chroma, dst(chroma), planeMethod};
    case 4:
        return {ImageAlphaResize, bottom4, dst(bottom4), true};
    case 5: {
        Format mask = bottom1;
        mask.needs8Bit = true;
        return {[](const IMG_PARAM& s, IMG_PARAM& d, IMAGE_INTERPOLATION) { return ImageStretchMask(s, d); },
                mask, dst(bottom4), true};
    }
    case 6:
        return {[](const IMG_PARAM& s, IMG_PARAM& d, IMAGE_INTERPOLATION) { return StretchMaskResizeNear(s, d); },
                bottom1, dst(bottom4), true};
    default:
        return {[](const IMG_PARAM& s, IMG_PARAM& d, IMAGE_INTERPOLATION) {
                    return DIB_ResizeBiLinerY_Simulate(s, d);
                },
                top1, dst(top1), true};
    }
}

// Runs `run` on the chosen target and, when that is not the reference rows,
// again on them from the same destination bytes: both must agree.
template <typename Run>
void OnTargets(qv::cpu::Target target, std::vector<Desc*> dsts, Run run) {
    std::vector<std::vector<uint8_t>> before;
    for (Desc* d : dsts) before.push_back(Snapshot(*d));
    int result;
    {
        qv::cpu::ScopedTarget scope(target);
        result = run();
    }
    if (target == qv::cpu::kReference) return;
    std::vector<std::vector<uint8_t>> first;
    for (size_t i = 0; i < dsts.size(); ++i) {
        first.push_back(Snapshot(*dsts[i]));
        std::copy(before[i].begin(), before[i].end(), dsts[i]->plane.Base());
    }
    qv::cpu::ScopedTarget scope(qv::cpu::kReference);
    QV_FUZZ_CHECK(run() == result);
    for (size_t i = 0; i < dsts.size(); ++i)
        if (Snapshot(*dsts[i]) != first[i])
            qvfuzz::Fail("resize_fuzz: a SIMD target differs from the reference rows");
}

// A chroma plane for the luma rectangle of `luma`: its own block and pitch,
// the luma picture's rectangle (the resizer halves it).
void MakeChroma(qvfuzz::Input& in, qvfuzz::Noise& noise, const Desc& luma, int minSide, Desc& d) {
    d.format = Format{Rows::Chroma, 1, minSide, false, false};
    d.p = luma.p;
    const IMG_PARAM& p = d.p;
    const bool inside = p.x >= 0 && p.y >= 0 && p.cx > 0 && p.cy > 0 && p.cx <= 256 && p.cy <= 256;
    const int need = inside ? static_cast<int>(RowNeed(d.format, p.x + p.cx)) : 0;
    const uint8_t slack = in.U8();
    int pitch = slack >= 248 ? need - 1 : need + slack % 8;
    if (slack & 0x80) pitch = -pitch;
    d.p.pitch = pitch;
    d.plane = qvfuzz::Plane(inside ? (p.y + p.cy + 1) / 2 : 0, pitch, need);
    noise.Fill(d.plane.Base(), d.plane.Size());
    d.p.pBits = d.plane.Row0();
    d.valid = inside && p.cx >= minSide && p.cy >= minSide && need <= (pitch < 0 ? -pitch : pitch);
}

void ResizeYV12(qvfuzz::Input& in, qvfuzz::Noise& noise, int method, qv::cpu::Target target) {
    const Format top1{Rows::TopDown, 1, 1, false, false}, dstY{Rows::TopDown, 1, 2, true, false};
    Desc src[3], dst[3];
    MakeDesc(in, noise, top1, src[0]);
    MakeDesc(in, noise, dstY, dst[0]);
    for (int k = 1; k < 3; ++k) {
        MakeChroma(in, noise, src[0], 1, src[k]);
        MakeChroma(in, noise, dst[0], 2, dst[k]);
    }
    // ImageResizeYV12 reads only the rectangles of the descriptors it gets:
    // their own buffer and pitch are poison.
    IMG_PARAM s = src[0].p, d = dst[0].p;
    s.pBits = d.pBits = reinterpret_cast<uint8_t*>(uintptr_t{16});
    s.pitch = d.pitch = -7;
    std::vector<std::vector<uint8_t>> before;
    for (Desc& x : dst) before.push_back(Snapshot(x));
    OnTargets(target, {&dst[0], &dst[1], &dst[2]}, [&] {
        const int r = ImageResizeYV12(s, src[0].p.pBits, src[1].p.pBits, src[2].p.pBits,
                                      src[0].p.pitch, src[1].p.pitch, src[2].p.pitch, d,
                                      dst[0].p.pBits, dst[1].p.pBits, dst[2].p.pBits,
                                      dst[0].p.pitch, dst[1].p.pitch, dst[2].p.pitch,
                                      static_cast<IMAGE_INTERPOLATION>(method));
        QV_FUZZ_CHECK(r == (d.cx >= 2 && d.cy >= 2 ? 1 : 0));
        return r;
    });
    const bool planeMethod = method >= 0 && method <= 2;
    for (int k = 0; k < 3; ++k) {
        if (!planeMethod || !src[k].valid) dst[k].valid = false;  // then nothing may change
        CheckOnlyWritable(dst[k], before[k]);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 256) return -1;
    qvfuzz::Input in(data, size);
    const int which = in.U8() % 9;
    const uint8_t m = in.U8();
    const int method = m < 240 ? m % 4 : (m < 250 ? m - 244 : 1000 * (m - 249));  // -4..5, 1000..
    const std::vector<qv::cpu::Target> targets = qv::cpu::RunnableTargets();
    const qv::cpu::Target target = targets[in.U8() % targets.size()];
    qvfuzz::Noise noise(in.U32());

    if (which == 8) {
        ResizeYV12(in, noise, method, target);
        return 0;
    }
    const Call call = Choose(which, method);
    Desc src, dst;
    MakeDesc(in, noise, call.src, src);
    MakeDesc(in, noise, call.dst, dst);
    const bool accepted = call.supported && src.valid && dst.valid;
    const std::vector<uint8_t> before = Snapshot(dst);
    OnTargets(target, {&dst}, [&] {
        const int r = call.resize(src.p, dst.p, static_cast<IMAGE_INTERPOLATION>(method));
        QV_FUZZ_CHECK(r == (accepted ? 1 : 0));
        return r;
    });
    if (!accepted) dst.valid = false;  // nothing may change
    CheckOnlyWritable(dst, before);
    return 0;
}
