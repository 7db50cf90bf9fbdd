// YUV4MPEG2 writer: planar 4:2:0, frame rate as an exact ratio.
#include "raw/RawMuxers.h"

#include "PlxContract.h"
#include "common/PlxCommon.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <cstdlib>

#include <string>

namespace plxraw {

namespace {

struct Y4mFile {
    FILE* fp = nullptr;
    std::string path;
    int width = 0;
    int height = 0;
};

bool WritePlane(FILE* fp, const uint8_t* plane, int pitch, int width, int rows) {
    for (int y = 0; y < rows; ++y)
        if (fwrite(plane + static_cast<ptrdiff_t>(y) * pitch, 1, static_cast<size_t>(width), fp) !=
            static_cast<size_t>(width))
            return false;
    return true;
}

}  // namespace

void* Y4mCreateFile(const wchar_t* path, EncodeParam* param) {
    if (!path || !param) return nullptr;
    const EncodeVideoParam& v = param->video;
    int num = 0, den = 0;
    if (param->bDisableVideo || v.nWidth < 1 || v.nHeight < 1 || v.nWidth > kMaxPictureSide ||
        v.nHeight > kMaxPictureSide || !plx::FrameRateRatio(v.dFrameRate, &num, &den)) {
        plx::Report("plxraw: Y4M [%s]: no picture to write (%dx%d at %g fps)",
                    plx::WideToUtf8(path).c_str(), v.nWidth, v.nHeight, v.dFrameRate);
        return nullptr;
    }
    Y4mFile* f = new Y4mFile;
    f->path = plx::WideToUtf8(path);
    f->width = v.nWidth;
    f->height = v.nHeight;
    f->fp = fopen(f->path.c_str(), "wb");
    // Chroma sited as the library's BT.601 converters produce it (centred).
    if (!f->fp || fprintf(f->fp, "YUV4MPEG2 W%d H%d F%d:%d Ip A1:1 C420jpeg\n", f->width, f->height,
                          num, den) < 0) {
        plx::Report("plxraw: cannot create the Y4M file [%s]: %s", f->path.c_str(), strerror(errno));
        if (f->fp) fclose(f->fp);
        delete f;
        return nullptr;
    }
    return f;
}

uint32_t Y4mWriteVideo(void* hFile, const void* data) {
    Y4mFile* f = static_cast<Y4mFile*>(hFile);
    if (!f || !data) return 0;
    const MEDIA_FRAME* frame = static_cast<const MEDIA_FRAME*>(data);
    // The picture size is the file's; frames arrive at it. A frame that says
    // it is smaller cannot fill the file's rows.
    if ((frame->nWidth > 0 && frame->nWidth < f->width) ||
        (frame->nHeight > 0 && frame->nHeight < f->height))
        return 0;
    const int cw = (f->width + 1) / 2, ch = (f->height + 1) / 2;
    // A negative pitch is a bottom-up plane addressed from its top row.
    if (!frame->pPlane[0] || !frame->pPlane[1] || !frame->pPlane[2] ||
        std::abs(frame->nPitch[0]) < f->width || std::abs(frame->nPitch[1]) < cw ||
        std::abs(frame->nPitch[2]) < cw)
        return 0;
    bool ok = fputs("FRAME\n", f->fp) >= 0 &&
              WritePlane(f->fp, frame->pPlane[0], frame->nPitch[0], f->width, f->height) &&
              WritePlane(f->fp, frame->pPlane[1], frame->nPitch[1], cw, ch) &&
              WritePlane(f->fp, frame->pPlane[2], frame->nPitch[2], cw, ch);
    if (!ok) {
        plx::Report("plxraw: write to the Y4M file [%s] failed: %s", f->path.c_str(), strerror(errno));
        return 0;
    }
    return 1;
}

int Y4mCloseFile(void* hFile, QVPROGRESS_CALLBACK callback, void* user) {
    Y4mFile* f = static_cast<Y4mFile*>(hFile);
    if (!f) return 0;
    bool ok = fclose(f->fp) == 0;
    if (!ok) plx::Report("plxraw: cannot finish the Y4M file [%s]: %s", f->path.c_str(), strerror(errno));
    if (callback) callback(user, 1, 1, PLX_STAGE_DONE);
    delete f;
    return ok ? 1 : 0;
}

}  // namespace plxraw
