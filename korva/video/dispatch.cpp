#include <korva/video/dispatch.h>

#include <korva/video/kernels.h>
#include <korva/video/traits.h>

namespace {

using namespace korva::video;

// One member of a family per VideoDataType, in the enumeration's order.
template <typename Fcn> using KernelTable = Fcn[VIDEO_LOGICAL + 1];

// The kernel tables, one per family; a null member is "no kernel" for that
// type, which its selector hands out as it is.
constexpr KernelTable<MMVideoInputFcn> RGBToRGBChannelsInputKernels = KORVA_VIDEO_FAMILY(RGBToRGBChannelsInput);
constexpr KernelTable<MMVideoInputFcn> RGBToRGBChannelsInputKernels_mmr =
    KORVA_VIDEO_FAMILY(RGBToRGBChannelsInput_mmr);
constexpr KernelTable<MMVideoInputFcn> RGBToIntensityChannelsInputKernels =
    KORVA_VIDEO_FAMILY(RGBToIntensityChannelsInput);
constexpr KernelTable<MMVideoInputFcn> RGBToIntensityChannelsInputKernels_mmr =
    KORVA_VIDEO_FAMILY(RGBToIntensityChannelsInput_mmr);
constexpr KernelTable<MMVideoInputFcn> RGBToYCbCrChannelsInputKernels = KORVA_VIDEO_FAMILY(RGBToYCbCrChannelsInput);
constexpr KernelTable<MMVideoInputFcn> RGBToYCbCrChannelsInputKernels_mmr =
    KORVA_VIDEO_FAMILY(RGBToYCbCrChannelsInput_mmr);
constexpr KernelTable<MMVideoInputFcn> YCbCrToRGBChannelsInputKernels = KORVA_VIDEO_FAMILY(YCbCrToRGBChannelsInput);
constexpr KernelTable<MMVideoInputFcn> YCbCrToIntensityChannelsInputKernels =
    KORVA_VIDEO_FAMILY(YCbCrToIntensityChannelsInput);
constexpr KernelTable<MMVideoInputFcn> YCbCrToYCbCrChannelsInputKernels = KORVA_VIDEO_FAMILY(YCbCrToYCbCrChannelsInput);

// A blank YCbCr picture is the blank three-plane picture, so the YCbCr empty
// selector shares this table. The VIDEO_LOGICAL row of both stays null.
constexpr KernelTable<MMVideoEmptyFcn> ToRGBChannelsEmptyKernels = KORVA_VIDEO_FAMILY_WITHOUT_LOGICAL(ToRGBChannelsEmpty);
constexpr KernelTable<MMVideoEmptyFcn> ToIntensityChannelsEmptyKernels =
    KORVA_VIDEO_FAMILY_WITHOUT_LOGICAL(ToIntensityChannelsEmpty);

constexpr KernelTable<MMVideoOutputFcn> RGBToRGBChannelsOutputKernels = KORVA_VIDEO_FAMILY(RGBToRGBChannelsOutput);
constexpr KernelTable<MMVideoOutputFcn> IntensityToRGBChannelsOutputKernels =
    KORVA_VIDEO_FAMILY(IntensityToRGBChannelsOutput);
constexpr KernelTable<MMVideoOutputFcn> YCbCrToRGBChannelsOutputKernels = KORVA_VIDEO_FAMILY(YCbCrToRGBChannelsOutput);
constexpr KernelTable<MMVideoOutputFcn> RGBToYCbCrChannelsOutputKernels = KORVA_VIDEO_FAMILY(RGBToYCbCrChannelsOutput);
constexpr KernelTable<MMVideoOutputFcn> IntensityToYCbCrChannelsOutputKernels =
    KORVA_VIDEO_FAMILY(IntensityToYCbCrChannelsOutput);
constexpr KernelTable<MMVideoOutputFcn> YCbCrToYCbCrChannelsOutputKernels =
    KORVA_VIDEO_FAMILY(YCbCrToYCbCrChannelsOutput);

constexpr KernelTable<MMVideoConvertCopyFcn> RGBToRGB24ChannelsConvertCopyKernels =
    KORVA_VIDEO_FAMILY(RGBToRGB24ChannelsConvertCopy);
constexpr KernelTable<MMVideoConvertCopyFcn> IntensityToRGB24ChannelsConvertCopyKernels =
    KORVA_VIDEO_FAMILY(IntensityToRGB24ChannelsConvertCopy);

// [in][out]: nine pairs, all into 8- or 16-bit words; every other pair is null.
template <int In, int Out> constexpr MMRawPlanarConvertFcn RawPlanar = RawPlanarColumnToRawPlanarRowConvert<In, Out>;
constexpr MMRawPlanarConvertFcn RawPlanarColumnToRawPlanarRowConvertKernels[VIDEO_LOGICAL + 1][VIDEO_LOGICAL + 1] = {
    /* DOUBLE */ {nullptr, nullptr, nullptr, nullptr, RawPlanar<VIDEO_DOUBLE, VIDEO_INT16>},
    /* SINGLE */ {nullptr, nullptr, nullptr, nullptr, RawPlanar<VIDEO_SINGLE, VIDEO_INT16>},
    /* INT8 */ {nullptr, nullptr, RawPlanar<VIDEO_INT8, VIDEO_INT8>},
    /* UINT8 */ {nullptr, nullptr, nullptr, RawPlanar<VIDEO_UINT8, VIDEO_UINT8>},
    /* INT16 */ {nullptr, nullptr, nullptr, nullptr, RawPlanar<VIDEO_INT16, VIDEO_INT16>},
    /* UINT16 */ {nullptr, nullptr, nullptr, nullptr, nullptr, RawPlanar<VIDEO_UINT16, VIDEO_UINT16>},
    /* INT32 */ {nullptr, nullptr, nullptr, nullptr, RawPlanar<VIDEO_INT32, VIDEO_INT16>},
    /* UINT32 */ {nullptr, nullptr, nullptr, nullptr, nullptr, RawPlanar<VIDEO_UINT32, VIDEO_UINT16>},
    /* LOGICAL */ {nullptr, nullptr, nullptr, RawPlanar<VIDEO_LOGICAL, VIDEO_UINT8>}};

// Negative values fail the test as well, read as large unsigned ones.
bool isVideoDataType(VideoDataType type) { return static_cast<uint32_t>(type) <= VIDEO_LOGICAL; }

// Input and empty selectors: the table of the type is built before its kernel
// leaves, on every call, so that kernels never need to check it.
template <typename Fcn> Fcn selectVideoKernel(const KernelTable<Fcn>& table, VideoDataType type) {
    if (!isVideoDataType(type)) {
        return nullptr;
    }
    buildEightBitLUT(type);
    return table[type];
}

// Output and convert copy selectors: their kernels read no table.
template <typename Fcn> Fcn lookupVideoKernel(const KernelTable<Fcn>& table, VideoDataType type) {
    return isVideoDataType(type) ? table[type] : nullptr;
}

// Routes by FourCC value; FOURCC_UNKNOWN rows and columns stay null.
const int FOURCC_COUNT = FOURCC_YUY2 + 1;

bool isFourCC(FourCCType format) { return static_cast<uint32_t>(format) < FOURCC_COUNT; }

// [frame][plane][mmr]: only an RGB frame has a three-plane (_mmr) source.
const MMVideoInputSelector INPUT_ROUTES[FOURCC_COUNT][FOURCC_COUNT][2] = {
    /* UNKNOWN */ {},
    /* RGB */
    {{},
     {MM_GetRGBToRGBChannelsInputFcn, MM_GetRGBToRGBChannelsInputFcn_mmr},
     {MM_GetRGBToIntensityChannelsInputFcn, MM_GetRGBToIntensityChannelsInputFcn_mmr},
     {MM_GetRGBToYCbCrChannelsInputFcn, MM_GetRGBToYCbCrChannelsInputFcn_mmr}},
    /* GREY */ {},
    /* YUY2 */
    {{},
     {MM_GetYCbCrToRGBChannelsInputFcn, MM_GetYCbCrToRGBChannelsInputFcn},
     {MM_GetYCbCrToIntensityChannelsInputFcn, MM_GetYCbCrToIntensityChannelsInputFcn},
     {MM_GetYCbCrToYCbCrChannelsInputFcn, MM_GetYCbCrToYCbCrChannelsInputFcn}}};

// [plane][frame]: GREY is a plane format only, never a frame format.
const MMVideoOutputSelector OUTPUT_ROUTES[FOURCC_COUNT][FOURCC_COUNT] = {
    /* UNKNOWN */ {},
    /* RGB */ {nullptr, MM_GetRGBToRGBChannelsOutputFcn, nullptr, MM_GetRGBToYCbCrChannelsOutputFcn},
    /* GREY */ {nullptr, MM_GetIntensityToRGBChannelsOutputFcn, nullptr, MM_GetIntensityToYCbCrChannelsOutputFcn},
    /* YUY2 */ {nullptr, MM_GetYCbCrToRGBChannelsOutputFcn, nullptr, MM_GetYCbCrToYCbCrChannelsOutputFcn}};

// [plane]
const MMVideoEmptySelector EMPTY_ROUTES[FOURCC_COUNT] = {
    nullptr, MM_GetToRGBChannelsEmptyFcn, MM_GetToIntensityChannelsEmptyFcn, MM_GetToYCbCrChannelsEmptyFcn};

} // namespace

