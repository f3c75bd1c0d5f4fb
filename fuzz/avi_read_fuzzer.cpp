// Fuzz entry point for the AVI reader: the input is an AVI file, and
// everything in it is read (read_everything.h).

#include <cstddef>
#include <cstdint>

#include <boost/numeric/conversion/cast.hpp>

#include "memory_file.h"
#include "read_everything.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static MemoryFile input;
    input.set(data, size);
    try {
        readEverything(input.path());
    } catch (const boost::numeric::positive_overflow&) {
        // The reader's one way of refusing a position that will not fit in 32
        // bits; it cannot arise from an input below 4 GiB, but is no fault.
    }
    return 0;
}
