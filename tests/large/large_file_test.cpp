#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <korva/avi/riff.h>
#include <korva/korva.h>

#include "support/avi_builder.h"

// A file of more than 2 GiB: full HD frames with interleaved sound, so that the writer must turn over into "AVIX"
// RIFF chunks. The file is read back by our reader and decoded by FFmpeg, frame by frame.

using namespace korvatest;

namespace {

const unsigned W = 1920, H = 1080, ROW = W * 3, FRAME = ROW * H; // rows need no padding
const int FRAMES = 700;                                           // about 4.4 GB: three RIFF chunks
const unsigned CHUNK = 7056;                                      // 1/25 s of stereo 16-bit at 44100 Hz

// Frame n: a rotation of one noise block with n in its first bytes, so that no two frames are alike.
const Bytes& frame(int n) {
    static const Bytes noise = patternBytes(FRAME, 77);
    static Bytes out;
    const size_t shift = (size_t(n) * 7919 * 3) % FRAME;
    out.assign(noise.begin() + long(shift), noise.end());
    out.insert(out.end(), noise.begin(), noise.begin() + long(shift));
    std::memcpy(out.data(), &n, sizeof n);
    return out;
}
Bytes sound(int n) { return patternBytes(CHUNK, 5000 + uint32_t(n)); }

} // namespace

TEST(LargeFile, SeveralRiffChunksReadBackByUsAndByFFmpeg) {
    TempDir dir;
    const std::string path = dir.path("large.avi");
    struct statvfs disk; // a machine without the room says so instead of failing halfway with a full disk
    if (statvfs(dir.path("").c_str(), &disk) == 0 && uint64_t(disk.f_bavail) * disk.f_frsize < 5'000'000'000ull)
        GTEST_SKIP() << "less than 5 GB free in the temporary directory";
    avi::File w;
    ASSERT_TRUE(w.open(path.c_str(), "w"));
    w.setVideoInfo(W, H, 25.0);
    w.setAudioInfo(44100, 16, 2, CHUNK);
    for (int n = 0; n < FRAMES; ++n) {
        Bytes s = sound(n);
        w.writeVideoFrame(const_cast<char*>(reinterpret_cast<const char*>(frame(n).data())));
        w.writeAudio(reinterpret_cast<char*>(s.data()));
    }
    w.close();
    ASSERT_EQ(w.getErrorCode(), 0) << w.getErrorMsg();
    // RIFF chunks follow each other up to the end of the file, each within 2 GiB, later ones "AVIX" with one movi list.
    struct stat info;
    FILE* file = std::fopen(path.c_str(), "rb");
    ASSERT_TRUE(stat(path.c_str(), &info) == 0 && file != nullptr);
    int riffs = 0;
    for (uint64_t at = 0; at < uint64_t(info.st_size); ++riffs) {
        char head[24];
        ASSERT_TRUE(fseeko(file, off_t(at), SEEK_SET) == 0 && std::fread(head, 1, 24, file) == 24) << at;
        const uint32_t size = avi::readLE32(head + 4);
        EXPECT_LE(size, 0x7FFFFFFFu) << riffs;
        EXPECT_EQ(std::string(head, 4) + std::string(head + 8, 8) + std::string(head + 20, 4),
                  riffs ? "RIFFAVIXLISTmovi" : "RIFFAVI LISThdrl") << riffs;
        EXPECT_TRUE(riffs == 0 || avi::readLE32(head + 16) == size - 12) << riffs; // movi fills the RIFF chunk
        at += 8 + uint64_t(size);
        ASSERT_LE(at, uint64_t(info.st_size));
    }
    std::fclose(file);
    EXPECT_GE(riffs, 3);
    { // our reader: every frame exact; the audio total covers the first RIFF chunk only
        avi::File f;
        ASSERT_TRUE(f.open(path.c_str(), "rb")) << f.getErrorMsg();
        ASSERT_EQ(f.getVideoTotalFrames(), FRAMES);
        std::vector<char> got(FRAME);
        for (int n = 0; n < FRAMES; ++n) {
            f.readVideoFrame(got.data());
            ASSERT_EQ(f.getErrorCode(), 0) << f.getErrorMsg();
            ASSERT_EQ(std::memcmp(got.data(), frame(n).data(), FRAME), 0) << "frame " << n;
        }
        const uint64_t chunks = f.getAudioTotalBytes() / CHUNK;
        EXPECT_TRUE(chunks * CHUNK == f.getAudioTotalBytes() && chunks > 300 && chunks < uint64_t(FRAMES)) << chunks;
        std::vector<char> audio(chunks * CHUNK);
        f.readAudio(audio.data(), audio.size());
        EXPECT_TRUE(f.isEndOfAudio());
        for (uint64_t n = 0; n < chunks; ++n)
            ASSERT_EQ(std::memcmp(audio.data() + n * CHUNK, sound(int(n)).data(), CHUNK), 0) << "chunk " << n;
    }
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not installed";
    for (bool video : {true, false}) { // FFmpeg: frames come top-down; ours are stored bottom-up
        FILE* pipe = popen(("ffmpeg -v error -i '" + path + "' -map 0:" + (video ? "v -f rawvideo -pix_fmt bgr24 -"
                                                                                 : "a -f s16le -")).c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        std::vector<char> got(video ? FRAME : CHUNK);
        int count = 0;
        for (Bytes s; std::fread(got.data(), 1, got.size(), pipe) == got.size(); ++count) {
            const Bytes& want = video ? frame(count % FRAMES) : (s = sound(count));
            for (unsigned y = 0, n = video ? ROW : CHUNK; count < FRAMES && y < (video ? H : 1); ++y)
                if (std::memcmp(got.data() + y * n, want.data() + (video ? (H - 1 - y) * ROW : 0), n) != 0) {
                    ADD_FAILURE() << (video ? "frame " : "chunk ") << count << " differs at row " << y;
                    break;
                }
        }
        EXPECT_EQ(pclose(pipe), 0);
        EXPECT_EQ(count, FRAMES);
    }
}
