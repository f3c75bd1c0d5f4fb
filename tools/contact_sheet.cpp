#include "contact_sheet.h"

#include <algorithm>
#include <cstdio>

#include "area_average.h"
#include "frame_reader.h"
#include "glyphs.h"

namespace {

const uint8_t BACKGROUND[3] = {48, 48, 48};

std::string twoDigits(uint64_t v) { return (v < 10 ? "0" : "") + std::to_string(v); }

// "320x240  25 FPS  0:04.00  100 FRAMES"; the rate and times only when the
// stream header gives a rate.
std::string headerText(RGB24FrameReader& reader, bool withHours) {
    avi::File& file = reader.file();
    std::string text = std::to_string(reader.width()) + "x" + std::to_string(reader.height());
    const uint32_t rate = file.getVideoStreamRate(), scale = file.getVideoStreamScale();
    if (rate != 0 && scale != 0) {
        char fps[32];
        std::snprintf(fps, sizeof fps, "%.6g", double(rate) / scale);
        text += std::string("  ") + fps + " FPS  " + frameTimeText(uint64_t(reader.frameCount()), rate, scale, withHours);
    }
    return text + "  " + std::to_string(reader.frameCount()) + " FRAMES";
}

// The frame number at the left of the strip under a thumbnail, its time at
// the right. The strip is as wide as the thumbnail, widened about its middle
// up to the cell's width where the two need more room; where even that is
// too little, the number alone.
void drawLabel(RGBPicture& sheet, const ContactLayout& layout, unsigned cellLeft, unsigned top,
               const std::string& number, const std::string& time) {
    const unsigned scale = layout.textScale;
    const unsigned numberWidth = textBoxWidth(number, scale), timeWidth = textBoxWidth(time, scale);
    const unsigned needed = numberWidth + scale + timeWidth;
    const bool both = !time.empty() && needed <= layout.cellWidth;
    const unsigned width = both ? std::max(layout.thumbWidth, needed) : layout.cellWidth;
    const unsigned left = cellLeft + (layout.cellWidth - width) / 2;
    const DrawArea strip{left, top, left + width, top + layout.labelHeight()};
    drawTextBox(sheet.planes, sheet.width, left, top, number, scale, strip);
    if (both) drawTextBox(sheet.planes, sheet.width, left + width - timeWidth, top, time, scale, strip);
}

} // namespace

std::string frameTimeText(uint64_t frame, uint32_t rate, uint32_t scale, bool withHours) {
    // frame x scale / rate seconds, taken apart so that no product overflows:
    // rate and scale are 32-bit numbers.
    const uint64_t whole = frame / rate, part = frame % rate * scale;
    const uint64_t seconds = whole * scale + part / rate, hundredths = part % rate * 100 / rate;
    const uint64_t minutes = seconds / 60;
    std::string text = withHours ? std::to_string(minutes / 60) + ":" + twoDigits(minutes % 60)
                                 : std::to_string(minutes);
    return text + ":" + twoDigits(seconds % 60) + "." + twoDigits(hundredths);
}

ContactFailure makeContactSheet(const std::string& aviPath, const ContactOptions& options, RGBPicture& sheet,
                                const ContactProgress& progress) {
    RGB24FrameReader reader;
    const std::string openFailure = reader.open(aviPath);
    if (!openFailure.empty()) return {ContactFailure::File, openFailure};
    if (reader.frameCount() <= 0) return {ContactFailure::File, "'" + aviPath + "' has no video frames"};
    ContactLayout layout;
    const std::string layoutFailure =
        layOutContactSheet(reader.width(), reader.height(), reader.frameCount(), options.grid, options.width, layout);
    if (!layoutFailure.empty()) return {ContactFailure::Request, layoutFailure};

    sheet.reset(layout.width, layout.height, BACKGROUND);
    const uint32_t rate = reader.file().getVideoStreamRate(), scale = reader.file().getVideoStreamScale();
    const bool timed = rate != 0 && scale != 0;
    const bool withHours = timed && uint64_t(reader.frameCount()) * scale / rate >= 3600;
    drawTextBox(sheet.planes, sheet.width, layout.gap, layout.headerTop, headerText(reader, withHours),
                layout.textScale, DrawArea{0, 0, sheet.width - layout.gap, layout.gridTop});

    const std::vector<int64_t> numbers = spreadFrameNumbers(reader.frameCount(), layout.columns * layout.rows);
    for (size_t i = 0; i < numbers.size(); ++i) {
        const std::string readFailure = reader.read(numbers[i]);
        if (!readFailure.empty()) return {ContactFailure::File, readFailure};
        const unsigned left = layout.cellLeft(unsigned(i % layout.columns));
        const unsigned top = layout.cellTop(unsigned(i / layout.columns));
        const BGRFrame frame{reader.rows(), reader.stride(), reader.width(), reader.height()};
        drawAreaAverage(frame, layout.thumbWidth, layout.thumbHeight, sheet,
                        left + (layout.cellWidth - layout.thumbWidth) / 2, top);
        drawLabel(sheet, layout, left, top + layout.thumbHeight, std::to_string(numbers[i]),
                  timed ? frameTimeText(uint64_t(numbers[i]), rate, scale, withHours) : std::string());
        if (progress) progress(i + 1, numbers.size());
    }
    return {};
}
