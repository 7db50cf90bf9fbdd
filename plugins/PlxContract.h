/* How our encoders hand their output to our muxers.
 *
 * The library passes an encoder's output slot and word to the muxer untouched
 * (and, for a codec a muxer takes inline, the host's MEDIA_FRAME with word 0),
 * and the extra words of pfnGet*Extra to pfnSet*Extra. Their meaning is ours:
 *
 * Raw codecs (plxraw: 'PCM ', 'I420'). Inline in the raw muxers. When another
 * muxer lists them as not inline, the encoder passes the frame through: the
 * output slot is the input MEDIA_FRAME* itself and the audio word is 0. They
 * have no extra words.
 *
 * Compressed codecs (plxffmpeg). pfnEncode stores a PLX_PACKETS* in the output
 * slot and, for audio, PLX_CONTRACT_TAG in the output word. The list holds the
 * packets finished by this call (often none at the start: encoders look ahead)
 * and the stream's codec description, which is complete from the first call
 * on. It belongs to the encoder instance and stays valid until its next
 * pfnEncode, pfnGet*Extra or pfnClose. A null slot or a list with another tag
 * is ignored by the muxers.
 *
 * Extra words at close. pfnGetAudioExtra drains the encoder: word 1 is a
 * PLX_PACKETS* with the final packets (the buffered tail of the stream), word 2
 * is PLX_CONTRACT_TAG. pfnGetVideoExtra does the same with words 1 and 2;
 * words 3 and 4 are 0. The list stays valid until pfnClose, which the library
 * calls only after the muxer's pfnCloseFile, so no frame is lost.
 *
 * Time stamps. Video packets count frames at the output rate (the library
 * repeats and drops frames so that the n-th frame handed over is output frame
 * n), in time base 1/rate with an exact ratio (30000/1001 for 29.97). Audio
 * packets count samples (time base 1/sample rate). Our muxers run in
 * frame-count mode; audio-only files (always time-stamp mode) get their blocks
 * laid end to end, which is the timeline the library hands over.
 *
 * Muxer write results: 1 when the data was accepted (queued or written), 0 on
 * failure or for data that cannot be this muxer's.
 *
 * Progress callback of pfnCloseFile: callback(user, done, total, stage) with
 * done <= total in units of the stage. Stages: 1 = writing packets held back
 * until close because a stream never described itself before (done/total
 * count packets), 2 = moving the index to the front of an MP4/MOV
 * file for fast start (done/total count 1/1000 steps of the work), 3 = file
 * finished (done == total == 1, called once). Any return value is ignored.
 *
 * The library's log (optional export). A plugin may export
 *     extern "C" void PLXSetLog(int (*pfnLog)(const wchar_t* szMessage));
 * The scan calls it once right after loading the plugin, before
 * PLXGetEncoders and PLXGetFileMuxers, with an entry that logs exactly like
 * the library's own Log: to the host's log callback when one is set, else to
 * Log.dylib. It may be called from any thread for as long as the plugin stays
 * loaded. Our plugins report through it, and through the Log.dylib one
 * directory above their own file when they were loaded without it. Plugins
 * without the export keep working; Log.dylib itself does not export it.
 */
#ifndef QUEVARRA_PLUGINS_PLXCONTRACT_H
#define QUEVARRA_PLUGINS_PLXCONTRACT_H

#include <quevarra/qv_records.h>

#include <stdint.h>

struct AVPacket;
struct AVCodecParameters;

/* 'PLX1': marks our packet lists in words and in PLX_PACKETS.tag. */
#define PLX_CONTRACT_TAG QV_FOURCC('P', 'L', 'X', '1')

/* The entry PLXSetLog receives, and PLXSetLog itself. */
typedef int (*PFN_PLX_LOG)(const wchar_t* szMessage);
typedef void (*PFN_PLX_SET_LOG)(PFN_PLX_LOG pfnLog);

enum PLX_STAGE { PLX_STAGE_PACKETS = 1, PLX_STAGE_FASTSTART = 2, PLX_STAGE_DONE = 3 };

struct PLX_PACKETS {
    uint32_t tag;        /* PLX_CONTRACT_TAG */
    uint32_t dwFourCC;   /* codec code of the encoder that made the list */
    int32_t nType;       /* 1 = video, 0 = audio */
    int32_t nTimeBaseNum; /* time base of the packets' pts/dts/duration */
    int32_t nTimeBaseDen;
    const AVCodecParameters* pCodecPar; /* the stream's codec description */
    AVPacket* const* ppPackets;         /* nPackets packets in decoding order */
    int32_t nPackets;
};

#endif /* QUEVARRA_PLUGINS_PLXCONTRACT_H */
