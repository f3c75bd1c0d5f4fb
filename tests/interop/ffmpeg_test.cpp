#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

#include <korva/korva.h>

#include "support/avi_builder.h"

// A file of our writer handed to FFmpeg: what it probes must be what we configured, and what it decodes must be
// what we wrote. FFmpeg hands pictures out top-down with unpadded rows; ours are stored bottom-up with rows padded
// to four bytes.

using namespace korvatest;

namespace {

// Standard output of a shell command; a non-zero exit fails the test.
std::string run(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
    std::string out;
    char block[65536];
    for (size_t got; (got = std::fread(block, 1, sizeof block, pipe)) > 0;) out.append(block, got);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return out;
}

} // namespace

TEST(FFmpegInterop, VideoAndAudioAreProbedAndDecodedAsWritten) {
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0 || std::system("ffprobe -version >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "ffmpeg is not installed";
    const unsigned W = 33, H = 17, ROW = 100, CHUNK = 7056; // rows of 99 bytes padded to 100; 1/25 s of sound
    TempDir dir;
    const std::string path = dir.path("av.avi");
    std::string pictures, sound;
    {
        avi::File f;
        ASSERT_TRUE(f.open(path.c_str(), "w"));
        f.setVideoInfo(W, H, 25.0);
        f.setAudioInfo(44100, 16, 2, CHUNK);
        for (int i = 0; i < 10; ++i) {
            Bytes frame = patternBytes(ROW * H, 1000 + i), chunk = patternBytes(CHUNK, 2000 + i);
            f.writeVideoFrame(reinterpret_cast<char*>(frame.data()));
            f.writeAudio(reinterpret_cast<char*>(chunk.data()));
            for (unsigned y = H; y-- > 0;) pictures.append(reinterpret_cast<const char*>(&frame[y * ROW]), W * 3);
            sound.append(chunk.begin(), chunk.end());
        }
        f.close();
        ASSERT_EQ(f.getErrorCode(), 0) << f.getErrorMsg();
    }
    std::istringstream lines(run("ffprobe -v error -count_frames -show_entries stream=index,codec_type,codec_name,"
                                 "width,height,pix_fmt,nb_frames,nb_read_frames,r_frame_rate,sample_rate,channels,"
                                 "sample_fmt -of default=nw=1 '" + path + "'"));
    std::vector<std::map<std::string, std::string>> s;
    for (std::string line; std::getline(lines, line);) {
        const size_t eq = line.find('=');
        if (eq != std::string::npos && line.compare(0, eq, "index") == 0) s.emplace_back();
        if (eq != std::string::npos && !s.empty()) s.back()[line.substr(0, eq)] = line.substr(eq + 1);
    }
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0]["codec_type"] + " " + s[0]["codec_name"] + " " + s[0]["pix_fmt"], "video rawvideo bgr24");
    EXPECT_EQ(s[0]["width"] + "x" + s[0]["height"] + " " + s[0]["r_frame_rate"], "33x17 25/1");
    EXPECT_EQ(s[0]["nb_frames"] + " " + s[0]["nb_read_frames"], "10 10");
    EXPECT_EQ(s[1]["codec_type"] + " " + s[1]["codec_name"] + " " + s[1]["sample_fmt"], "audio pcm_s16le s16");
    EXPECT_EQ(s[1]["sample_rate"] + " " + s[1]["channels"] + " " + s[1]["nb_frames"], "44100 2 17640"); // sample frames
    const std::string decoded = run("ffmpeg -v error -i '" + path + "' -map 0:v -f rawvideo -pix_fmt bgr24 -");
    ASSERT_EQ(decoded.size(), pictures.size());
    EXPECT_TRUE(decoded == pictures);
    const std::string heard = run("ffmpeg -v error -i '" + path + "' -map 0:a -f s16le -");
    ASSERT_EQ(heard.size(), sound.size());
    EXPECT_TRUE(heard == sound);
}
