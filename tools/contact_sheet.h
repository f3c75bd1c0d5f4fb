#ifndef KORVA_TOOLS_CONTACT_SHEET_H
#define KORVA_TOOLS_CONTACT_SHEET_H

// `korva-avi contact`: one picture that shows a recording at a glance, a
// grid of frames evenly spaced over the file, each labelled with its number
// and time, under a header line with the picture size, frame rate, duration
// and frame count. Only the frames shown are read, by number, so the time
// taken does not grow with the file.

#include <cstdint>
#include <functional>
#include <string>

#include "contact_layout.h"
#include "rgb_planes.h"

struct ContactOptions {
    ContactGrid grid;
    unsigned width = DEFAULT_SHEET_WIDTH;
};

// Why no sheet was made. A request the file cannot meet (a width too
// small for the grid) is the caller's to fix; the others are the file's.
struct ContactFailure {
    enum Kind { None, Request, File } kind = None;
    std::string text;
};

// Called after each frame drawn, with the frames drawn and to draw.
using ContactProgress = std::function<void(uint64_t done, uint64_t total)>;

// Draws the sheet of the AVI file at aviPath into sheet.
ContactFailure makeContactSheet(const std::string& aviPath, const ContactOptions& options, RGBPicture& sheet,
                                const ContactProgress& progress = nullptr);

// A frame's time from the stream's rate and scale: minutes, seconds and
// hundredths ("1:02.50"), with hours in front when withHours ("0:01:02.50").
// Times are cut to the hundredth, not rounded, so no frame shows a later time
// than its own.
std::string frameTimeText(uint64_t frame, uint32_t rate, uint32_t scale, bool withHours);

#endif
