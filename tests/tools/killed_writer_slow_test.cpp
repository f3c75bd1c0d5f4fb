#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

#include <korva/korva.h>

#include "repair_support.h"

// A writer killed after its file has turned over into a second RIFF chunk:
// the chunks of both RIFF chunks come back, the second one's head being still
// a hole of zero bytes.

using namespace repairtest;

TEST(KilledWriterSlow, ChunksOnBothSidesOfATurnoverComeBack) {
    korvatest::TempDir dir;
    Recording r;
    r.width = 1280;
    r.height = 720;
    r.audioChunk = 1280;
    const uint64_t count = 900, pastTurnover = (uint64_t(1) << 31) / r.frameBytes() + 10;
    const std::string reference = dir.path("reference.avi"), killed = dir.path("killed.avi"),
                      repaired = dir.path("repaired.avi");
    writeRecording(reference, r, 2);
    WriteProgress* progress = sharedProgress();
    std::mt19937 random(7);
    for (int kill = 0; kill < 2; ++kill) {
        const int child = startWriter(killed, r, count, progress);
        while (progress->frames < pastTurnover + uint64_t(kill) * 40) std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<int>(0, 20000)(random)));
        killWriter(child);
        const uint64_t written = progress->frames;
        ASSERT_LT(written, count);
        const RepairRun run = repair(killed, repaired, reference);
        ASSERT_EQ(run.status, 0) << run.out << run.err;
        // The standard indexes of the first RIFF chunk, and the 24 bytes left
        // for the head of the second.
        EXPECT_NE(run.out.find("index: OpenDML (2 standard indexes)"), std::string::npos) << run.out;
        EXPECT_NE(run.out.find("zero bytes stepped over: 24"), std::string::npos) << run.out;
        // The frame in flight at the kill may have reached the file whole; the
        // last one written may still have had its tail in the writer's stream
        // buffer. Which of them are complete the content check tells.
        avi::File file;
        ASSERT_TRUE(file.open(repaired.c_str(), "rb"));
        const uint64_t frames = uint64_t(file.getVideoTotalFrames());
        file.close();
        ASSERT_TRUE(frames + 1 >= written && frames <= written + 1) << frames << " frames, " << written << " written";
        expectRecovered(repaired, r, frames, 0, false);
    }
}
