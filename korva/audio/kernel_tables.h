#ifndef KORVA_AUDIO_KERNEL_TABLES_H
#define KORVA_AUDIO_KERNEL_TABLES_H

// The constant kernel tables behind the selectors, one per family. Each lives
// beside its family's template, which is instantiated once per entry; the
// selectors only index them.

#include <korva/audio/sample_rules.h>
#include <korva/audio/selectors.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

namespace audio {

// The element type at each table position.
using PositionElements = std::tuple<double, float, int32_t, Int24, int16_t, uint8_t>;
constexpr std::size_t POSITIONS = std::tuple_size<PositionElements>::value;
constexpr std::size_t PAIRS = POSITIONS * POSITIONS;

// A conversion table holds entry source position x 6 + destination position.
// The int24 pair's entry (21) is the int32 pair's kernel, which moves four-byte
// elements unchanged: that is how callers have always found it.
constexpr std::size_t INT24_PAIR = 3 * POSITIONS + 3;
template <std::size_t Entry>
using SourceOf =
    std::conditional_t<Entry == INT24_PAIR, int32_t, std::tuple_element_t<Entry / POSITIONS, PositionElements>>;
template <std::size_t Entry>
using DestinationOf =
    std::conditional_t<Entry == INT24_PAIR, int32_t, std::tuple_element_t<Entry % POSITIONS, PositionElements>>;

template <typename Fcn> using PairTable = std::array<Fcn, PAIRS>;

// A table of Size entries, entry e holding pick(std::integral_constant<std::size_t, e>{}), the family's kernel
// for that pair or position; built at compile time, so a table is ready before any caller's code runs.
template <typename Fcn, typename Pick, std::size_t... Entry>
constexpr std::array<Fcn, sizeof...(Entry)> tableOf(Pick pick, std::index_sequence<Entry...>) {
    return {{pick(std::integral_constant<std::size_t, Entry>{})...}};
}
template <typename Fcn, std::size_t Size = PAIRS, typename Pick> constexpr std::array<Fcn, Size> kernelTable(Pick pick) {
    return tableOf<Fcn>(pick, std::make_index_sequence<Size>());
}

extern const PairTable<MMAudioConvertCopyFcn> audioConvertCopyKernels;
extern const PairTable<MMAudioTransposeCopyFcn> audioTransposeCopyToPlanarKernels;
extern const PairTable<MMAudioTransposeCopyFcn> audioTransposeCopyToInterleavedKernels;
extern const PairTable<MMAudioConvertCopyWithMapFcn> audioConvertCopyWithMapToPlanarKernels;
extern const PairTable<MMAudioConvertCopyWithMapFcn> audioConvertCopyWithMapToInterleavedKernels;
extern const std::array<MMAudioEmptyFcn, POSITIONS> audioEmptyKernels;

} // namespace audio

#endif
