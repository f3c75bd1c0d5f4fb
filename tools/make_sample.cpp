// Writes a small AVI file: 64x48 24-bit colour bars that move one column a
// frame, with a stereo 16-bit tone, indexed by "idx1".

#include <cmath>
#include <cstdio>
#include <exception>

#include "support/avi_builder.h"

using namespace korvatest;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: korva-make-sample OUT.avi\n");
        return 2;
    }
    const int width = 64, height = 48, frames = 10, rate = 8000, fps = 25;
    AviSpec spec;
    spec.hasAudio = true;
    spec.video.width = width;
    spec.video.height = height;
    spec.video.rate = fps;
    spec.audio.rate = rate;
    const uint8_t bars[8][3] = {{255, 255, 255}, {0, 255, 255}, {255, 255, 0}, {0, 255, 0},
                                {255, 0, 255},   {0, 0, 255},   {255, 0, 0},   {0, 0, 0}};
    for (int f = 0; f < frames; ++f) {
        Bytes frame(size_t(width) * height * 3);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const uint8_t* rgb = bars[((x + f) % width) * 8 / width];
                uint8_t* px = &frame[(size_t(y) * width + x) * 3];
                px[0] = rgb[2];
                px[1] = rgb[1];
                px[2] = rgb[0];
            }
        }
        spec.frames.push_back(frame);
        Bytes audio;
        for (int i = 0; i < rate / fps; ++i) {
            const double t = double(f * (rate / fps) + i) / rate;
            const int16_t v = int16_t(std::lround(8000.0 * std::sin(2.0 * M_PI * 440.0 * t)));
            append(audio, cat({le16(uint16_t(v)), le16(uint16_t(v))}));
        }
        spec.audioChunks.push_back(audio);
    }
    try {
        writeFile(argv[1], buildAvi(spec).bytes);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "korva-make-sample: %s\n", e.what());
        return 1;
    }
    return 0;
}
