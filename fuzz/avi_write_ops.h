#ifndef KORVA_FUZZ_AVI_WRITE_OPS_H
#define KORVA_FUZZ_AVI_WRITE_OPS_H

// The calls of the AVI write fuzz target, one choice each in its input;
// shared with the seed generator, which writes inputs in the same words.

enum class WriteOp { SuperIndexEntries, VideoInfo, AudioInfo, Colormap, Frame, SizedFrame, Audio, Count };

#endif
