#include <korva/filesystem/filesystem.h>

#include <stdexcept>

namespace korva {
namespace filesystem {

namespace {

const char32_t REPLACEMENT = 0xFFFD;

void appendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

void appendUtf16(ustring& out, char32_t cp) {
    if (cp < 0x10000) {
        out += static_cast<char16_t>(cp);
    } else {
        cp -= 0x10000;
        out += static_cast<char16_t>(0xD800 + (cp >> 10));
        out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    }
}

// Decodes one UTF-8 sequence starting at text[i]; returns the code point or
// REPLACEMENT with `bad` set, and advances i past what was consumed.
char32_t decodeUtf8(const unsigned char* text, unsigned long length, unsigned long& i, bool& bad) {
    const unsigned char lead = text[i++];
    bad = false;
    if (lead < 0x80) return lead;
    int extra;
    char32_t cp;
    char32_t minimum;
    if ((lead & 0xE0) == 0xC0) { extra = 1; cp = lead & 0x1F; minimum = 0x80; }
    else if ((lead & 0xF0) == 0xE0) { extra = 2; cp = lead & 0x0F; minimum = 0x800; }
    else if ((lead & 0xF8) == 0xF0) { extra = 3; cp = lead & 0x07; minimum = 0x10000; }
    else { bad = true; return REPLACEMENT; }
    for (int k = 0; k < extra; ++k) {
        if (i >= length || (text[i] & 0xC0) != 0x80) { bad = true; return REPLACEMENT; }
        cp = (cp << 6) | (text[i++] & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        bad = true;
        return REPLACEMENT;
    }
    return cp;
}

} // namespace

FILE* fopen(const ustring& name, const std::string& mode) {
    const std::string narrow = codecvt_ustring_to_narrow_string(true).do_convert(name.data(), name.size());
    return std::fopen(narrow.c_str(), mode.c_str());
}

codecvt_narrow_string_to_ustring::codecvt_narrow_string_to_ustring(bool lenient_) : lenient(lenient_) {}

ustring codecvt_narrow_string_to_ustring::do_convert(const char* text, unsigned long length) const {
    ustring out;
    out.reserve(length);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    unsigned long i = 0;
    while (i < length) {
        bool bad;
        const char32_t cp = decodeUtf8(bytes, length, i, bad);
        if (bad && !lenient) throw std::range_error("invalid UTF-8 sequence");
        appendUtf16(out, cp);
    }
    return out;
}

codecvt_ustring_to_narrow_string::codecvt_ustring_to_narrow_string(bool lenient_) : lenient(lenient_) {}

std::string codecvt_ustring_to_narrow_string::do_convert(const char16_t* text, unsigned long length) const {
    std::string out;
    out.reserve(length);
    for (unsigned long i = 0; i < length; ++i) {
        char32_t cp = text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < length && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            if (!lenient) throw std::range_error("unpaired UTF-16 surrogate");
            cp = REPLACEMENT;
        }
        appendUtf8(out, cp);
    }
    return out;
}

} // namespace filesystem
} // namespace korva
