#include <korva/avi/repack_kernels.h>
#include <korva/core/vector_units.h>

#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace avi {
namespace repack {

namespace {

// Pixels [begin, end) of a forward 32-bit run, one at a time.
void rgb32Pixels(const uint8_t* src, uint8_t* out, uint64_t begin, uint64_t end) {
    for (uint64_t k = begin; k < end; ++k) {
        const uint8_t b = src[4 * k], g = src[4 * k + 1], r = src[4 * k + 2];
        out[3 * k] = b;
        out[3 * k + 1] = g;
        out[3 * k + 2] = r;
    }
}

// Pixels [0, end) of a backward 16-bit run, from end - 1 down.
void rgb555PixelsDown(const uint8_t* src, uint8_t* out, uint64_t end) {
    for (uint64_t k = end; k-- > 0;) {
        uint16_t word;
        std::memcpy(&word, src + 2 * k, 2);
        rgb555Pixel(word, out + 3 * k);
    }
}

#if defined(__x86_64__)

__attribute__((target("avx2"))) void rgb32RunAvx2(const uint8_t* src, uint8_t* out, uint64_t pixels) {
    // Each step loads 8 pixels and stores 32 bytes, of which the last 8 are
    // scratch that the next step overwrites. Stores stay behind every unread
    // source since outBase <= srcBase, and the vector part stops while a whole
    // 32-byte store still lies inside the run's output.
    const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0, 1, 2, 4, 5, 6,
                                          8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    const __m256i join = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
    uint64_t k = 0;
    for (; k + 11 <= pixels; k += 8) {
        __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 4 * k));
        v = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(v, pack), join);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 3 * k), v);
    }
    rgb32Pixels(src, out, k, pixels);
}

__attribute__((target("avx2"))) void rgb555RunAvx2(const uint8_t* src, uint8_t* out, uint64_t pixels) {
    // Blocks of 16 pixels from the top down. In each 128-bit lane, 8 words
    // become blue|green pairs and red bytes, which two shuffles interleave into
    // 24 output bytes. Stores land at or above the block's own sources, so
    // lower blocks are still intact when their turn comes.
    const __m256i mask = _mm256_set1_epi16(0xF8);
    const __m256i bgHead = _mm256_setr_epi8(0, 1, -1, 2, 3, -1, 4, 5, -1, 6, 7, -1, 8, 9, -1, 10, 0, 1, -1, 2, 3, -1,
                                            4, 5, -1, 6, 7, -1, 8, 9, -1, 10);
    const __m256i rHead = _mm256_setr_epi8(-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, -1, 0, -1,
                                           -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1);
    const __m256i bgTail = _mm256_setr_epi8(11, -1, 12, 13, -1, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, 11, -1,
                                            12, 13, -1, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m256i rTail = _mm256_setr_epi8(-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, -1, -1, -1, -1, -1, -1, -1, 5, -1, -1,
                                           6, -1, -1, 7, -1, -1, -1, -1, -1, -1, -1, -1);
    uint64_t end = pixels;
    for (; end >= 16; end -= 16) {
        const uint64_t k = end - 16;
        const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * k));
        const __m256i b = _mm256_and_si256(_mm256_slli_epi16(w, 3), mask);
        const __m256i g = _mm256_and_si256(_mm256_srli_epi16(w, 2), mask);
        const __m256i r = _mm256_and_si256(_mm256_srli_epi16(w, 7), mask);
        const __m256i bg = _mm256_or_si256(b, _mm256_slli_epi16(g, 8));
        const __m256i rr = _mm256_packus_epi16(r, r);
        const __m256i head = _mm256_or_si256(_mm256_shuffle_epi8(bg, bgHead), _mm256_shuffle_epi8(rr, rHead));
        const __m256i tail = _mm256_or_si256(_mm256_shuffle_epi8(bg, bgTail), _mm256_shuffle_epi8(rr, rTail));
        uint8_t* o = out + 3 * k;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o), _mm256_castsi256_si128(head));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(o + 16), _mm256_castsi256_si128(tail));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 24), _mm256_extracti128_si256(head, 1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(o + 40), _mm256_extracti128_si256(tail, 1));
    }
    rgb555PixelsDown(src, out, end);
}

