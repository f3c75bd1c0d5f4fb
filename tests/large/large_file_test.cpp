#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <vector>

#include <korva/avi/riff.h>
#include <korva/korva.h>

#include "support/avi_builder.h"

// A file of more than 2 GiB: full HD frames with interleaved sound, so that the
// writer must turn over into "AVIX" RIFF chunks. The file is read back by our
// reader and decoded by FFmpeg, frame by frame.

using namespace korvatest;

namespace {

const unsigned W = 1920, H = 1080, ROW = W * 3, FRAME = ROW * H; // rows need no padding
const int FRAMES = 700;                                           // about 4.4 GB: three RIFF chunks
const unsigned CHUNK = 7056;                                      // 1/25 s of stereo 16-bit at 44100 Hz
const uint64_t LIMIT = 0x7FFFFFFF;

// Frame n is a rotation of one noise block with n in its first bytes: cheap to
// make again for an exact comparison, and no two frames are alike.
class Frames {
public:
    Frames() : noise(patternBytes(FRAME, 77)) {}
    const Bytes& make(int n) {
        const size_t shift = (size_t(n) * 7919 * 3) % FRAME;
        frame.assign(noise.begin() + long(shift), noise.end());
        frame.insert(frame.end(), noise.begin(), noise.begin() + long(shift));
        std::memcpy(frame.data(), &n, sizeof n);
        return frame;
    }

private:
    Bytes noise, frame;
};

Bytes sound(int n) { return patternBytes(CHUNK, 5000 + uint32_t(n)); }

// Where the writer must open each "AVIX" RIFF chunk: the boundary rule with
// both standard indexes projected one entry longer, replayed over the calls.
std::vector<uint64_t> expectedRiffStarts(uint64_t headerLength, uint64_t& fileEnd) {
    std::vector<uint64_t> starts{0};
    uint64_t pos = headerLength + 32, movi = headerLength + 28, video = 0, audio = 0;
    auto write = [&](uint64_t payload, uint64_t& entries) {
        const uint64_t riff = starts.size() == 1 ? pos : pos - movi + 12;
        if (payload + riff + 8 + (8 * (video + 1) + 32) + (8 * (audio + 1) + 32) > LIMIT) {
            pos += 64 + 8 * (video + audio) + (starts.size() == 1 ? 8 + 16 * (video + audio) : 0);
            starts.push_back(pos);
            pos += 24;
            movi = pos - 4;
            video = audio = 0;
        }
        pos += 8 + payload;
        ++entries;
    };
    for (int n = 0; n < FRAMES; ++n) {
        write(FRAME, video);
        write(CHUNK, audio);
    }
    fileEnd = pos + 64 + 8 * (video + audio) + (starts.size() == 1 ? 8 + 16 * (video + audio) : 0);
    return starts;
}

std::string readBytes(const std::string& path, uint64_t at, size_t count) {
    std::string out(count, '\0');
    FILE* f = std::fopen(path.c_str(), "rb");
    const bool ok = f != nullptr && fseeko(f, off_t(at), SEEK_SET) == 0 && std::fread(&out[0], 1, count, f) == count;
    if (f != nullptr) std::fclose(f);
    EXPECT_TRUE(ok) << count << " bytes at " << at;
    return out;
}

} // namespace

