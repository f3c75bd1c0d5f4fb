#include <korva/video/traits.h>

#include <cstddef>

// The integer ranges are the element types' own; white from EightBitLUT stops
// short of max for the 16- and 32-bit types, while the quantisation of the
// output kernels spans the whole range.
const double videoTraits<VIDEO_DOUBLE>::min = 0.0;
const double videoTraits<VIDEO_DOUBLE>::max = 1.0;
const float videoTraits<VIDEO_SINGLE>::min = 0.0f;
const float videoTraits<VIDEO_SINGLE>::max = 1.0f;
const char videoTraits<VIDEO_INT8>::min = -128;
const char videoTraits<VIDEO_INT8>::max = 127;
const unsigned char videoTraits<VIDEO_UINT8>::min = 0;
const unsigned char videoTraits<VIDEO_UINT8>::max = 255;
const short videoTraits<VIDEO_INT16>::min = -32768;
const short videoTraits<VIDEO_INT16>::max = 32767;
const unsigned short videoTraits<VIDEO_UINT16>::min = 0;
const unsigned short videoTraits<VIDEO_UINT16>::max = 65535;
const int videoTraits<VIDEO_INT32>::min = -2147483647 - 1;
const int videoTraits<VIDEO_INT32>::max = 2147483647;
const unsigned int videoTraits<VIDEO_UINT32>::min = 0u;
const unsigned int videoTraits<VIDEO_UINT32>::max = 4294967295u;
const unsigned char videoTraits<VIDEO_LOGICAL>::min = 0;
const unsigned char videoTraits<VIDEO_LOGICAL>::max = 1;

std::vector<double> videoTraits<VIDEO_DOUBLE>::EightBitLUT;
std::vector<float> videoTraits<VIDEO_SINGLE>::EightBitLUT;
std::vector<char> videoTraits<VIDEO_INT8>::EightBitLUT;
std::vector<short> videoTraits<VIDEO_INT16>::EightBitLUT;
std::vector<unsigned short> videoTraits<VIDEO_UINT16>::EightBitLUT;
std::vector<int> videoTraits<VIDEO_INT32>::EightBitLUT;
std::vector<unsigned int> videoTraits<VIDEO_UINT32>::EightBitLUT;
std::vector<unsigned char> videoTraits<VIDEO_LOGICAL>::EightBitLUT;

namespace {

const std::size_t LUT_SIZE = 256;

// Cuts a longer table as well as growing a shorter one. Once a table has its
// 256 entries this keeps its storage, so a rebuild never moves the data that
// running kernels read.
template <typename T> std::vector<T>& sized(std::vector<T>& lut) {
    lut.resize(LUT_SIZE);
    return lut;
}

// i / 255 in double, kept to single precision in both floating tables, so
// double planes carry exactly the values of single ones.
template <typename T> void fillUnitRange(std::vector<T>& lut) {
    for (std::size_t i = 0; i < LUT_SIZE; ++i) {
        lut[i] = static_cast<T>(static_cast<float>(static_cast<double>(i) / 255.0));
    }
}

// The byte goes to the top bits: a running sum from the type's low end, each
// step in the element's own width. The last entry is the last sum taken, so
// the 32-bit sums never step past the end of their range.
template <typename T> void fillRunningSum(std::vector<T>& lut, T first, T step) {
    lut[0] = first;
    for (std::size_t i = 1; i < LUT_SIZE; ++i) {
        lut[i] = static_cast<T>(lut[i - 1] + step);
    }
}

// Any non-zero sample is true.
void fillLogical(std::vector<unsigned char>& lut) {
    lut[0] = 0;
    for (std::size_t i = 1; i < LUT_SIZE; ++i) {
        lut[i] = 1;
    }
}

} // namespace

void buildEightBitLUT(VideoDataType type) {
    switch (type) {
    case VIDEO_DOUBLE:
        fillUnitRange(sized(videoTraits<VIDEO_DOUBLE>::EightBitLUT));
        break;
    case VIDEO_SINGLE:
        fillUnitRange(sized(videoTraits<VIDEO_SINGLE>::EightBitLUT));
        break;
    case VIDEO_INT8:
        fillRunningSum<char>(sized(videoTraits<VIDEO_INT8>::EightBitLUT), videoTraits<VIDEO_INT8>::min, 1);
        break;
    case VIDEO_INT16:
        fillRunningSum<short>(sized(videoTraits<VIDEO_INT16>::EightBitLUT), videoTraits<VIDEO_INT16>::min, 256);
        break;
    case VIDEO_UINT16:
        fillRunningSum<unsigned short>(sized(videoTraits<VIDEO_UINT16>::EightBitLUT), 0, 256);
        break;
    case VIDEO_INT32:
        fillRunningSum<int>(sized(videoTraits<VIDEO_INT32>::EightBitLUT), videoTraits<VIDEO_INT32>::min, 16777216);
        break;
    case VIDEO_UINT32:
        fillRunningSum<unsigned int>(sized(videoTraits<VIDEO_UINT32>::EightBitLUT), 0u, 16777216u);
        break;
    case VIDEO_LOGICAL:
        fillLogical(sized(videoTraits<VIDEO_LOGICAL>::EightBitLUT));
        break;
    default:
        // VIDEO_UINT8 stores the byte itself; other values name no type.
        break;
    }
}
