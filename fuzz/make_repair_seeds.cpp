// Writes the seed corpus of the repair fuzz target into CORPUS/repair: each
// reader seed behind a byte that takes the formats from the file's own header,
// and files that writers leave broken (a header still a hole, a chunk cut
// short) behind the bytes that give their formats as on the command line
// (repair_fuzzer.cpp tells what each first byte picks).
//
// Usage: fuzz_make_repair_seeds CORPUS

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <korva/avi/file.h>

namespace fs = std::filesystem;

namespace {

using Bytes = std::vector<uint8_t>;

bool save(const fs::path& path, uint8_t choice, const Bytes& file) {
    std::ofstream out(path, std::ios::binary);
    out.put(char(choice));
    out.write(reinterpret_cast<const char*>(file.data()), std::streamsize(file.size()));
    return bool(out);
}

Bytes load(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A writer's file of 4x2 frames (or 3x2 16-bit ones) with 8000 Hz 16-bit
// stereo audio, few entries of super index room so that seeds stay small.
Bytes written(const fs::path& scratch, unsigned bits, bool audio, int frames) {
    avi::File file;
    file.open(scratch.c_str(), "w");
    file.setNumSuperIndexEntries(2);
    file.setVideoInfo(bits == 16 ? 3 : 4, 2, 25.0, "", bits);
    if (audio) file.setAudioInfo(8000, 16, 2, 64);
    std::vector<char> frame(bits == 16 ? 16 : 24), sound(64);
    for (int i = 0; i < frames; ++i) {
        for (size_t b = 0; b < frame.size(); ++b) frame[b] = char(i * 31 + int(b));
        for (size_t b = 0; b < sound.size(); ++b) sound[b] = char(i * 7 + int(b) * 3);
        file.writeVideoFrame(frame.data(), unsigned(frame.size()));
        if (audio) file.writeAudio(sound.data());
    }
    file.close();
    Bytes bytes = load(scratch);
    fs::remove(scratch);
    return bytes;
}

// The same file as a killed writer leaves it: no header yet, the last chunk
// cut short.
Bytes killed(Bytes file, size_t headerHole, size_t cut) {
    for (size_t i = 0; i < headerHole && i < file.size(); ++i) file[i] = 0;
    if (cut < file.size()) file.resize(cut);
    return file;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS\n", argv[0]);
        return 2;
    }
    const fs::path corpus = argv[1];
    const fs::path out = corpus / "repair";
    fs::create_directories(out);
    bool ok = true;
    for (const auto& entry : fs::directory_iterator(corpus / "avi_read")) {
        ok &= save(out / entry.path().filename(), 0, load(entry.path()));
    }
    const fs::path scratch = out / "scratch.avi";
    const Bytes whole = written(scratch, 24, true, 6), wide = written(scratch, 16, false, 5);
    // The first chunk head stands where the header ends: find it.
    const auto firstChunk = [](const Bytes& file, const char* id) {
        for (size_t i = 200; i + 4 <= file.size(); ++i)
            if (std::equal(id, id + 4, file.begin() + long(i))) return i;
        return file.size();
    };
    const size_t hole = firstChunk(whole, "00db"), hole16 = firstChunk(wide, "00db");
    ok &= save(out / "healthy-by-command-line.avi", 1, whole);
    ok &= save(out / "killed-before-close.avi", 1, killed(whole, hole, hole + 3 * (32 + 72) + 20));
    ok &= save(out / "killed-in-first-chunk.avi", 1, killed(whole, hole, hole + 12));
    ok &= save(out / "killed-16bit.avi", 2, killed(wide, hole16, wide.size() - 40));
    ok &= save(out / "audio-only-formats.avi", 3, killed(whole, hole, whole.size()));
    if (!ok) {
        std::fprintf(stderr, "cannot write the seeds into %s\n", out.c_str());
        return 1;
    }
    return 0;
}
