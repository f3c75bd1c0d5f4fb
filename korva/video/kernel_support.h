#ifndef KORVA_VIDEO_KERNEL_SUPPORT_H
#define KORVA_VIDEO_KERNEL_SUPPORT_H

// What the kernel units share: raising an 8-bit sample to an element, the
// 32-bit plane size, a build for wider vector units, and cache-bypassing
// stores for large transposes. Private to the video units.

#include <korva/video/traits.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#if defined(__x86_64__) && defined(__SSE2__)
#include <emmintrin.h>
#define KORVA_HAVE_STREAMING_STORES 1
#else
#define KORVA_HAVE_STREAMING_STORES 0
#endif

// The hot kernels are built twice on x86-64, for AVX2 and for the baseline;
// the loader picks one once, so no call pays for the choice. Everything a
// kernel calls is built into it, so that the wider build reaches its loops.
// The loader runs the choice before a sanitizer's runtime is up, so sanitized
// builds keep the baseline alone, which the tests then cover; with nothing to
// reach there, they leave the inlining to the compiler, since flattening
// instrumented code takes the compiler many minutes. Clang builds keep the
// baseline too: clang 14 takes target_clones neither on function templates,
// which every kernel is, nor together with flatten.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) &&             \
    !defined(__SANITIZE_THREAD__)
#define KORVA_VECTOR_CLONES 1
#define KORVA_HOT_KERNEL __attribute__((target_clones("avx2", "default"), flatten))
#else
#define KORVA_VECTOR_CLONES 0
#define KORVA_HOT_KERNEL
#endif

namespace korva::video {

template <int N> using Element = typename videoTraits<N>::Element;

// Through the type's EightBitLUT, which the kernel's selector has built; the
// data pointer is read once a call, when the kernel starts.
template <int N> struct FromEightBit {
    const Element<N>* lut = videoTraits<N>::EightBitLUT.data();
    Element<N> operator()(uint8_t sample) const { return lut[sample]; }
};

// VIDEO_UINT8 keeps the byte: its kernels only reorder.
template <> struct FromEightBit<VIDEO_UINT8> {
    uint8_t operator()(uint8_t sample) const { return sample; }
};

// The number of elements of a plane, as the 32-bit product that callers size
// their planes by. Worked out in 64 bits so that the product itself never
// overflows; the narrowing keeps the low 32 bits.
inline int32_t planeElements(int32_t width, int32_t height) {
    return static_cast<int32_t>(static_cast<int64_t>(width) * height);
}

// A transpose writes each column in short runs far apart, and the cache
// fetches every line it stores into before it can write it. For pictures
// larger than this, the runs go straight to memory instead; smaller ones stay
// in the cache for the caller, who is about to read them.
constexpr int64_t STREAMING_STORE_BYTES = 4 << 20;

// The bits of an element as an unsigned word of its width.
template <typename T> auto bitsOf(T value) {
    using Word = std::conditional_t<sizeof(T) == 8, uint64_t,
                                    std::conditional_t<sizeof(T) == 4, uint32_t,
                                                       std::conditional_t<sizeof(T) == 2, uint16_t, uint8_t>>>;
    Word word;
    std::memcpy(&word, &value, sizeof word);
    return word;
}

// Eight bytes of elements, put together in a register so that one store
// writes them.
template <typename T> struct EightBytes {
    static constexpr int elements = 8 / sizeof(T);
    uint64_t bits = 0;
    void set(int k, T value) {
        bits |= static_cast<uint64_t>(bitsOf(value)) << (8 * sizeof(T) * k);
    }
    void store(T* to) const {
#if KORVA_HAVE_STREAMING_STORES
        _mm_stream_si64(reinterpret_cast<long long*>(to), static_cast<long long>(bits));
#else
        std::memcpy(to, &bits, 8);
#endif
    }
};

// Makes streaming stores visible to other threads before the kernel returns,
// as plain stores would be.
inline void finishStreamingStores() {
#if KORVA_HAVE_STREAMING_STORES
    _mm_sfence();
#endif
}

} // namespace korva::video

#endif
