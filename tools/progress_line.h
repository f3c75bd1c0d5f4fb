#ifndef KORVA_TOOLS_PROGRESS_LINE_H
#define KORVA_TOOLS_PROGRESS_LINE_H

#include <chrono>
#include <cstdint>
#include <cstdio>

// A progress line on a terminal, at most a few times a second, wiped when
// done so that what follows starts on a clean line. Counts are shown after
// a right shift by unitShift (20 for MB).
class ProgressLine {
public:
    ProgressLine(std::FILE* err, bool on, const char* what, const char* unit = "MB", unsigned unitShift = 20)
        : err_(err), on_(on), what_(what), unit_(unit), shift_(unitShift) {}
    ~ProgressLine() { clear(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void operator()(uint64_t done, uint64_t total) {
        if (!on_ || total == 0) return;
        const auto now = std::chrono::steady_clock::now();
        if (now - last_ < std::chrono::milliseconds(250)) return;
        last_ = now;
        std::fprintf(err_, "\r%s: %3d%% (%llu of %llu %s)", what_, int(100.0 * double(done) / double(total)),
                     (unsigned long long)(done >> shift_), (unsigned long long)(total >> shift_), unit_);
        std::fflush(err_);
        shown_ = true;
    }

    void clear() {
        if (!shown_) return;
        std::fprintf(err_, "\r%60s\r", "");
        std::fflush(err_);
        shown_ = false;
    }

private:
    std::FILE* err_;
    bool on_;
    const char* what_;
    const char* unit_;
    unsigned shift_;
    std::chrono::steady_clock::time_point last_{};
    bool shown_ = false;
};

#endif
