#ifndef KORVA_CORE_VECTOR_UNITS_H
#define KORVA_CORE_VECTOR_UNITS_H

// Which vector units of the processor the hand-written kernels may use, asked
// once. Every answer is false on other processors than x86-64.

namespace korva {

struct VectorUnits {
    bool avx2;
    // AVX-512 with byte and word operations.
    bool avx512bw;
    // The above with the byte permutes as well.
    bool avx512vbmi;
};

const VectorUnits& vectorUnits();

} // namespace korva

#endif
