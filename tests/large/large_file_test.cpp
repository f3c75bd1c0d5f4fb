#include <gtest/gtest.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sys/statvfs.h>
#include <korva/avi/riff.h>
#include <korva/korva.h>
#include "support/avi_builder.h"

// Over 2 GiB of full HD frames and sound: the writer turns over into "AVIX" RIFF chunks; we and FFmpeg read it back.

using namespace korvatest;
namespace {
const unsigned W = 1920, H = 1080, ROW = W * 3, FRAME = ROW * H, CHUNK = 7056; // 1/25 s of 16-bit stereo, 44100 Hz
const int FRAMES = 700;                                                          // about 4.4 GB: three RIFF chunks

const Bytes& frame(int n) { // one noise block with n in its first bytes
    static Bytes out = patternBytes(FRAME, 77);
    return std::memcpy(out.data(), &n, sizeof n), out;
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
    w.setVideoInfo(W, H, 25.0), w.setAudioInfo(44100, 16, 2, CHUNK);
    for (int n = 0; n < FRAMES; ++n, w.writeAudio(reinterpret_cast<char*>(sound(n).data())))
        w.writeVideoFrame(const_cast<char*>(reinterpret_cast<const char*>(frame(n).data())));
    w.close();
    ASSERT_EQ(w.getErrorCode(), 0) << w.getErrorMsg();
    // RIFF chunks follow each other up to the end of the file, each within 2 GiB, later ones "AVIX" with one movi list.
    std::ifstream in(path, std::ios::binary);
    const uint64_t fileSize = uint64_t(in.seekg(0, std::ios::end).tellg());
    int riffs = 0;
    for (uint64_t at = 0; at < fileSize; ++riffs) {
        char head[24];
        ASSERT_TRUE(in.seekg(std::streamoff(at)).read(head, 24)) << at;
        const uint32_t size = avi::readLE32(head + 4);
        EXPECT_EQ(std::string(head, 4) + std::string(head + 8, 8) + std::string(head + 20, 4),
                  riffs ? "RIFFAVIXLISTmovi" : "RIFFAVI LISThdrl") << riffs;
        EXPECT_TRUE(size <= 0x7FFFFFFFu && (riffs == 0 || avi::readLE32(head + 16) == size - 12)) << riffs;
        ASSERT_LE(at += 8 + uint64_t(size), fileSize);
    }
    EXPECT_GE(riffs, 3);
    avi::File f; // our reader: every frame exact; the audio total covers the first RIFF chunk only
    ASSERT_TRUE(f.open(path.c_str(), "rb")) << f.getErrorMsg();
    ASSERT_EQ(f.getVideoTotalFrames(), FRAMES);
    std::vector<char> got(FRAME);
    for (int n = 0; n < FRAMES; ++n) {
        f.readVideoFrame(got.data());
        ASSERT_TRUE(f.getErrorCode() == 0 && std::memcmp(got.data(), frame(n).data(), FRAME) == 0) << n;
    }
    const uint64_t chunks = f.getAudioTotalBytes() / CHUNK;
    EXPECT_TRUE(chunks * CHUNK == f.getAudioTotalBytes() && chunks > 300 && chunks < uint64_t(FRAMES)) << chunks;
    std::vector<char> audio(chunks * CHUNK);
    f.readAudio(audio.data(), audio.size());
    EXPECT_TRUE(f.isEndOfAudio());
    for (uint64_t n = 0; n < chunks; ++n)
        ASSERT_EQ(std::memcmp(audio.data() + n * CHUNK, sound(int(n)).data(), CHUNK), 0) << "chunk " << n;
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not installed";
    for (bool video : {true, false}) { // FFmpeg: frames come top-down; ours are stored bottom-up
        FILE* pipe = popen(("ffmpeg -v error -i '" + path + "' -map 0:" + (video ? "v -f rawvideo -pix_fmt bgr24 -"
                                                                                 : "a -f s16le -")).c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        got.resize(video ? FRAME : CHUNK);
        int count = 0, bad = 0;
        for (Bytes s; std::fread(got.data(), 1, got.size(), pipe) == got.size(); ++count) {
            const Bytes& want = video ? frame(count % FRAMES) : (s = sound(count));
            for (unsigned y = 0, n = video ? ROW : CHUNK; count < FRAMES && y < (video ? H : 1) && !bad; ++y)
                if (std::memcmp(got.data() + y * n, want.data() + (video ? (H - 1 - y) * ROW : 0), n) != 0)
                    ADD_FAILURE() << (video ? "frame " : "chunk ") << count << " differs at row " << y, ++bad;
        }
        EXPECT_TRUE(pclose(pipe) == 0 && count == FRAMES) << count;
    }
}
