// Runs the fuzz entry point once on every file named on the command line or
// found (recursively) in a directory named there: the seed corpus and crash
// inputs replay this way with any compiler, under the sanitizers when the build
// has them. Fails when nothing was found, so a missing corpus is not a pass.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

namespace {

bool replay(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // A named input shows in the log before it runs, so a crash names it.
    std::fprintf(stderr, "%s (%zu bytes)\n", path.c_str(), bytes.size());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE_OR_DIRECTORY...\n", argv[0]);
        return 2;
    }
    size_t replayed = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        const fs::path arg(argv[i]);
        std::error_code error;
        if (fs::is_directory(arg, error)) {
            std::vector<fs::path> files;
            for (const fs::directory_entry& e : fs::recursive_directory_iterator(arg))
                if (e.is_regular_file()) files.push_back(e.path());
            std::sort(files.begin(), files.end());
            for (const fs::path& f : files) {
                ok = replay(f) && ok;
                ++replayed;
            }
        } else if (fs::is_regular_file(arg, error)) {
            ok = replay(arg) && ok;
            ++replayed;
        } else {
            std::fprintf(stderr, "no such file or directory: %s\n", argv[i]);
            ok = false;
        }
    }
    std::printf("replayed %zu inputs\n", replayed);
    if (replayed == 0) std::fprintf(stderr, "no inputs found\n");
    return ok && replayed > 0 ? 0 : 1;
}