MMVideoInputFcn MM_GetRGBToRGBChannelsInputFcn(VideoDataType type) {
    return selectVideoKernel(RGBToRGBChannelsInputKernels, type);
}
MMVideoInputFcn MM_GetRGBToRGBChannelsInputFcn_mmr(VideoDataType type) {
    return selectVideoKernel(RGBToRGBChannelsInputKernels_mmr, type);
}
MMVideoInputFcn MM_GetRGBToIntensityChannelsInputFcn(VideoDataType type) {
    return selectVideoKernel(RGBToIntensityChannelsInputKernels, type);
}
MMVideoInputFcn MM_GetRGBToIntensityChannelsInputFcn_mmr(VideoDataType type) {
    return selectVideoKernel(RGBToIntensityChannelsInputKernels_mmr, type);
}
MMVideoInputFcn MM_GetRGBToYCbCrChannelsInputFcn(VideoDataType type) {
    return selectVideoKernel(RGBToYCbCrChannelsInputKernels, type);
}
MMVideoInputFcn MM_GetRGBToYCbCrChannelsInputFcn_mmr(VideoDataType type) {
    return selectVideoKernel(RGBToYCbCrChannelsInputKernels_mmr, type);
}
MMVideoInputFcn MM_GetYCbCrToRGBChannelsInputFcn(VideoDataType type) {
    return selectVideoKernel(YCbCrToRGBChannelsInputKernels, type);
}
MMVideoInputFcn MM_GetYCbCrToIntensityChannelsInputFcn(VideoDataType type) {
    return selectVideoKernel(YCbCrToIntensityChannelsInputKernels, type);
}
MMVideoInputFcn MM_GetYCbCrToYCbCrChannelsInputFcn(VideoDataType type) {
    return selectVideoKernel(YCbCrToYCbCrChannelsInputKernels, type);
}

