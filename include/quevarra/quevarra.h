/* Quevarra: media-file writing through encoder and muxer plugins, with image
 * resizing, BT.601 colour conversion, PCM conversion and UTF conversion.
 * This umbrella header declares every exported name; qv_embed.h holds the
 * plain C part for hosts (log callback, statistics, version). */
#ifndef QUEVARRA_QUEVARRA_H
#define QUEVARRA_QUEVARRA_H

#include <quevarra/qv_audio.h>
#include <quevarra/qv_color.h>
#include <quevarra/qv_embed.h>
#include <quevarra/qv_export.h>
#include <quevarra/qv_image.h>
#include <quevarra/qv_mediafile.h>
#include <quevarra/qv_plugin.h>
#include <quevarra/qv_records.h>
#include <quevarra/qv_support.h>

#endif /* QUEVARRA_QUEVARRA_H */
