#ifndef KORVA_CORE_TYPES_H
#define KORVA_CORE_TYPES_H

#include <string>

// File names travel through the library as UTF-16 code units.
using ustring = std::u16string;

#endif
