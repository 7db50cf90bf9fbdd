#include "Version.h"

#include <quevarra/qv_embed.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace qvenc {

namespace {

std::string Dotted(unsigned v) {
    return std::to_string(AV_VERSION_MAJOR(v)) + "." + std::to_string(AV_VERSION_MINOR(v)) + "." +
           std::to_string(AV_VERSION_MICRO(v));
}

}  // namespace

std::string VersionText() {
    std::string s = "qvencode " QVENCODE_VERSION "\n";
    s += "library " + std::string(QVGetVersionString()) + "\n";
    s += "FFmpeg " + std::string(av_version_info()) + ": libavformat " + Dotted(avformat_version()) + ", libavcodec " +
         Dotted(avcodec_version()) + ", libavutil " + Dotted(avutil_version()) + ", libswscale " +
         Dotted(swscale_version()) + ", libswresample " + Dotted(swresample_version()) + "\n";
    return s;
}

}  // namespace qvenc
