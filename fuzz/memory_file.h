#ifndef KORVA_FUZZ_MEMORY_FILE_H
#define KORVA_FUZZ_MEMORY_FILE_H

// A file that lives in memory and is reached by name through /proc, for the
// fuzz targets: the library opens files by name, and one such file serves
// every input of the process. Where memory files are missing it falls back to
// a temporary file that is removed at exit.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

class MemoryFile {
public:
    MemoryFile() {
        fd = memfd_create("korva-fuzz", MFD_CLOEXEC);
        if (fd >= 0) {
            name = "/proc/self/fd/" + std::to_string(fd);
            return;
        }
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/korva-fuzz-XXXXXX";
        fd = mkstemp(&pattern[0]);
        if (fd < 0) fail("no file for the fuzz input");
        name = pattern;
        unlinkAtExit = true;
    }
    ~MemoryFile() {
        if (unlinkAtExit) unlink(name.c_str());
        close(fd);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    // Replaces the contents.
    void set(const uint8_t* data, size_t size) {
        if (ftruncate(fd, 0) != 0) fail("ftruncate");
        size_t done = 0;
        while (done < size) {
            const ssize_t n = pwrite(fd, data + done, size - done, static_cast<off_t>(done));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) fail("pwrite");
            done += static_cast<size_t>(n);
        }
    }
    const char* path() const { return name.c_str(); }

private:
    [[noreturn]] static void fail(const char* what) {
        std::perror(what);
        std::abort();
    }
    int fd = -1;
    std::string name;
    bool unlinkAtExit = false;
};

#endif