// The 32-bit AVX-512 run in blocks of 64 pixels: four source vectors (256
// bytes) give three output vectors (192 bytes), each from two neighbouring
// sources by one byte permute. Its controls, made once.
struct Rgb32Controls {
    alignas(64) uint8_t pick[3][64];

    Rgb32Controls() {
        for (unsigned v = 0; v < 3; ++v) {
            for (unsigned b = 0; b < 64; ++b) {
                const unsigned o = 64 * v + b; // output byte
                pick[v][b] = static_cast<uint8_t>(4 * (o / 3) + o % 3 - 64 * v);
            }
        }
    }
};

const Rgb32Controls& rgb32Controls() {
    static const Rgb32Controls controls;
    return controls;
}

// 43 is the inverse of 3 modulo 64: the number of three-byte pixels by which
// an output address lies behind (positive) a whole 64-byte line.
inline uint64_t pixelsToLine(const uint8_t* at) { return (reinterpret_cast<uintptr_t>(at) % 64) * 43 % 64; }

__attribute__((target("avx512f,avx512bw,avx512vbmi"))) void rgb32RunAvx512(const uint8_t* src, uint8_t* out,
                                                                          uint64_t pixels) {
    const auto& pick = rgb32Controls().pick;
    const __m512i pick0 = _mm512_load_si512(pick[0]), pick1 = _mm512_load_si512(pick[1]),
                  pick2 = _mm512_load_si512(pick[2]);
    // Whole output lines go straight to memory, with no read of what they
    // replace: the pixels before the first whole line go one at a time. A
    // block reads all its sources before it stores, and its stores end below
    // the next block's sources, so the run works in place.
    const uint64_t head = (64 - pixelsToLine(out)) % 64;
    if (pixels < head + 64) {
        rgb32Pixels(src, out, 0, pixels);
        return;
    }
    rgb32Pixels(src, out, 0, head);
    uint64_t k = head;
    for (; k + 64 <= pixels; k += 64) {
        const uint8_t* s = src + 4 * k;
        const __m512i z0 = _mm512_loadu_si512(s), z1 = _mm512_loadu_si512(s + 64), z2 = _mm512_loadu_si512(s + 128),
                      z3 = _mm512_loadu_si512(s + 192);
        uint8_t* o = out + 3 * k;
        _mm512_stream_si512(reinterpret_cast<__m512i*>(o), _mm512_permutex2var_epi8(z0, pick0, z1));
        _mm512_stream_si512(reinterpret_cast<__m512i*>(o + 64), _mm512_permutex2var_epi8(z1, pick1, z2));
        _mm512_stream_si512(reinterpret_cast<__m512i*>(o + 128), _mm512_permutex2var_epi8(z2, pick2, z3));
    }
    // The streamed lines before any later load or another thread's read.
    _mm_sfence();
    rgb32Pixels(src, out, k, pixels);
}

// Controls of the 16-bit AVX-512 run, made once. Blocks of 64 pixels (128
// source bytes, 192 output bytes): for each 8-byte group of output, a byte
// permute first gathers the 2 to 4 words its bytes come from into the group's
// own 64 bits; a multishift then takes for each output byte the 8 bits starting
// 3 below the word's blue, 2 above its green start or 7 above it for red, and a
// mask clears the 3 low bits that do not belong to the colour.
struct Rgb555Controls {
    alignas(64) uint8_t gather[3][64];
    alignas(64) uint8_t shift[3][64];

    Rgb555Controls() {
        const int offsets[3] = {-3, 2, 7};
        for (unsigned v = 0; v < 3; ++v) {
            for (unsigned b = 0; b < 64; ++b) {
                const unsigned group = 8 * v + b / 8;      // 8-byte group of output
                const unsigned firstPixel = 8 * group / 3; // first pixel it touches
                const unsigned pixel = firstPixel + (b % 8) / 2;
                gather[v][b] = static_cast<uint8_t>(pixel < 64 ? 2 * pixel + b % 2 : 0);
                const unsigned o = 64 * v + b;             // output byte
                const unsigned slot = o / 3 - firstPixel;  // its word within the group
                shift[v][b] = static_cast<uint8_t>((16 * int(slot) + offsets[o % 3]) & 63);
            }
        }
    }
};