TEST(LargeFile, SeveralRiffChunksReadBackByUsAndByFFmpeg) {
    TempDir dir;
    const std::string path = dir.path("large.avi");
    // The file needs about 4.4 GB; a machine without the room says so plainly
    // instead of failing halfway through with a full disk.
    struct statvfs disk;
    if (statvfs(dir.path("").c_str(), &disk) == 0 && uint64_t(disk.f_bavail) * disk.f_frsize < 5'000'000'000ull) {
        GTEST_SKIP() << "less than 5 GB free in the temporary directory";
    }
    Frames frames;
    uint64_t headerLength = 0;
    {
        avi::File f;
        ASSERT_TRUE(f.open(path.c_str(), "w"));
        f.setVideoInfo(W, H, 25.0);
        f.setAudioInfo(44100, 16, 2, CHUNK);
        headerLength = f.getHeaderLength();
        for (int n = 0; n < FRAMES; ++n) {
            f.writeVideoFrame(const_cast<char*>(reinterpret_cast<const char*>(frames.make(n).data())));
            Bytes s = sound(n);
            f.writeAudio(reinterpret_cast<char*>(s.data()));
        }
        f.close();
        ASSERT_EQ(f.getErrorCode(), 0) << f.getErrorMsg();
    }

    // RIFF chunks: where the boundary rule puts them, each within the limit,
    // each "AVIX" with one movi list, the last one ending the file.
    uint64_t fileEnd = 0;
    const std::vector<uint64_t> starts = expectedRiffStarts(headerLength, fileEnd);
    ASSERT_GE(starts.size(), 3u);
    struct stat info;
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(uint64_t(info.st_size), fileEnd);
    for (size_t i = 0; i < starts.size(); ++i) {
        const uint64_t end = i + 1 < starts.size() ? starts[i + 1] : fileEnd;
        const std::string head = readBytes(path, starts[i], 24);
        const uint32_t size = avi::readLE32(head.data() + 4);
        EXPECT_EQ(size, end - starts[i] - 8) << "RIFF chunk " << i;
        EXPECT_LE(size, LIMIT) << "RIFF chunk " << i;
        if (i == 0) {
            EXPECT_EQ(head.substr(0, 4) + head.substr(8, 4), "RIFFAVI ");
            continue;
        }
        EXPECT_EQ(head.substr(0, 4) + head.substr(8, 8) + head.substr(20, 4), "RIFFAVIXLISTmovi") << i;
        EXPECT_EQ(avi::readLE32(head.data() + 16), size - 12) << i;
    }

    // Our reader: every frame exact; the audio total covers the first RIFF chunk only.
    {
        avi::File f;
        ASSERT_TRUE(f.open(path.c_str(), "rb")) << f.getErrorMsg();
        ASSERT_EQ(f.getVideoTotalFrames(), FRAMES);
        std::vector<char> got(FRAME);
        for (int n = 0; n < FRAMES; ++n) {
            f.readVideoFrame(got.data());
            ASSERT_EQ(f.getErrorCode(), 0) << f.getErrorMsg();
            ASSERT_EQ(std::memcmp(got.data(), frames.make(n).data(), FRAME), 0) << "frame " << n;
        }
        const uint64_t firstRiffChunks = f.getAudioTotalBytes() / CHUNK;
        EXPECT_EQ(f.getAudioTotalBytes(), firstRiffChunks * CHUNK);
        EXPECT_GT(firstRiffChunks, 300u);
        EXPECT_LT(firstRiffChunks, uint64_t(FRAMES));
        std::vector<char> audio(firstRiffChunks * CHUNK);
        f.readAudio(audio.data(), audio.size());
        EXPECT_TRUE(f.isEndOfAudio());
        for (uint64_t n = 0; n < firstRiffChunks; ++n)
            ASSERT_EQ(std::memcmp(audio.data() + n * CHUNK, sound(int(n)).data(), CHUNK), 0) << "chunk " << n;
    }

    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not installed";
    // FFmpeg: frames come top-down; ours are stored bottom-up.
    FILE* pipe = popen(("ffmpeg -v error -i '" + path + "' -map 0:v -f rawvideo -pix_fmt bgr24 -").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::vector<char> decoded(FRAME);
    int count = 0;
    for (; std::fread(decoded.data(), 1, FRAME, pipe) == FRAME; ++count) {
        if (count >= FRAMES) continue;
        const Bytes& want = frames.make(count);
        for (unsigned y = 0; y < H; ++y)
            if (std::memcmp(decoded.data() + y * ROW, want.data() + (H - 1 - y) * ROW, ROW) != 0) {
                ADD_FAILURE() << "FFmpeg's frame " << count << " differs in row " << y;
                break;
            }
    }
    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_EQ(count, FRAMES);
    pipe = popen(("ffmpeg -v error -i '" + path + "' -map 0:a -f s16le -").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::vector<char> heard(CHUNK);
    count = 0;
    for (; std::fread(heard.data(), 1, CHUNK, pipe) == CHUNK; ++count) {
        if (count >= FRAMES) continue;
        EXPECT_EQ(std::memcmp(heard.data(), sound(count).data(), CHUNK), 0) << "chunk " << count;
    }
    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_EQ(count, FRAMES);
}
