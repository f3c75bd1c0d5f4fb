// Fuzz entry point for `korva-avi repair`: the input is a broken AVI file.
// Whatever it holds, the repair ends with a status and never crashes; when it
// writes a file, that file opens with no error and every frame of it reads.
//
// The first byte picks where the stream formats come from: the input's own
// header, or one of a few command-line formats that the seeds' chunks fit.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <korva/avi/file.h>

#include "memory_file.h"
#include "repair/repair.h"

namespace {

void check(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "repair fuzz: %s\n", what);
    std::abort();
}

korva::repair::RepairOptions optionsFor(uint8_t choice) {
    korva::repair::RepairOptions options;
    korva::repair::VideoFormat video;
    switch (choice % 4) {
    case 1:
        video.width = 4;
        video.height = 2;
        options.video = video;
        options.audio = korva::repair::AudioFormat{8000, 16, 2};
        break;
    case 2:
        video.width = 3;
        video.height = 2;
        video.bits = 16;
        options.video = video;
        break;
    case 3:
        options.audio = korva::repair::AudioFormat{8000, 8, 1};
        options.fps = 30;
        break;
    default:
        break;
    }
    return options;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    static MemoryFile input, output;
    static std::FILE* quiet = std::fopen("/dev/null", "w");
    input.set(data + 1, size - 1);
    output.set(nullptr, 0);
    korva::repair::RepairOptions options = optionsFor(data[0]);
    options.in = input.path();
    options.out = output.path();
    if (korva::repair::runRepair(options, quiet, quiet) != 0) return 0;

    avi::File repaired;
    check(repaired.open(output.path(), "rb"), "the repaired file does not open");
    const int error = repaired.getErrorCode();
    // 24- and 32-bit audio opens with the reader's note that it is unusual.
    check(error == 0 || error == avi::errors::UNSUPPORTED_AUDIO_STREAM, "the repaired file opens with an error");
    std::vector<char> frame;
    // Without video the frame total counts audio chunks: nothing to read then.
    for (long n = 0; repaired.hasVideo() && n < repaired.getVideoTotalFrames(); ++n) {
        frame.resize(std::max(repaired.getRawVideoFrameSize(n), repaired.getRGB24VideoFrameSize()));
        repaired.readVideoFrame(frame.data(), n);
        check(repaired.getErrorCode() == 0, "a repaired frame does not read");
    }
    return 0;
}
