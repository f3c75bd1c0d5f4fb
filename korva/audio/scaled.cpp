#include <korva/audio/scaled.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace {

// Both kernels may run in place, with a double array and a word array of
// another type in one buffer. The word side goes through memcpy, which may
// alias anything, so that no load is moved past a store of the other type.
template <typename T> inline T loadWord(const void* words, int i) {
    T word;
    std::memcpy(&word, static_cast<const unsigned char*>(words) + sizeof(T) * size_t(i), sizeof(T));
    return word;
}

template <typename T> inline void storeWord(void* words, int i, T word) {
    std::memcpy(static_cast<unsigned char*>(words) + sizeof(T) * size_t(i), &word, sizeof(T));
}

// Toward zero into a 32- or 64-bit integer; beyond its range, or NaN, the
// conversion's answer on this platform is the most negative value, given here
// by hand since the conversion itself would be undefined.
inline int32_t truncate32(double x) { return x > -2147483649.0 && x < 2147483648.0 ? int32_t(x) : INT32_MIN; }
inline int64_t truncate64(double x) {
    return x >= -9223372036854775808.0 && x < 9223372036854775808.0 ? int64_t(x) : INT64_MIN;
}

// Only the unsigned 32-bit word goes through 64 bits, which lets it reach
// values above 2147483647; the other words keep the low bits of the 32-bit
// integer, so their signed and unsigned forms are one operation.
template <typename T> inline T toWord(double x) {
    if constexpr (std::is_same_v<T, uint32_t>) {
        return T(truncate64(x));
    } else {
        return T(truncate32(x));
    }
}

template <typename T> void FixToDouble(double* out, const void* in, int count) {
    for (int i = count - 1; i >= 0; --i) {
        out[i] = double(loadWord<T>(in, i));
    }
}

template <typename T> void DoubleToFix(const double* in, void* out, int count) {
    for (int i = 0; i < count; ++i) {
        storeWord<T>(out, i, toWord<T>(in[i]));
    }
}

// Indexed by ScaledDoubleFunctionIndex; the first and last entries select nothing.
const MMFixToDoubleFcn FIX_TO_DOUBLE_KERNELS[SCALED_INT32 + 2] = {
    nullptr, &FixToDouble<uint8_t>, &FixToDouble<uint16_t>, &FixToDouble<uint32_t>,
    &FixToDouble<int8_t>, &FixToDouble<int16_t>, &FixToDouble<int32_t>, nullptr};

const MMDoubleToFixFcn DOUBLE_TO_FIX_KERNELS[SCALED_INT32 + 2] = {
    nullptr, &DoubleToFix<uint8_t>, &DoubleToFix<uint16_t>, &DoubleToFix<uint32_t>,
    &DoubleToFix<int8_t>, &DoubleToFix<int16_t>, &DoubleToFix<int32_t>, nullptr};

} // namespace

MMFixToDoubleFcn MM_GetFixToDoubleFcn(ScaledDoubleFunctionIndex index) { return FIX_TO_DOUBLE_KERNELS[index]; }

MMDoubleToFixFcn MM_GetDoubleToFixFcn(ScaledDoubleFunctionIndex index) { return DOUBLE_TO_FIX_KERNELS[index]; }
