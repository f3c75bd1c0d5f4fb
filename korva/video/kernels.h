#ifndef KORVA_VIDEO_KERNELS_H
#define KORVA_VIDEO_KERNELS_H

// The kernel families, one template over the VideoDataType value N each,
// instantiated for every type that has a member. Every member has exactly its
// family's function type, so the selectors' tables hold them without a cast.
// Private to the video units: callers reach kernels through the selectors.

#include <korva/video/dispatch.h>

#include <cstdint>

namespace korva::video {

// A bottom-up packed RGB frame into red, green and blue planes.
template <int N>
void RGBToRGBChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width, int height,
                           int columnOrder);

// Three 8-bit planes, red first, into red, green and blue planes.
template <int N>
void RGBToRGBChannelsInput_mmr(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width, int height,
                               int columnOrder);

// A blank picture: every element of the planes at the type's min.
template <int N>
void ToRGBChannelsEmpty(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width, int height,
                        int columnOrder);
template <int N>
void ToIntensityChannelsEmpty(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width, int height,
                              int columnOrder);

// YCbCr: YUY2 frames and YCbCr planes, and the colour conversions between
// them and RGB or intensity.
template <int N>
void RGBToYCbCrChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width, int height,
                             int columnOrder);
template <int N>
void RGBToYCbCrChannelsInput_mmr(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width,
                                 int height, int columnOrder);
template <int N>
void YCbCrToRGBChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width, int height,
                             int columnOrder);
template <int N>
void YCbCrToIntensityChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width,
                                   int height, int columnOrder);
template <int N>
void YCbCrToYCbCrChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width, int height,
                               int columnOrder);
template <int N>
void YCbCrToRGBChannelsOutput(const void* plane0, const void* plane1, const void* plane2, uint8_t* frame, int width,
                              int height, int columnOrder);
template <int N>
void RGBToYCbCrChannelsOutput(const void* plane0, const void* plane1, const void* plane2, uint8_t* frame, int width,
                              int height, int columnOrder);
template <int N>
void IntensityToYCbCrChannelsOutput(const void* plane0, const void* plane1, const void* plane2, uint8_t* frame,
                                    int width, int height, int columnOrder);
template <int N>
void YCbCrToYCbCrChannelsOutput(const void* plane0, const void* plane1, const void* plane2, uint8_t* frame,
                                int width, int height, int columnOrder);

// --- RGB frames to intensity, planes to 8 bits and to packed RGB frames, raw
// planar copies -----------------------------------------------------------------

// A bottom-up packed RGB frame into one luminance plane.
template <int N>
void RGBToIntensityChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width,
                                 int height, int columnOrder);

// Three 8-bit planes, red first, into one luminance plane.
template <int N>
void RGBToIntensityChannelsInput_mmr(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width,
                                     int height, int columnOrder);

// Red, green and blue planes into three 8-bit planes at out, index for index.
template <int N>
void RGBToRGB24ChannelsConvertCopy(const void* plane0, const void* plane1, const void* plane2, uint8_t* out,
                                   int width, int height);

// One plane into three equal 8-bit planes at out.
template <int N>
void IntensityToRGB24ChannelsConvertCopy(const void* plane0, const void* plane1, const void* plane2, uint8_t* out,
                                         int width, int height);

// Red, green and blue planes into a bottom-up packed RGB frame.
template <int N>
void RGBToRGBChannelsOutput(const void* plane0, const void* plane1, const void* plane2, uint8_t* frame, int width,
                            int height, int columnOrder);

// One plane into a grey bottom-up packed RGB frame.
template <int N>
void IntensityToRGBChannelsOutput(const void* plane0, const void* plane1, const void* plane2, uint8_t* frame,
                                  int width, int height, int columnOrder);

// Column-ordered planes of In elements into row-ordered planes of Out
// elements with a filler at each row's end.
template <int In, int Out>
void RawPlanarColumnToRawPlanarRowConvert(const void* in, void* out, int width, int height, int planes,
                                          int padElements, bool bottomUp);

} // namespace korva::video

// A family's nine members in the enumeration's order, and its explicit
// instantiations in the unit that defines it.
#define KORVA_VIDEO_FAMILY(family)                                                                                    \
    {                                                                                                                 \
        family<0>, family<1>, family<2>, family<3>, family<4>, family<5>, family<6>, family<7>, family<8>             \
    }
#define KORVA_VIDEO_FAMILY_WITHOUT_LOGICAL(family)                                                                    \
    {                                                                                                                 \
        family<0>, family<1>, family<2>, family<3>, family<4>, family<5>, family<6>, family<7>, nullptr               \
    }

// Parameter lists of the function types, for the instantiations.
#define KORVA_VIDEO_INPUT_PARAMS (const uint8_t*, void*, void*, void*, int, int, int)
#define KORVA_VIDEO_OUTPUT_PARAMS (const void*, const void*, const void*, uint8_t*, int, int, int)
#define KORVA_VIDEO_CONVERT_COPY_PARAMS (const void*, const void*, const void*, uint8_t*, int, int)

#define KORVA_INSTANTIATE_VIDEO_FAMILY_UP_TO_7(family, params)                                                         \
    template void family<0> params;                                                                                   \
    template void family<1> params;                                                                                   \
    template void family<2> params;                                                                                   \
    template void family<3> params;                                                                                   \
    template void family<4> params;                                                                                   \
    template void family<5> params;                                                                                   \
    template void family<6> params;                                                                                   \
    template void family<7> params;
#define KORVA_INSTANTIATE_VIDEO_FAMILY(family, params)                                                                \
    KORVA_INSTANTIATE_VIDEO_FAMILY_UP_TO_7(family, params)                                                            \
    template void family<8> params;

#endif
