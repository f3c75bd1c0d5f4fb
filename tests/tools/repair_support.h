#ifndef KORVA_TESTS_TOOLS_REPAIR_SUPPORT_H
#define KORVA_TESTS_TOOLS_REPAIR_SUPPORT_H

// What the repair tests share: recordings of known content, running a repair
// in process, and reading back what it wrote.

#include <cstdint>
#include <string>
#include <vector>

#include "repair/repair.h"
#include "support/avi_builder.h"

namespace repairtest {

using korvatest::Bytes;

// A recording of frames and audio chunks that are each distinct: frame i and
// audio chunk i follow each other in the file.
struct Recording {
    unsigned width = 160, height = 120;
    double fps = 25.0;
    unsigned audioRate = 8000, audioChunk = 1280; // 16-bit stereo, 1/25 s
    Bytes frame(uint64_t i) const;
    Bytes audio(uint64_t i) const;
    uint32_t frameBytes() const;
};

// Counters a writer in another process moves after each call returns.
struct WriteProgress {
    volatile uint64_t frames = 0;
    volatile uint64_t audioChunks = 0;
    volatile int closing = 0; // 1 while close runs, 2 after
};

// Writes count frames, each followed by its audio chunk, then closes.
void writeRecording(const std::string& path, const Recording& r, uint64_t count, WriteProgress* progress = nullptr);

// The writer's counters, in memory shared with a process that kills it.
WriteProgress* sharedProgress();
// Starts a writer of count frames in a child process, and kills it.
int startWriter(const std::string& path, const Recording& r, uint64_t count, WriteProgress* progress);
void killWriter(int child);
uint64_t sizeOf(const std::string& path);

struct RepairRun {
    int status;
    std::string out, err;
};
RepairRun repair(const korva::repair::RepairOptions& options);
RepairRun repair(const std::string& in, const std::string& out, const std::string& like = "");

// Every video frame and the whole audio byte stream of a file, as the
// library reads them; error is the reader's code after the open.
struct ReadBack {
    int error = -1;
    std::vector<Bytes> frames;
    Bytes audio;
};
ReadBack readBack(const std::string& path);

Bytes fileBytes(const std::string& path);

// Expects path to open with no error and to hold exactly frames 0 to
// frames - 1 of r and, when checkAudio, exactly its audio chunks 0 to
// audioChunks - 1 as one stream; reads one frame at a time.
void expectRecovered(const std::string& path, const Recording& r, uint64_t frames, uint64_t audioChunks,
                     bool checkAudio = true);

} // namespace repairtest

#endif
