#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <korva/korva.h>

// The texts of codes 0..47, then of 255, -1 and -46. 1, 2, 3 and 28 are composed (the file name is empty
// on a fresh object); 0, 44 and everything past 45 fall to the hexadecimal default.
const std::vector<std::string> TEXTS = {"Unknown error (0)", "'' is not a valid AVI file (RIFF chunk is missing)",
    "'' is not a valid AVI file (AVI chunk is missing)", "Unable to open AVI file ('')", "Seek operation failed",
    "Fread operation failed", "Fwrite operation failed", "getFilePos operation failed", "setFilePos operation failed",
    "Number of frames reported in the AVI header does not match number of ##db chunks",
    "Corrupted file: audio chunks are missing", "Corrupted file: video chunks are missing",
    "Corrupted file: both audio and video chunks are missing", "Corrupted file: main AVI header information is missing",
    "Corrupted file: stream list is missing", "Encountered unexpected length of strl chunk",
    "Corrupted file: stream headers is missing", "Unable to read audio format header",
    "Unable to read video frame format header", "Unsupported bitmap header found", "Unsupported main header found",
    "Unsupported audio format header found", "Failed to read AVI colormap", "Cannot set colormap during read",
    "Colormap required to write this file", "Cannot over-write a non-empty colormap",
    "Colormap can only have maximum of 256 entries", "Out of memory",
    "AVI files with more than 8 streams are not supported", "Interleaved AVI files are not supported",
    "Unsupported audio stream.Audio must be 8 or 16 bits",
    "AVI files that require use of internal index are not supported", "Compressed video streams are not supported",
    "Compressed audio streams are not supported", "Unsupported read/write mode", "Invalid Legacy Index",
    "Error parsing the legacy index", "Unsupported AVI index type", "Invalid AVI index",
    "Invalid Index Offset Calculated", "Unsupported AVI file", "Invalid number of frames",
    "Invalid value for Bits Per Pixel", "WAVE files are only supported on Windows platforms.", "Unknown error (2c)",
    "Read attempted for a video that is not indexed", "Unknown error (2e)", "Unknown error (2f)",
    "Unknown error (ff)", "Unknown error (ffffffff)", "Unknown error (ffffffd2)"};

TEST(AviErrors, EveryCodeStoresItsTextAndTheLastStandsUntilClearError) {
    avi::File f; // a later code replaces an earlier one; a composed text is rebuilt, not appended to
    for (int round : {0, 1}) {
        for (size_t i = 0; i < TEXTS.size(); ++i) {
            const int32_t code = i < 48 ? int32_t(i) : std::vector<int32_t>{255, -1, -46}[i - 48];
            f.setError(static_cast<avi::errors::error_T>(code));
            EXPECT_EQ(f.getErrorCode(), code);
            EXPECT_STREQ(f.getErrorMsg(), TEXTS[i].c_str()) << "code " << code << " round " << round;
        }
    }
    f.clearError();
    EXPECT_EQ(f.getErrorCode(), 0);
    EXPECT_STREQ(f.getErrorMsg(), "");
}
