#ifndef KORVA_KORVA_H
#define KORVA_KORVA_H

// Umbrella header: every public declaration of libkorva.

#include <korva/core/types.h>
#include <korva/core/media_types.h>
#include <korva/core/sync.h>
#include <korva/core/frames.h>
#include <korva/filesystem/filesystem.h>
#include <korva/avi/errors.h>
#include <korva/avi/records.h>
#include <korva/avi/file.h>
#include <korva/video/traits.h>
#include <korva/video/dispatch.h>
#include <korva/audio/selectors.h>
#include <korva/audio/scaled.h>
#include <korva/queue/video_queue.h>
#include <korva/queue/audio_queue.h>

#endif
