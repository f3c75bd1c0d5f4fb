// Fuzz entry point for the selectors and kernels: the first choice of the
// input picks the video or the audio half (kernel_cases.h).

#include <cstddef>
#include <cstdint>

#include "kernel_cases.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzBytes in(data, size);
    if (in.flag())
        fuzzVideoKernel(in);
    else
        fuzzAudioKernel(in);
    return 0;
}
