// AudioConvertCopy: samples x channels elements, index for index, in whatever
// layout they come; only the sample type changes.

#include <korva/audio/kernel_tables.h>

namespace audio {
namespace {

template <typename S, typename D> void AudioConvertCopy(const void* in, void* out, int samples, int channels) {
    // The count is formed in 32 bits and wraps as callers' sizes always have:
    // a product of 0 or below copies nothing.
    const int32_t count = int32_t(uint32_t(samples) * uint32_t(channels));
    convertRun(static_cast<const S*>(in), static_cast<D*>(out), count);
}

} // namespace

const PairTable<MMAudioConvertCopyFcn> audioConvertCopyKernels = kernelTable<MMAudioConvertCopyFcn>(
    [](auto entry) { return &AudioConvertCopy<SourceOf<entry>, DestinationOf<entry>>; });

} // namespace audio
