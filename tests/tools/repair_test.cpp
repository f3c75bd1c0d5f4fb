#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

#include <korva/korva.h>

#include "repair_support.h"

// The kinds of broken files that writers leave, read back after a repair as
// FFmpeg decodes the originals; healthy files come out as they went in; and
// input of any kind ends in a message, never in a crash or a changed input.

using namespace repairtest;
using korvatest::runCommand;
using korvatest::TempDir;

namespace {

bool haveFFmpeg() { return std::system("ffmpeg -version >/dev/null 2>&1") == 0; }

std::string run(const std::string& command) { // standard output; a non-zero exit fails the test
    std::string out;
    EXPECT_TRUE(runCommand(command, out)) << command;
    return out;
}

std::string ffmpegPictures(const std::string& path) {
    return run("ffmpeg -v error -i '" + path + "' -map 0:v -f rawvideo -pix_fmt bgr24 -");
}

std::string ffmpegSound(const std::string& path) {
    return run("ffmpeg -v error -i '" + path + "' -map 0:a -f s16le -");
}

// Our reader's pictures, top row first and rows unpadded, as FFmpeg gives them.
std::string ourPictures(const std::string& path) {
    avi::File file;
    EXPECT_TRUE(file.open(path.c_str(), "rb")) << file.getErrorMsg();
    EXPECT_EQ(file.getErrorCode(), 0) << file.getErrorMsg();
    const uint32_t width = file.getVideoWidth(), height = file.getVideoHeight();
    const uint32_t row = uint32_t(rgbRowBytes(int32_t(width)));
    std::string pictures;
    std::vector<char> frame(std::max(file.getRawVideoFrameSize(0), file.getRGB24VideoFrameSize()));
    for (long n = 0; n < file.getVideoTotalFrames(); ++n) {
        file.readRGB24VideoFrame(frame.data(), n);
        EXPECT_EQ(file.getErrorCode(), 0) << "frame " << n;
        for (uint32_t y = height; y-- > 0;) pictures.append(frame.data() + size_t(y) * row, 3 * width);
    }
    return pictures;
}

std::string ourSound(const std::string& path) {
    avi::File file;
    file.open(path.c_str(), "rb");
    std::string sound(file.getAudioTotalBytes(), '\0');
    file.readAudio(sound.data(), sound.size());
    EXPECT_EQ(file.getErrorCode(), 0);
    return sound;
}

void writeBytes(const std::string& path, const Bytes& bytes) { korvatest::writeFile(path, bytes); }

// Where a chunk id first stands in bytes, from an offset on.
size_t findId(const Bytes& bytes, const std::string& id, size_t from = 0) {
    return size_t(std::search(bytes.begin() + long(from), bytes.end(), id.begin(), id.end()) - bytes.begin());
}

} // namespace

