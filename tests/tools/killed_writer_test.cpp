#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

#include <korva/korva.h>

#include "repair_support.h"

// Writers killed with SIGKILL at random moments lose nothing that reached the
// file: the repair gets back exactly the frames and audio chunks that are
// complete in it, byte for byte and in order.

using namespace repairtest;

namespace {

// Where the writer puts its first chunk: behind the header it reserves.
uint64_t firstChunk(const Recording& r, const std::string& scratch) {
    avi::File file;
    file.open(scratch.c_str(), "w");
    file.setVideoInfo(r.width, r.height, r.fps);
    file.setAudioInfo(r.audioRate, 16, 2, r.audioChunk);
    const uint64_t header = file.getHeaderLength();
    file.close();
    return header + 32;
}

} // namespace

TEST(KilledWriter, RepairGetsBackExactlyTheChunksThatAreCompleteInTheFile) {
    korvatest::TempDir dir;
    const Recording r;
    const uint64_t count = 150;
    const std::string reference = dir.path("reference.avi"), killed = dir.path("killed.avi"),
                      repaired = dir.path("repaired.avi");
    writeRecording(reference, r, 3);
    const uint64_t first = firstChunk(r, dir.path("scratch.avi"));
    const uint64_t pair = 8 + r.frameBytes() + 8 + r.audioChunk;
    WriteProgress* progress = sharedProgress();

    // How long a whole run takes, to aim the kills.
    const auto start = std::chrono::steady_clock::now();
    writeRecording(killed, r, count);
    const auto whole = std::chrono::steady_clock::now() - start;

    std::mt19937 random(20261124);
    int insideChunk = 0, insideClose = 0, finished = 0, kills = 0;
    for (int attempt = 0; attempt < 200 && (kills < 60 || insideClose < 2 || insideChunk < 5); ++attempt) {
        // Two kills in three anywhere in the run; one in three a moment
        // after the close has begun, while the indexes are being written.
        const bool atClose = attempt % 3 == 2;
        const int child = startWriter(killed, r, count, progress);
        if (atClose) {
            while (progress->closing == 0) std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<int>(0, 100)(random)));
        } else {
            std::this_thread::sleep_for(std::chrono::steady_clock::duration(
                int64_t(std::uniform_real_distribution<double>(0, 1.05 * double(whole.count()))(random))));
        }
        killWriter(child);
        ++kills;

        const uint64_t size = sizeOf(killed);
        uint64_t frames = count, audioChunks = count;
        if (progress->closing != 2) {
            // The file is the writer's bytes up to the kill, in order: count
            // the chunks that end inside it. A close under way may not have
            // flushed the last chunk's tail from the stream buffer yet.
            const uint64_t chunks = size > first ? size - first : 0;
            frames = std::min<uint64_t>(count, (chunks + pair - (8 + r.frameBytes())) / pair);
            audioChunks = std::min<uint64_t>(count, chunks / pair);
            const uint64_t into = chunks % pair;
            if (progress->closing == 1) ++insideClose;
            else if (size > first && into != 0 && into != 8 + r.frameBytes()) ++insideChunk;
        } else {
            ++finished;
        }
        SCOPED_TRACE("kill " + std::to_string(kills) + ": size " + std::to_string(size) + ", closing " +
                     std::to_string(progress->closing) + ", frames " + std::to_string(frames));
        const RepairRun run = repair(killed, repaired, reference);
        if (frames == 0 && audioChunks == 0) {
            EXPECT_EQ(run.status, 1) << run.out << run.err;
            continue;
        }
        ASSERT_EQ(run.status, 0) << run.out << run.err;
        expectRecovered(repaired, r, frames, audioChunks);
        if (HasFatalFailure()) return;
        EXPECT_EQ(sizeOf(killed), size) << "the input was changed";
    }
    EXPECT_GE(kills, 60);
    EXPECT_GE(insideChunk, 5) << "kills inside a chunk";
    EXPECT_GE(insideClose, 2) << "kills while the indexes were written";
    RecordProperty("kills", kills);
    RecordProperty("inside_chunk", insideChunk);
    RecordProperty("inside_close", insideClose);
    RecordProperty("finished", finished);
}
