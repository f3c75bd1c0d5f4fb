#ifndef KORVA_FUZZ_READ_EVERYTHING_H
#define KORVA_FUZZ_READ_EVERYTHING_H

// Opens the AVI file at path for reading and reads every frame in every form,
// the ends of the numbering, and the audio in odd-sized steps; then opens it
// once more for its information alone. Results are not looked at: this is for
// faults only. Lets boost::numeric::positive_overflow through.
void readEverything(const char* path);

#endif
