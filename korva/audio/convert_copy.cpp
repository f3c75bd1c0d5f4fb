// AudioConvertCopy: samples x channels elements, index for index, in whatever
// layout they come; only the sample type changes.

#include <korva/audio/kernel_tables.h>

#include <utility>

namespace audio {
namespace {

template <typename S, typename D> inline void convertRun(const S* __restrict in, D* __restrict out, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        out[i] = SampleRule<S, D>::convert(in[i]);
    }
}

template <typename S, typename D> void AudioConvertCopy(const void* in, void* out, int samples, int channels) {
    // The count is formed in 32 bits and wraps as callers' sizes always have:
    // a product of 0 or below copies nothing.
    const int32_t count = int32_t(uint32_t(samples) * uint32_t(channels));
    convertRun(static_cast<const S*>(in), static_cast<D*>(out), count);
}

template <std::size_t... Entry>
constexpr PairTable<MMAudioConvertCopyFcn> convertCopyTable(std::index_sequence<Entry...>) {
    return {{&AudioConvertCopy<SourceOf<Entry>, DestinationOf<Entry>>...}};
}

} // namespace

const PairTable<MMAudioConvertCopyFcn> audioConvertCopyKernels = convertCopyTable(std::make_index_sequence<PAIRS>());

} // namespace audio
