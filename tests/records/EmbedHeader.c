/* The embedding header as a C host sees it: it compiles as C, and the
 * statistics record has one layout on 32 and 64 bits. Compiled, not run. */
#include <quevarra/qv_embed.h>

#include <stddef.h>

_Static_assert(sizeof(QV_MEDIAFILE_STATS) == 88, "QV_MEDIAFILE_STATS size");
_Static_assert(offsetof(QV_MEDIAFILE_STATS, nReserved) == 4, "nReserved");
_Static_assert(offsetof(QV_MEDIAFILE_STATS, llVideoFramesIn) == 8, "llVideoFramesIn");
_Static_assert(offsetof(QV_MEDIAFILE_STATS, llVideoFramesDropped) == 32, "llVideoFramesDropped");
_Static_assert(offsetof(QV_MEDIAFILE_STATS, llAudioSamplesCut) == 64, "llAudioSamplesCut");
_Static_assert(offsetof(QV_MEDIAFILE_STATS, llVideoTime) == 72, "llVideoTime");
_Static_assert(offsetof(QV_MEDIAFILE_STATS, llAudioTime) == 80, "llAudioTime");

static void OnLog(void* user, const wchar_t* message) { (void)user, (void)message; }

int UseTheEmbeddingInterface(void* file) {
    QV_MEDIAFILE_STATS stats = {0};
    stats.cbSize = (int32_t)sizeof stats;
    QVSetLogCallback(OnLog, NULL);
    return QVGetMediaFileStats(file, &stats) && QVGetVersionString() != NULL;
}
