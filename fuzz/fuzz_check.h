#ifndef KORVA_FUZZ_FUZZ_CHECK_H
#define KORVA_FUZZ_FUZZ_CHECK_H

// A property that every input must keep. A broken one aborts, which the
// fuzzer takes for a crash and keeps the input of.

#include <cstdio>
#include <cstdlib>

inline void fuzzCheck(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "fuzz check failed: %s\n", what);
        std::abort();
    }
}

#endif