TEST(Repair, HealthyFilesComeOutAsTheyWentIn) {
    TempDir dir;
    const Recording r;
    const std::string in = dir.path("healthy.avi"), out = dir.path("out.avi");
    writeRecording(in, r, 12);
    const RepairRun result = repair(in, out);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("header: present"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("video: 12 frames recovered"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("dropped: 0 chunks, 0 bytes"), std::string::npos) << result.out;
    expectRecovered(out, r, 12, 12);
    // The same writer with the same chunks in the same order: the same file.
    EXPECT_TRUE(fileBytes(out) == fileBytes(in));
}

TEST(Repair, FilesOfFFmpegThroughAPipeHaveNoIndexAndCompressedSuffixes) {
    if (!haveFFmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
    TempDir dir;
    const std::string in = dir.path("pipe.avi"), out = dir.path("out.avi");
    run("ffmpeg -v error -f lavfi -i testsrc2=size=34x20:rate=25 -f lavfi -i sine=frequency=300:sample_rate=11025 "
        "-t 1.2 -c:v rawvideo -pix_fmt bgr24 -c:a pcm_s16le -f avi pipe:1 > '" + in + "'");
    avi::File original;
    EXPECT_FALSE(original.open(in.c_str(), "rb"));
    EXPECT_NE(korva::repair::repairHint(in, 0).find("another suffix"), std::string::npos);
    const RepairRun result = repair(in, out);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("index: none"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("video: 30 frames"), std::string::npos) << result.out;
    EXPECT_TRUE(ourPictures(out) == ffmpegPictures(in));
    const std::string sound = ffmpegSound(in), repaired = ourSound(out);
    ASSERT_GE(repaired.size(), sound.size());
    EXPECT_TRUE(repaired.compare(0, sound.size(), sound) == 0);
}

TEST(Repair, AbsoluteIdx1OffsetsAndDamagedIndexes) {
    if (!haveFFmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
    TempDir dir;
    korvatest::AviPlan plan;
    plan.video.width = 6;
    plan.video.height = 4;
    for (uint32_t i = 0; i < 5; ++i) plan.frames.push_back(korvatest::patternBytes(80, 40 + i));
    korvatest::BuiltAvi built = korvatest::buildAvi(plan);
    // Some writers count idx1 offsets from the start of the file: move every
    // entry by the position of "movi".
    const size_t idx1 = findId(built.bytes, "idx1");
    for (size_t entry = idx1 + 8; entry + 16 <= built.bytes.size(); entry += 16) {
        uint32_t offset;
        std::memcpy(&offset, &built.bytes[entry + 8], 4);
        korvatest::putLE32(built.bytes, entry + 8, offset + uint32_t(built.moviPosition));
    }
    const std::string absolute = dir.path("absolute.avi"), out = dir.path("out.avi");
    writeBytes(absolute, built.bytes);
    EXPECT_NE(korva::repair::repairHint(absolute, 5).find("start of the file"), std::string::npos);
    RepairRun result = repair(absolute, out);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("idx1, offsets from the start of the file"), std::string::npos) << result.out;
    EXPECT_TRUE(ourPictures(out) == ffmpegPictures(absolute));

    // An index overwritten with rubbish is stepped over like any other bytes.
    Bytes damaged = built.bytes;
    std::fill(damaged.begin() + long(idx1) + 3, damaged.begin() + long(idx1) + 40, 0xA5);
    const std::string rubbish = dir.path("rubbish.avi");
    writeBytes(rubbish, damaged);
    result = repair(rubbish, out);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(ourPictures(out) == ffmpegPictures(absolute));
}

TEST(Repair, CopiesCutShortKeepTheirCompleteFrames) {
    if (!haveFFmpeg()) GTEST_SKIP() << "ffmpeg is not installed";
    TempDir dir;
    const Recording r;
    const std::string whole = dir.path("whole.avi"), cut = dir.path("cut.avi"), out = dir.path("out.avi");
    writeRecording(whole, r, 10);
    Bytes bytes = fileBytes(whole);
    // Half way through the seventh frame's chunk.
    const uint64_t pair = 8 + r.frameBytes() + 8 + r.audioChunk;
    // The id stands first in the header's index of indexes, then at the first chunk.
    const size_t first_chunk = findId(bytes, "00db", findId(bytes, "00db") + 4);
    bytes.resize(first_chunk + 6 * pair + 8 + r.frameBytes() / 2);
    writeBytes(cut, bytes);
    const RepairRun result = repair(cut, out);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("cut short"), std::string::npos) << result.out;
    expectRecovered(out, r, 6, 6);
    const std::string decoded = ffmpegPictures(cut);
    EXPECT_TRUE(ourPictures(out) == decoded.substr(0, 6 * size_t(3) * r.width * r.height));
}

TEST(Repair, FormatsFromTheCommandLineMustFitTheChunks) {
    TempDir dir;
    const Recording r;
    const std::string in = dir.path("in.avi"), hole = dir.path("hole.avi"), out = dir.path("out.avi");
    writeRecording(in, r, 4);
    Bytes bytes = fileBytes(in);
    const size_t header = findId(bytes, "00db", 1000);
    std::fill(bytes.begin(), bytes.begin() + long(header), 0);
    writeBytes(hole, bytes);

    RepairRun result = repair(hole, out);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("cannot be known"), std::string::npos) << result.err;
    korva::repair::RepairOptions options;
    options.in = hole;
    options.out = out;
    korva::repair::VideoFormat video;
    video.width = video.height = 100;
    options.video = video;
    result = repair(options);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("does not fit"), std::string::npos) << result.err;
    EXPECT_NE(access(out.c_str(), F_OK), 0) << "nothing is written";

    video.width = r.width;
    video.height = r.height;
    options.video = video;
    options.fps = 25;
    options.audio = korva::repair::AudioFormat{r.audioRate, 16, 2};
    result = repair(options);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("header: missing, a hole of " + std::to_string(header) + " bytes"), std::string::npos)
        << result.out;
    expectRecovered(out, r, 4, 4);
    options.dryRun = true;
    options.out = dir.path("never.avi");
    result = repair(options);
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("dry run: nothing written"), std::string::npos);
    EXPECT_NE(access(options.out.c_str(), F_OK), 0);
}

