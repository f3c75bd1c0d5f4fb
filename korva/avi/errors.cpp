#include <korva/avi/file.h>

#include <sstream>

namespace avi {

namespace {

// Texts of codes 0 to 45, indexed by code. Null marks the codes that have no
// text of their own (0, 44) and those composed with the file name.
const char* const MESSAGES[46] = {
    nullptr,
    nullptr, // RIFF_CHUNK_MISSING, composed
    nullptr, // AVI_CHUNK_MISSING, composed
    nullptr, // FILE_OPEN_FAILED, composed
    "Seek operation failed",
    "Fread operation failed",
    "Fwrite operation failed",
    "getFilePos operation failed",
    "setFilePos operation failed",
    "Number of frames reported in the AVI header does not match number of ##db chunks",
    "Corrupted file: audio chunks are missing",
    "Corrupted file: video chunks are missing",
    "Corrupted file: both audio and video chunks are missing",
    "Corrupted file: main AVI header information is missing",
    "Corrupted file: stream list is missing",
    "Encountered unexpected length of strl chunk",
    "Corrupted file: stream headers is missing",
    "Unable to read audio format header",
    "Unable to read video frame format header",
    "Unsupported bitmap header found",
    "Unsupported main header found",
    "Unsupported audio format header found",
    "Failed to read AVI colormap",
    "Cannot set colormap during read",
    "Colormap required to write this file",
    "Cannot over-write a non-empty colormap",
    "Colormap can only have maximum of 256 entries",
    "Out of memory",
    nullptr, // TOO_MANY_STREAMS, composed
    "Interleaved AVI files are not supported",
    "Unsupported audio stream.Audio must be 8 or 16 bits",
    "AVI files that require use of internal index are not supported",
    "Compressed video streams are not supported",
    "Compressed audio streams are not supported",
    "Unsupported read/write mode",
    "Invalid Legacy Index",
    "Error parsing the legacy index",
    "Unsupported AVI index type",
    "Invalid AVI index",
    "Invalid Index Offset Calculated",
    "Unsupported AVI file",
    "Invalid number of frames",
    "Invalid value for Bits Per Pixel",
    "WAVE files are only supported on Windows platforms.",
    nullptr, // 44 is unassigned
    "Read attempted for a video that is not indexed",
};

} // namespace

void File::setError(errors::error_T code) {
    errorCode = code;
    const uint32_t index = static_cast<uint32_t>(code);
    if (index < 46 && MESSAGES[index] != nullptr) {
        errorMsg = MESSAGES[index];
        return;
    }
    std::ostringstream text;
    switch (code) {
    case errors::RIFF_CHUNK_MISSING:
        text << "'" << fileName << "' is not a valid AVI file (RIFF chunk is missing)";
        break;
    case errors::AVI_CHUNK_MISSING:
        text << "'" << fileName << "' is not a valid AVI file (AVI chunk is missing)";
        break;
    case errors::FILE_OPEN_FAILED:
        text << "Unable to open AVI file ('" << fileName << "')";
        break;
    case errors::TOO_MANY_STREAMS:
        text << "AVI files with more than " << MAX_STREAMS << " streams are not supported";
        break;
    default:
        text << "Unknown error (" << std::hex << static_cast<int32_t>(code) << ")";
        break;
    }
    errorMsg = text.str();
}

errors::error_T File::getErrorCode() const { return errorCode; }

const char* File::getErrorMsg() const { return errorMsg.c_str(); }

void File::clearError() {
    errorCode = errors::NO_ERROR;
    errorMsg.clear();
}

} // namespace avi
