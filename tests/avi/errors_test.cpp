#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include <korva/korva.h>

using avi::errors::error_T;

namespace {

// Every text a caller can see, by code. Codes 1, 2, 3 and 28 are composed; the
// file name is empty on a fresh object. 0, 44 and everything past 45 fall to
// the hexadecimal default.
const std::vector<std::pair<int32_t, std::string>> TEXTS = {
    {0, "Unknown error (0)"}, {1, "'' is not a valid AVI file (RIFF chunk is missing)"},
    {2, "'' is not a valid AVI file (AVI chunk is missing)"}, {3, "Unable to open AVI file ('')"},
    {4, "Seek operation failed"}, {5, "Fread operation failed"}, {6, "Fwrite operation failed"},
    {7, "getFilePos operation failed"}, {8, "setFilePos operation failed"},
    {9, "Number of frames reported in the AVI header does not match number of ##db chunks"},
    {10, "Corrupted file: audio chunks are missing"}, {11, "Corrupted file: video chunks are missing"},
    {12, "Corrupted file: both audio and video chunks are missing"},
    {13, "Corrupted file: main AVI header information is missing"}, {14, "Corrupted file: stream list is missing"},
    {15, "Encountered unexpected length of strl chunk"}, {16, "Corrupted file: stream headers is missing"},
    {17, "Unable to read audio format header"}, {18, "Unable to read video frame format header"},
    {19, "Unsupported bitmap header found"}, {20, "Unsupported main header found"},
    {21, "Unsupported audio format header found"}, {22, "Failed to read AVI colormap"},
    {23, "Cannot set colormap during read"}, {24, "Colormap required to write this file"},
    {25, "Cannot over-write a non-empty colormap"}, {26, "Colormap can only have maximum of 256 entries"},
    {27, "Out of memory"}, {28, "AVI files with more than 8 streams are not supported"},
    {29, "Interleaved AVI files are not supported"}, {30, "Unsupported audio stream.Audio must be 8 or 16 bits"},
    {31, "AVI files that require use of internal index are not supported"},
    {32, "Compressed video streams are not supported"}, {33, "Compressed audio streams are not supported"},
    {34, "Unsupported read/write mode"}, {35, "Invalid Legacy Index"}, {36, "Error parsing the legacy index"},
    {37, "Unsupported AVI index type"}, {38, "Invalid AVI index"}, {39, "Invalid Index Offset Calculated"},
    {40, "Unsupported AVI file"}, {41, "Invalid number of frames"}, {42, "Invalid value for Bits Per Pixel"},
    {43, "WAVE files are only supported on Windows platforms."}, {44, "Unknown error (2c)"},
    {45, "Read attempted for a video that is not indexed"}, {46, "Unknown error (2e)"}, {47, "Unknown error (2f)"},
    {255, "Unknown error (ff)"}, {-1, "Unknown error (ffffffff)"}, {-46, "Unknown error (ffffffd2)"},
};

} // namespace

TEST(AviErrors, EveryCodeStoresItselfAndItsText) {
    for (const auto& [code, text] : TEXTS) {
        avi::File f;
        f.setError(static_cast<error_T>(code));
        EXPECT_EQ(f.getErrorCode(), code);
        EXPECT_STREQ(f.getErrorMsg(), text.c_str()) << "code " << code;
    }
}

TEST(AviErrors, StickyLastFailureWinsUntilClearError) {
    avi::File f;
    EXPECT_EQ(f.getErrorCode(), avi::errors::NO_ERROR);
    EXPECT_STREQ(f.getErrorMsg(), "");
    f.setError(avi::errors::FREAD_FAILED);
    f.setError(avi::errors::STREAM_LIST_MISSING);
    EXPECT_EQ(f.getErrorCode(), avi::errors::STREAM_LIST_MISSING);
    EXPECT_STREQ(f.getErrorMsg(), "Corrupted file: stream list is missing");
    f.setError(avi::errors::TOO_MANY_STREAMS); // a composed text is rebuilt, not appended to
    f.setError(avi::errors::TOO_MANY_STREAMS);
    EXPECT_STREQ(f.getErrorMsg(), "AVI files with more than 8 streams are not supported");
    f.clearError();
    EXPECT_EQ(f.getErrorCode(), 0);
    ASSERT_NE(f.getErrorMsg(), nullptr);
    EXPECT_STREQ(f.getErrorMsg(), "");
}