TEST(Repair, HostileInputEndsInAMessageAndTheInputStaysAsItWas) {
    TempDir dir;
    const Recording r;
    const std::string reference = dir.path("reference.avi"), out = dir.path("out.avi");
    writeRecording(reference, r, 2);
    const Bytes riffHead = korvatest::cat({korvatest::fourcc("RIFF"), korvatest::le32(4), korvatest::fourcc("AVI ")});
    Bytes giant = riffHead;
    korvatest::append(giant, korvatest::cat({korvatest::fourcc("00db"), korvatest::le32(0xFFFFFFF0u)}));
    korvatest::append(giant, korvatest::patternBytes(5000, 3));
    Bytes giantList = riffHead;
    korvatest::append(giantList, korvatest::cat({korvatest::fourcc("LIST"), korvatest::le32(0x7FFFFFFFu),
                                                 korvatest::fourcc("hdrl"), korvatest::fourcc("idx1"),
                                                 korvatest::le32(0xFFFFFFFFu)}));
    struct Case {
        const char* name;
        Bytes bytes;
        uint64_t zeros; // a hole of this many zero bytes after the bytes
    } cases[] = {
        {"riff-head-only", riffHead, 0},
        {"empty", {}, 0},
        {"giant-chunk", giant, 0},
        {"giant-lists", giantList, 0},
        {"endless-zeros", riffHead, uint64_t(256) << 20},
        {"rubbish", korvatest::patternBytes(300000, 9), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string in = dir.path(std::string(c.name) + ".avi");
        writeBytes(in, c.bytes);
        if (c.zeros != 0) {
            ASSERT_EQ(truncate(in.c_str(), off_t(c.bytes.size() + c.zeros)), 0);
        }
        const Bytes before = c.zeros == 0 ? fileBytes(in) : Bytes{};
        const RepairRun result = repair(in, out, reference);
        EXPECT_EQ(result.status, 1) << result.out;
        EXPECT_NE(result.err.find("no complete video or audio chunk"), std::string::npos) << result.err;
        EXPECT_NE(access(out.c_str(), F_OK), 0) << "nothing is written";
        if (c.zeros == 0) {
            EXPECT_TRUE(fileBytes(in) == before);
        }
    }
}

TEST(Repair, RefusesToTouchItsInputOrToWriteWhereItCannot) {
    TempDir dir;
    const Recording r;
    const std::string in = dir.path("in.avi");
    writeRecording(in, r, 3);
    const Bytes before = fileBytes(in);
    ASSERT_EQ(link(in.c_str(), dir.path("same.avi").c_str()), 0);
    ASSERT_EQ(symlink(in.c_str(), dir.path("alias.avi").c_str()), 0);
    struct Case {
        std::string in, out, message;
    } cases[] = {
        {in, in, "OUT is IN"},
        {in, dir.path("same.avi"), "OUT is IN"},
        {in, dir.path("alias.avi"), "OUT is IN"},
        {in, dir.path("no-such-dir/out.avi"), "cannot write"},
        {in, dir.path(""), "cannot write"},
        {dir.path("missing.avi"), dir.path("out.avi"), "cannot read"},
        {dir.path(""), dir.path("out.avi"), "not a regular file"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in + " -> " + c.out);
        const RepairRun result = repair(c.in, c.out);
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
        EXPECT_TRUE(fileBytes(in) == before);
    }
    EXPECT_NE(access(dir.path("out.avi").c_str(), F_OK), 0);
}
