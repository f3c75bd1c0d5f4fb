#ifndef KORVA_TOOLS_FRAME_PNG_H
#define KORVA_TOOLS_FRAME_PNG_H

#include <cstdint>
#include <string>

#include "rgb_planes.h"

// Writes frame `number` (counted from 0) of the AVI file at `aviPath` as an
// 8-bit RGB PNG picture at `pngPath`, top line first. Any depth the reader
// turns into RGB24 will do. Returns an empty string, or the text of what
// failed; on failure no PNG file is left behind.
std::string exportFrameAsPng(const std::string& aviPath, int64_t number, const std::string& pngPath);

// Saves a picture as an 8-bit RGB PNG file; the same contract.
std::string savePictureAsPng(const RGBPicture& picture, const std::string& pngPath);

#endif