MMVideoEmptyFcn MM_GetToRGBChannelsEmptyFcn(VideoDataType type) {
    return selectVideoKernel(ToRGBChannelsEmptyKernels, type);
}
MMVideoEmptyFcn MM_GetToIntensityChannelsEmptyFcn(VideoDataType type) {
    return selectVideoKernel(ToIntensityChannelsEmptyKernels, type);
}
MMVideoEmptyFcn MM_GetToYCbCrChannelsEmptyFcn(VideoDataType type) {
    return selectVideoKernel(ToRGBChannelsEmptyKernels, type);
}

MMVideoOutputFcn MM_GetRGBToRGBChannelsOutputFcn(VideoDataType type) {
    return lookupVideoKernel(RGBToRGBChannelsOutputKernels, type);
}
MMVideoOutputFcn MM_GetIntensityToRGBChannelsOutputFcn(VideoDataType type) {
    return lookupVideoKernel(IntensityToRGBChannelsOutputKernels, type);
}
MMVideoOutputFcn MM_GetYCbCrToRGBChannelsOutputFcn(VideoDataType type) {
    return lookupVideoKernel(YCbCrToRGBChannelsOutputKernels, type);
}
MMVideoOutputFcn MM_GetRGBToYCbCrChannelsOutputFcn(VideoDataType type) {
    return lookupVideoKernel(RGBToYCbCrChannelsOutputKernels, type);
}
MMVideoOutputFcn MM_GetIntensityToYCbCrChannelsOutputFcn(VideoDataType type) {
    return lookupVideoKernel(IntensityToYCbCrChannelsOutputKernels, type);
}
MMVideoOutputFcn MM_GetYCbCrToYCbCrChannelsOutputFcn(VideoDataType type) {
    return lookupVideoKernel(YCbCrToYCbCrChannelsOutputKernels, type);
}

