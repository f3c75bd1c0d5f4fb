#include <korva/audio/selectors.h>

#include <korva/audio/kernel_tables.h>

namespace {

const int NO_POSITION = -1;

// Table position of each AudioDataType value; types without kernels have none.
const int POSITION_OF_TYPE[AUDIO_UINT24 + 1] = {
    /* DOUBLE */ 0,  /* SINGLE */ 1,           /* INT8 */ NO_POSITION,   /* UINT8 */ 5,
    /* INT16 */ 4,   /* UINT16 */ NO_POSITION, /* INT32 */ 2,            /* UINT32 */ NO_POSITION,
    /* LOGICAL */ NO_POSITION,                 /* INT24 */ 3,            /* UINT24 */ NO_POSITION};

// The one failure of the subsystem. The text names GetConvertIndex for every
// selector, also for the empty one, which callers have always matched on.
int positionOf(AudioDataType type) {
    const int position = static_cast<uint32_t>(type) <= AUDIO_UINT24 ? POSITION_OF_TYPE[type] : NO_POSITION;
    if (position == NO_POSITION) {
        throw "Unsupported Datatype conversion in GetConvertIndex";
    }
    return position;
}

} // namespace

int GetConvertIndex(AudioDataType source, AudioDataType destination) {
    const int row = positionOf(source); // the source first: a bad source fails whatever the destination
    return row * int(audio::POSITIONS) + positionOf(destination);
}

MMAudioConvertCopyFcn MM_GetAudioConvertCopyFcn(AudioDataType source, AudioDataType destination) {
    return audio::audioConvertCopyKernels[GetConvertIndex(source, destination)];
}

// The index comes first, so a bad type fails alike for both flags.
MMAudioConvertCopyWithMapFcn MM_GetAudioConvertCopyWithMapFcn(AudioDataType source, AudioDataType destination,
                                                              bool fromInterleaved) {
    const int entry = GetConvertIndex(source, destination);
    return fromInterleaved ? audio::audioConvertCopyWithMapToPlanarKernels[entry]
                           : audio::audioConvertCopyWithMapToInterleavedKernels[entry];
}

MMAudioTransposeCopyFcn MM_GetAudioTransposeCopyFcn(AudioDataType source, AudioDataType destination,
                                                    bool fromInterleaved) {
    const int entry = GetConvertIndex(source, destination);
    return fromInterleaved ? audio::audioTransposeCopyToPlanarKernels[entry]
                           : audio::audioTransposeCopyToInterleavedKernels[entry];
}

MMAudioEmptyFcn MM_GetAudioEmptyFcn(AudioDataType type) { return audio::audioEmptyKernels[positionOf(type)]; }
