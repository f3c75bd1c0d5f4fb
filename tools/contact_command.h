#ifndef KORVA_TOOLS_CONTACT_COMMAND_H
#define KORVA_TOOLS_CONTACT_COMMAND_H

// `contact FILE OUT.png [--grid COLSxROWS] [--width PIXELS]` from the command
// line. Exit status: 0 when OUT.png was written; 1 when FILE cannot be read or
// shown (missing, no video, compressed video, no frames, a shown frame that
// does not read) or OUT.png cannot be written; 2 on a usage error, a width
// too small for the grid included. Nothing is written unless the status is 0.
int contactCommand(int argc, char** argv);

extern const char* const CONTACT_USAGE;

#endif
