#include <korva/audio/stereo_runs.h>
#include <korva/core/vector_units.h>

#include <korva/audio/sample_rules.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace audio {
namespace stereo {

namespace {

using SplitRule = SampleRule<int16_t, float>;
using JoinRule = SampleRule<float, int16_t>;

// Frames [begin, end), one sample at a time.
void splitFrames(const int16_t* __restrict in, float* __restrict left, float* __restrict right, int begin, int end) {
    for (int i = begin; i < end; ++i) {
        left[i] = SplitRule::convert(in[2 * int64_t(i)]);
        right[i] = SplitRule::convert(in[2 * int64_t(i) + 1]);
    }
}

void joinFrames(const float* left, const float* right, int16_t* __restrict out, int begin, int end) {
    for (int i = begin; i < end; ++i) {
        out[2 * int64_t(i)] = JoinRule::convert(left[i]);
        out[2 * int64_t(i) + 1] = JoinRule::convert(right[i]);
    }
}

void splitPlain(const int16_t* in, float* left, float* right, int frames) { splitFrames(in, left, right, 0, frames); }

void joinPlain(const float* left, const float* right, int16_t* out, int frames) {
    joinFrames(left, right, out, 0, frames);
}

#if defined(__x86_64__)

// Split: a stereo frame is one 32-bit lane, the left sample in its low half and
// the right in its high half, so shifts within the lanes take the channels
// apart with no shuffle across lanes.
//
// Join: the int16 rule on singles, as 32-bit words that are then packed with
// signed saturation. The rule clips above 32767 and below -32768 and
// truncates; the saturation does that clipping for every v whose truncation is
// a 32-bit word. Above that range the conversion gives 0x80000000, which would
// saturate to the bottom, so min first brings such v down to 32767. min
// returns its second operand, v, for a NaN; the NaN is then cleared to the 0
// that the rule gives it. The pack leaves left and right samples in separate
// halves of each 128-bit lane, and the 16-bit unpacks interleave them.

__attribute__((target("avx2"))) void splitAvx2(const int16_t* in, float* left, float* right, int frames) {
    const __m256 scale = _mm256_set1_ps(0x1p-15f);
    int64_t i = 0;
    for (; i + 8 <= frames; i += 8) {
        const __m256i pairs = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 2 * i));
        const __m256i l = _mm256_srai_epi32(_mm256_slli_epi32(pairs, 16), 16);
        const __m256i r = _mm256_srai_epi32(pairs, 16);
        _mm256_storeu_ps(left + i, _mm256_mul_ps(_mm256_cvtepi32_ps(l), scale));
        _mm256_storeu_ps(right + i, _mm256_mul_ps(_mm256_cvtepi32_ps(r), scale));
    }
    splitFrames(in, left, right, int(i), frames);
}

__attribute__((target("avx2"))) inline __m256i int16WordsAvx2(const float* x) {
    const __m256 v = _mm256_mul_ps(_mm256_loadu_ps(x), _mm256_set1_ps(32768.0f));
    const __m256 belowTop = _mm256_min_ps(_mm256_set1_ps(32767.0f), v);
    return _mm256_cvttps_epi32(_mm256_and_ps(belowTop, _mm256_cmp_ps(v, v, _CMP_ORD_Q)));
}

__attribute__((target("avx2"))) void joinAvx2(const float* left, const float* right, int16_t* out, int frames) {
    int64_t i = 0;
    for (; i + 16 <= frames; i += 16) {
        const __m256i l = _mm256_packs_epi32(int16WordsAvx2(left + i), int16WordsAvx2(left + i + 8));
        const __m256i r = _mm256_packs_epi32(int16WordsAvx2(right + i), int16WordsAvx2(right + i + 8));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i), _mm256_unpacklo_epi16(l, r));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i + 16), _mm256_unpackhi_epi16(l, r));
    }
    joinFrames(left, right, out, int(i), frames);
}

// GCC 12 reports an undefined operand inside its own AVX-512 headers here
// (the unused pass-through of the unmasked forms); the code is not affected.
#pragma GCC diagnostic push
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#define KORVA_AVX512 __attribute__((target("avx512f,avx512bw")))

KORVA_AVX512 void splitAvx512(const int16_t* in, float* left, float* right, int frames) {
    const __m512 scale = _mm512_set1_ps(0x1p-15f);
    int64_t i = 0;
    for (; i + 16 <= frames; i += 16) {
        const __m512i pairs = _mm512_loadu_si512(in + 2 * i);
        const __m512i l = _mm512_srai_epi32(_mm512_slli_epi32(pairs, 16), 16);
        const __m512i r = _mm512_srai_epi32(pairs, 16);
        _mm512_storeu_ps(left + i, _mm512_mul_ps(_mm512_cvtepi32_ps(l), scale));
        _mm512_storeu_ps(right + i, _mm512_mul_ps(_mm512_cvtepi32_ps(r), scale));
    }
    splitFrames(in, left, right, int(i), frames);
}

// The NaN lanes are cleared by the masked conversion itself.
KORVA_AVX512 inline __m512i int16WordsAvx512(const float* x) {
    const __m512 v = _mm512_mul_ps(_mm512_loadu_ps(x), _mm512_set1_ps(32768.0f));
    const __m512 belowTop = _mm512_min_ps(_mm512_set1_ps(32767.0f), v);
    return _mm512_maskz_cvttps_epi32(_mm512_cmp_ps_mask(v, v, _CMP_ORD_Q), belowTop);
}

KORVA_AVX512 void joinAvx512(const float* left, const float* right, int16_t* out, int frames) {
    int64_t i = 0;
    for (; i + 32 <= frames; i += 32) {
        const __m512i l = _mm512_packs_epi32(int16WordsAvx512(left + i), int16WordsAvx512(left + i + 16));
        const __m512i r = _mm512_packs_epi32(int16WordsAvx512(right + i), int16WordsAvx512(right + i + 16));
        _mm512_storeu_si512(out + 2 * i, _mm512_unpacklo_epi16(l, r));
        _mm512_storeu_si512(out + 2 * i + 32, _mm512_unpackhi_epi16(l, r));
    }
    joinFrames(left, right, out, int(i), frames);
}

#undef KORVA_AVX512
#pragma GCC diagnostic pop

#endif

const Runs PLAIN = {"plain", splitPlain, joinPlain};
#if defined(__x86_64__)
const Runs AVX2 = {"avx2", splitAvx2, joinAvx2};
const Runs AVX512 = {"avx512bw", splitAvx512, joinAvx512};
#endif

const Runs& activeRuns() {
    static const Runs chosen = availableRuns().back();
    return chosen;
}

} // namespace

std::vector<Runs> availableRuns() {
    std::vector<Runs> sets{PLAIN};
#if defined(__x86_64__)
    if (korva::vectorUnits().avx2)
        sets.push_back(AVX2);
    if (korva::vectorUnits().avx512bw)
        sets.push_back(AVX512);
#endif
    return sets;
}

void splitInt16ToSingle(const int16_t* in, float* left, float* right, int frames) {
    activeRuns().split(in, left, right, frames);
}

void joinSingleToInt16(const float* left, const float* right, int16_t* out, int frames) {
    activeRuns().join(left, right, out, frames);
}

} // namespace stereo
} // namespace audio
