#ifndef KORVA_FUZZ_KERNEL_CASES_H
#define KORVA_FUZZ_KERNEL_CASES_H

// The two halves of the kernel fuzz target. Each reads its choices from the
// input (a selector, types, geometry, flags; the bytes left fill the buffers),
// asks the selector and calls the kernel on buffers of exactly the sizes that
// the kernel's documented walk needs, so that any access outside them shows
// under AddressSanitizer.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz_bytes.h"

void fuzzVideoKernel(FuzzBytes& in);
void fuzzAudioKernel(FuzzBytes& in);

// A buffer of exactly `size` bytes, so that the redzone starts right behind
// it; one of 0 bytes still has an address, and any access to it is caught.
class ExactBuffer {
public:
    ExactBuffer(size_t size, const FuzzBytes& content) : bytes(new uint8_t[size]), count(size) {
        content.fill(bytes.get(), size);
    }
    uint8_t* data() const { return bytes.get(); }
    size_t size() const { return count; }

private:
    std::unique_ptr<uint8_t[]> bytes;
    size_t count;
};

#endif
