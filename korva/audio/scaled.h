#ifndef KORVA_AUDIO_SCALED_H
#define KORVA_AUDIO_SCALED_H

#include <korva/core/export.h>

// Scaled doubles: doubles that carry the stored integer of a fixed-point word.
// These kernels move whole arrays between such doubles and the words of six
// sizes. Nothing is scaled: a value stays the same number and only its
// representation changes. Both shapes take the double array first.

#include <korva/core/media_types.h>

// out[i] = in[i] as a double, from the top down: `in` may start at `out`, since
// each narrow word is read before any wider write reaches it. A count below 1
// does nothing.
typedef void (*MMFixToDoubleFcn)(double* out, const void* in, int count);

// out[i] = in[i] truncated toward zero to a 32-bit integer (64-bit for
// SCALED_UINT32), keeping the word's low bits: no rounding, no saturation. A
// NaN or a double beyond that integer gives its most negative value. Walks
// from the bottom up, so `out` may start at `in`. A count below 1 does nothing.
typedef void (*MMDoubleToFixFcn)(const double* in, void* out, int count);

// Entries SCALED_UINT8 to SCALED_INT32 are kernels; SCALED_NONE and 7 give
// null. The index is not tested: no other value may be passed.
KORVA_API MMFixToDoubleFcn MM_GetFixToDoubleFcn(ScaledDoubleFunctionIndex index);
KORVA_API MMDoubleToFixFcn MM_GetDoubleToFixFcn(ScaledDoubleFunctionIndex index);

#endif
