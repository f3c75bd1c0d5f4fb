#ifndef KORVA_AVI_REPACK_KERNELS_H
#define KORVA_AVI_REPACK_KERNELS_H

// Pixel runs behind avi::File's repacking to RGB24. A run converts pixels
// [0, pixels) from `src` to three bytes each at `out`; source and output may
// lie in one buffer as each run's direction allows. The choice of vector code
// is made once, by what the processor offers; every variant gives the bytes of
// the plain pixel-by-pixel walk.

#include <cstdint>
#include <vector>

namespace avi {
namespace repack {

// 4 bytes a pixel to 3, from the first pixel up: in one buffer, out <= src.
void rgb32Run(const uint8_t* src, uint8_t* out, uint64_t pixels);

// 16-bit 5-5-5 words to 3 bytes, from the last pixel down: in one buffer,
// out >= src.
void rgb555Run(const uint8_t* src, uint8_t* out, uint64_t pixels);

// The 16-bit run one pixel at a time, for sources and outputs in any order.
void rgb555RunPlain(const uint8_t* src, uint8_t* out, uint64_t pixels);

// One 5-5-5 word to blue, green, red: each 5-bit value to the top of its byte.
inline void rgb555Pixel(uint16_t word, uint8_t* out) {
    out[0] = static_cast<uint8_t>(word << 3);
    out[1] = static_cast<uint8_t>((word >> 2) & 0xF8);
    out[2] = static_cast<uint8_t>((word >> 7) & 0xF8);
}

// One set of runs for one kind of processor.
using Run = void (*)(const uint8_t* src, uint8_t* out, uint64_t pixels);
struct Kernels {
    const char* name;
    Run rgb32;
    Run rgb555;
};

// Every set this processor can run, the plain one first and the one in use last.
std::vector<Kernels> availableKernels();

} // namespace repack
} // namespace avi

#endif
