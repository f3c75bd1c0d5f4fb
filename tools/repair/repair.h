#ifndef KORVA_TOOLS_REPAIR_REPAIR_H
#define KORVA_TOOLS_REPAIR_REPAIR_H

// `korva-avi repair`: a new, complete AVI file from every complete video and
// audio chunk of a broken one, written by the library's writer. The input is
// only ever read.

#include <cstdio>
#include <optional>
#include <string>

#include "stream_formats.h"

namespace korva::repair {

struct RepairOptions {
    std::string in;
    std::string out;
    std::string like;                  // a finished file of the same set-up, or empty
    std::optional<VideoFormat> video;  // --video
    std::optional<double> fps;         // --fps
    std::optional<AudioFormat> audio;  // --audio
    bool dryRun = false;
    bool progress = false; // a progress line on err while working
};

// Runs a repair, printing what it found and did to out and failures to err.
// Returns the exit status: 0 when OUT was written (or would be, on a dry run),
// 1 when the repair cannot be made, and nothing was written.
int runRepair(const RepairOptions& options, std::FILE* out, std::FILE* err);

// `repair IN OUT [options]` from the command line; 2 on a usage error.
int repairCommand(int argc, char** argv);

// One line that tells a reader why path reads wrong or not at all and
// suggests a repair, or empty when nothing points that way. readerFrames is
// what the library's reader found.
std::string repairHint(const std::string& path, long long readerFrames);

extern const char* const REPAIR_USAGE;

} // namespace korva::repair

#endif
