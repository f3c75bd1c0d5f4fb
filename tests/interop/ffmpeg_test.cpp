#include <gtest/gtest.h>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <korva/korva.h>
#include "support/avi_builder.h"

// What FFmpeg probes in a file of our writer is what we configured, and what it decodes is what we wrote: its
// pictures come top-down with unpadded rows, ours are stored bottom-up with rows padded to four bytes.

using namespace korvatest;
namespace {
std::string run(const std::string& command) { // standard output; a non-zero exit fails the test
    std::string out;
    EXPECT_TRUE(runCommand(command, out)) << command;
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
    const std::string probe = "ffprobe -v error -count_frames -of csv=p=0 '" + path + "' -show_entries stream=";
    EXPECT_EQ(run(probe + "codec_name,width,height,pix_fmt,r_frame_rate,nb_frames,nb_read_frames -select_streams v"),
              "rawvideo,33,17,bgr24,25/1,10,10\n");
    EXPECT_EQ(run(probe + "codec_name,sample_fmt,sample_rate,channels,nb_frames -select_streams a"),
              "pcm_s16le,s16,44100,2,17640\n"); // sample frames
    EXPECT_TRUE(run("ffmpeg -v error -i '" + path + "' -map 0:v -f rawvideo -pix_fmt bgr24 -") == pictures);
    EXPECT_TRUE(run("ffmpeg -v error -i '" + path + "' -map 0:a -f s16le -") == sound);
}
