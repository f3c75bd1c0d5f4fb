// A program of a team that uses an installed libkorva: it writes a small AVI
// file, reads a frame back and turns it into double planes.

#include <korva/korva.h>

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    const std::string path = argc > 1 ? argv[1] : "consumer.avi";
    const int width = 5, height = 3;
    std::vector<char> frame(size_t(rgbFrameBytes(width, height)));
    for (size_t i = 0; i < frame.size(); ++i) frame[i] = char(i * 7);
    avi::File out;
    if (!out.open(path.c_str(), "w")) return 1;
    out.setVideoInfo(width, height, 25.0);
    out.writeVideoFrame(frame.data());
    out.writeVideoFrame(frame.data());
    out.close();

    avi::File in;
    if (!in.open(path.c_str(), "rb") || in.getErrorCode() != avi::errors::NO_ERROR) {
        std::fprintf(stderr, "%s\n", in.getErrorMsg());
        return 1;
    }
    std::vector<char> read(in.getRGB24VideoFrameSize());
    in.readRGB24VideoFrame(read.data(), 1);
    MMVideoInputFcn toPlanes = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, false);
    std::vector<double> planes(3 * width * height);
    toPlanes(reinterpret_cast<const uint8_t*>(read.data()), planes.data(), planes.data() + width * height,
             planes.data() + 2 * width * height, width, height, 0);
    // Red of the top left pixel: byte 2 of the frame's last line.
    std::printf("frames %lld, %ux%u, red %.6f\n", static_cast<long long>(in.getVideoTotalFrames()), in.getVideoWidth(),
                in.getVideoHeight(), planes[0]);
    return 0;
}
