#ifndef KORVA_TOOLS_INFO_JSON_H
#define KORVA_TOOLS_INFO_JSON_H

// `korva-avi info --json FILE`: the facts of `info` for scripts, with keys in
// the spirit of other probing tools: "streams" and "format", or "error".

// Prints the JSON document to stdout; returns the exit status.
int printInfoJson(const char* path);

#endif
