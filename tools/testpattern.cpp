#include "testpattern.h"

#include <cmath>
#include <cstring>

#include <korva/korva.h>

#include "glyphs.h"

namespace {

// White, yellow, cyan, green, magenta, red, blue, black, as red, green, blue.
const uint8_t BARS[8][3] = {{235, 235, 235}, {235, 235, 16}, {16, 235, 235}, {16, 235, 16},
                            {235, 16, 235},  {235, 16, 16},  {16, 16, 235},  {16, 16, 16}};

void setPixel(RGBPlanes& planes, unsigned width, unsigned x, unsigned y, const uint8_t rgb[3]) {
    const size_t i = size_t(y) * width + x;
    planes.red[i] = rgb[0];
    planes.green[i] = rgb[1];
    planes.blue[i] = rgb[2];
}

} // namespace

void drawTestPatternPlanes(const TestPattern& p, unsigned number, RGBPlanes& planes) {
    const size_t pixels = size_t(p.width) * p.height;
    planes.red.resize(pixels);
    planes.green.resize(pixels);
    planes.blue.resize(pixels);
    const unsigned shift = 2 * number;
    for (unsigned y = 0; y < p.height; ++y) {
        for (unsigned x = 0; x < p.width; ++x) {
            const unsigned bar = unsigned(uint64_t((x + shift) % p.width) * 8 / p.width);
            setPixel(planes, p.width, x, y, BARS[bar]);
        }
    }
    // The frame number, in digits scaled to about a tenth of the height.
    const unsigned scale = p.height / 40 > 0 ? p.height / 40 : 1;
    drawTextBox(planes, p.width, 0, 0, std::to_string(number), scale, DrawArea{0, 0, p.width, p.height});
}

std::string writeTestPattern(const TestPattern& p, const std::string& path) {
    avi::File file;
    if (!file.open(path.c_str(), "wb")) return file.getErrorMsg();
    file.setVideoInfo(p.width, p.height, p.frameRate);
    const unsigned frames = unsigned(std::lround(p.seconds * p.frameRate));
    // One audio chunk per frame, of whole sample frames; the tone runs on over
    // chunk boundaries without a jump.
    const unsigned samplesPerChunk = p.audioRate ? unsigned(std::lround(p.audioRate / p.frameRate)) : 0;
    const unsigned chunkBytes = samplesPerChunk * p.channels * 2;
    if (p.audioRate) file.setAudioInfo(p.audioRate, 16, p.channels, chunkBytes);
    // The kernel never writes the rows' filler, which stays zero.
    const MMVideoOutputFcn pack = MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8);
    RGBPlanes planes;
    std::vector<char> frame(size_t(rgbFrameBytes(int32_t(p.width), int32_t(p.height))), 0), audio(chunkBytes + 1);
    uint64_t sample = 0;
    for (unsigned n = 0; n < frames; ++n) {
        drawTestPatternPlanes(p, n, planes);
        pack(planes.red.data(), planes.green.data(), planes.blue.data(), reinterpret_cast<uint8_t*>(frame.data()),
             int(p.width), int(p.height), 0);
        file.writeVideoFrame(frame.data());
        if (p.audioRate) {
            for (unsigned i = 0; i < samplesPerChunk; ++i, ++sample) {
                const double t = double(sample) / p.audioRate;
                const int16_t v = int16_t(std::lround(0.25 * 32767.0 * std::sin(2.0 * M_PI * p.toneHz * t)));
                for (unsigned c = 0; c < p.channels; ++c) std::memcpy(&audio[(size_t(i) * p.channels + c) * 2], &v, 2);
            }
            file.writeAudio(audio.data());
        }
        if (file.getErrorCode() != avi::errors::NO_ERROR) break;
    }
    file.close();
    if (file.getErrorCode() != avi::errors::NO_ERROR) return file.getErrorMsg();
    return std::string();
}
