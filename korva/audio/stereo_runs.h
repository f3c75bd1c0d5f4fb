#ifndef KORVA_AUDIO_STEREO_RUNS_H
#define KORVA_AUDIO_STEREO_RUNS_H

// The two busiest transposes, stereo int16 frames to single-precision channels
// and back, as runs of frames with vector variants. The variant is chosen once,
// by what the processor offers; every variant gives the bytes of the plain
// frame-by-frame walk under the same sample rules as all other kernels.

#include <cstdint>
#include <vector>

namespace audio {
namespace stereo {

// Frames [0, frames) of `in` into the two channels `left` and `right`.
using SplitRun = void (*)(const int16_t* in, float* left, float* right, int frames);

// Frames [0, frames) of the two channels into `out`; the channels may overlap.
using JoinRun = void (*)(const float* left, const float* right, int16_t* out, int frames);

// One set of runs for one kind of processor.
struct Runs {
    const char* name;
    SplitRun split;
    JoinRun join;
};

// Every set this processor can run, the plain one first and the one in use last.
std::vector<Runs> availableRuns();

// The runs in use.
void splitInt16ToSingle(const int16_t* in, float* left, float* right, int frames);
void joinSingleToInt16(const float* left, const float* right, int16_t* out, int frames);

} // namespace stereo
} // namespace audio

#endif