MMVideoConvertCopyFcn MM_GetRGBToRGB24ChannelsConvertCopyFcn(VideoDataType type) {
    return lookupVideoKernel(RGBToRGB24ChannelsConvertCopyKernels, type);
}
MMVideoConvertCopyFcn MM_GetIntensityToRGB24ChannelsConvertCopyFcn(VideoDataType type) {
    return lookupVideoKernel(IntensityToRGB24ChannelsConvertCopyKernels, type);
}

// A plain decision on the two types; no EightBitLUT is built.
MMRawPlanarConvertFcn MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VideoDataType in, VideoDataType out) {
    if (!isVideoDataType(in) || !isVideoDataType(out)) {
        return nullptr;
    }
    return RawPlanarColumnToRawPlanarRowConvertKernels[in][out];
}

MMVideoInputSelector videoInputSelector(FourCCType frameFormat, FourCCType planeFormat, bool mmr) {
    if (!isFourCC(frameFormat) || !isFourCC(planeFormat)) {
        return nullptr;
    }
    return INPUT_ROUTES[frameFormat][planeFormat][mmr ? 1 : 0];
}

MMVideoOutputSelector videoOutputSelector(FourCCType planeFormat, FourCCType frameFormat) {
    if (!isFourCC(planeFormat) || !isFourCC(frameFormat)) {
        return nullptr;
    }
    return OUTPUT_ROUTES[planeFormat][frameFormat];
}

MMVideoEmptySelector videoEmptySelector(FourCCType planeFormat) {
    return isFourCC(planeFormat) ? EMPTY_ROUTES[planeFormat] : nullptr;
}

MMVideoInputFcn MM_GetVideoInputFcn(FourCCType frameFormat, FourCCType planeFormat, VideoDataType type, bool mmr) {
    MMVideoInputSelector select = videoInputSelector(frameFormat, planeFormat, mmr);
    return select ? select(type) : nullptr;
}

MMVideoOutputFcn MM_GetVideoOutputFcn(FourCCType planeFormat, FourCCType frameFormat, VideoDataType type) {
    MMVideoOutputSelector select = videoOutputSelector(planeFormat, frameFormat);
    return select ? select(type) : nullptr;
}

MMVideoEmptyFcn MM_GetVideoEmptyFcn(FourCCType planeFormat, VideoDataType type) {
    MMVideoEmptySelector select = videoEmptySelector(planeFormat);
    return select ? select(type) : nullptr;
}
