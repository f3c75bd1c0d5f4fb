#ifndef KORVA_FILESYSTEM_FILESYSTEM_H
#define KORVA_FILESYSTEM_FILESYSTEM_H

#include <korva/core/export.h>

#include <cstdio>
#include <string>

#include <korva/core/types.h>

namespace korva {
namespace filesystem {

// Opens a file named in UTF-16. The name is handed to the C library as UTF-8,
// which is what Linux file names are by convention. Returns null on failure.
KORVA_API FILE* fopen(const ustring& name, const std::string& mode);

// UTF-8 to UTF-16. When built lenient (true), malformed input becomes U+FFFD;
// otherwise it throws std::range_error.
class KORVA_API codecvt_narrow_string_to_ustring {
public:
    explicit codecvt_narrow_string_to_ustring(bool lenient);
    ustring do_convert(const char* text, unsigned long length) const;

private:
    bool lenient;
};

// UTF-16 to UTF-8. When built lenient (true), a lone surrogate becomes U+FFFD;
// otherwise it throws std::range_error.
class KORVA_API codecvt_ustring_to_narrow_string {
public:
    explicit codecvt_ustring_to_narrow_string(bool lenient);
    std::string do_convert(const char16_t* text, unsigned long length) const;

private:
    bool lenient;
};

} // namespace filesystem
} // namespace korva

#endif
