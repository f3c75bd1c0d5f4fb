#include <korva/core/vector_units.h>

namespace korva {

namespace {

VectorUnits ask() {
    VectorUnits units{false, false, false};
#if defined(__x86_64__)
    // The kernels may choose before the constructors that would otherwise
    // fill in the answers have run.
    __builtin_cpu_init();
    units.avx2 = __builtin_cpu_supports("avx2");
    units.avx512bw = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw");
    units.avx512vbmi = units.avx2 && units.avx512bw && __builtin_cpu_supports("avx512vbmi");
#endif
    return units;
}

} // namespace

const VectorUnits& vectorUnits() {
    static const VectorUnits units = ask();
    return units;
}

} // namespace korva
