#ifndef KORVA_CORE_EXPORT_H
#define KORVA_CORE_EXPORT_H

// The library is built with hidden visibility, so that only what its public
// headers declare is part of its ABI; KORVA_API marks those declarations.
// Both compilers spell the attribute the same way.
#define KORVA_API __attribute__((visibility("default")))

#endif