const Rgb555Controls& rgb555Controls() {
    static const Rgb555Controls controls;
    return controls;
}

// GCC 12 reports an undefined operand inside its own AVX-512 headers here
// (the unused pass-through of the unmasked forms); the code is not affected.
#pragma GCC diagnostic push
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) void rgb555RunAvx512(const uint8_t* src, uint8_t* out,
                                                                           uint64_t pixels) {
    const auto& gather = rgb555Controls().gather;
    const auto& shift = rgb555Controls().shift;
    const __m512i gather0 = _mm512_load_si512(gather[0]), gather1 = _mm512_load_si512(gather[1]),
                  gather2 = _mm512_load_si512(gather[2]);
    const __m512i shift0 = _mm512_load_si512(shift[0]), shift1 = _mm512_load_si512(shift[1]),
                  shift2 = _mm512_load_si512(shift[2]);
    const __m512i mask = _mm512_set1_epi8(static_cast<char>(0xF8));
    // The output goes straight to memory in whole 64-byte lines, with no read
    // of the lines it replaces: the pixels above the last whole line of the
    // output go first, one at a time.
    uint64_t end = pixels;
    const uint64_t unaligned = pixelsToLine(out + 3 * end);
    if (end < unaligned + 64) {
        rgb555PixelsDown(src, out, end);
        return;
    }
    for (uint64_t k = end; k-- > end - unaligned;) {
        uint16_t word;
        std::memcpy(&word, src + 2 * k, 2);
        rgb555Pixel(word, out + 3 * k);
    }
    end -= unaligned;
    for (; end >= 64; end -= 64) {
        const uint64_t k = end - 64;
        const __m512i low = _mm512_loadu_si512(src + 2 * k);
        const __m512i high = _mm512_loadu_si512(src + 2 * k + 64);
        const __m512i out0 = _mm512_and_si512(
            _mm512_multishift_epi64_epi8(shift0, _mm512_permutex2var_epi8(low, gather0, high)), mask);
        const __m512i out1 = _mm512_and_si512(
            _mm512_multishift_epi64_epi8(shift1, _mm512_permutex2var_epi8(low, gather1, high)), mask);
        const __m512i out2 = _mm512_and_si512(
            _mm512_multishift_epi64_epi8(shift2, _mm512_permutex2var_epi8(low, gather2, high)), mask);
        uint8_t* o = out + 3 * k;
        _mm512_stream_si512(reinterpret_cast<__m512i*>(o), out0);
        _mm512_stream_si512(reinterpret_cast<__m512i*>(o + 64), out1);
        _mm512_stream_si512(reinterpret_cast<__m512i*>(o + 128), out2);
    }
    // The streamed lines before any later load or another thread's read.
    _mm_sfence();
    rgb555PixelsDown(src, out, end);
}
#pragma GCC diagnostic pop

#endif

void rgb32RunPlain(const uint8_t* src, uint8_t* out, uint64_t pixels) { rgb32Pixels(src, out, 0, pixels); }

const Kernels PLAIN = {"plain", rgb32RunPlain, rgb555RunPlain};
#if defined(__x86_64__)
const Kernels AVX2 = {"avx2", rgb32RunAvx2, rgb555RunAvx2};
const Kernels AVX512 = {"avx512vbmi", rgb32RunAvx512, rgb555RunAvx512};
#endif

const Kernels& activeKernels() {
    static const Kernels chosen = availableKernels().back();
    return chosen;
}

} // namespace

void rgb555RunPlain(const uint8_t* src, uint8_t* out, uint64_t pixels) { rgb555PixelsDown(src, out, pixels); }

std::vector<Kernels> availableKernels() {
    std::vector<Kernels> sets{PLAIN};
#if defined(__x86_64__)
    if (korva::vectorUnits().avx2) sets.push_back(AVX2);
    if (korva::vectorUnits().avx512vbmi) sets.push_back(AVX512);
#endif
    return sets;
}

void rgb32Run(const uint8_t* src, uint8_t* out, uint64_t pixels) { activeKernels().rgb32(src, out, pixels); }

void rgb555Run(const uint8_t* src, uint8_t* out, uint64_t pixels) { activeKernels().rgb555(src, out, pixels); }

} // namespace repack
} // namespace avi
