#include "info_json.h"

#include <cstdio>
#include <string>

#include <sys/stat.h>

#include <korva/korva.h>

#include "repair/chunk_scan.h"

namespace {

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += char(c);
        } else if (c < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
        } else {
            out += char(c);
        }
    }
    return out + "\"";
}

// OpenDML first: its indexes are the ones a reader of a large file uses.
const char* indexName(const korva::repair::ScanResult& scan) {
    if (scan.openDMLIndexes > 0) return "opendml";
    switch (scan.index) {
    case korva::repair::IndexKind::OpenDML: return "opendml";
    case korva::repair::IndexKind::Idx1Relative: return "idx1";
    case korva::repair::IndexKind::Idx1Absolute: return "idx1-absolute";
    case korva::repair::IndexKind::Idx1Unusable: return "idx1-unusable";
    default: return "none";
    }
}

} // namespace

int printInfoJson(const char* path) {
    avi::File file;
    if (!file.open(path, "rb")) {
        std::printf("{\n  \"error\": {\n    \"code\": %d,\n    \"text\": %s\n  }\n}\n", int(file.getErrorCode()),
                    quoted(file.getErrorMsg()).c_str());
        return 1;
    }
    // The layout facts come from a walk over the chunks, as repair makes it.
    korva::repair::StreamFormats formats;
    if (file.hasVideo()) {
        korva::repair::VideoFormat video;
        video.width = file.getVideoWidth();
        video.height = file.getVideoHeight();
        video.bits = file.getVideoBitsPerPixel();
        if (file.isVideoCompressed()) video.fourcc = file.getVideoFourCC();
        formats.video = video;
    }
    korva::repair::ScanResult scan;
    try {
        scan = korva::repair::scanChunks(path, formats);
    } catch (const std::exception&) {
    }
    struct stat status;
    const unsigned long long size = stat(path, &status) == 0 ? (unsigned long long)status.st_size : 0;

    std::string streams;
    int count = 0;
    if (file.hasVideo()) {
        char text[512];
        std::snprintf(text, sizeof text,
                      "    {\n      \"index\": %d,\n      \"codec_type\": \"video\",\n      \"codec_tag_string\": %s,\n"
                      "      \"width\": %u,\n      \"height\": %u,\n      \"bits_per_pixel\": %u,\n"
                      "      \"r_frame_rate\": \"%u/%u\",\n      \"nb_frames\": %lld\n    }",
                      count++, quoted(file.getVideoFourCC()).c_str(), file.getVideoWidth(), file.getVideoHeight(),
                      file.getVideoBitsPerPixel(), file.getVideoStreamRate(), file.getVideoStreamScale(),
                      (long long)file.getVideoTotalFrames());
        streams += text;
    }
    if (file.hasAudio()) {
        char text[512];
        const unsigned frameBytes = unsigned(file.getAudioNumberOfChannels()) * (file.getAudioBitsPerSample() / 8u);
        std::snprintf(text, sizeof text,
                      "%s    {\n      \"index\": %d,\n      \"codec_type\": \"audio\",\n      \"codec_name\": %s,\n"
                      "      \"sample_rate\": %u,\n      \"channels\": %u,\n      \"bits_per_sample\": %u,\n"
                      "      \"nb_frames\": %llu\n    }",
                      count ? ",\n" : "", count, file.isAudioCompressed() ? "\"compressed\"" : "\"pcm\"",
                      file.getAudioSampleRate(), file.getAudioNumberOfChannels(), file.getAudioBitsPerSample(),
                      frameBytes ? (unsigned long long)(file.getAudioTotalBytes() / frameBytes) : 0ull);
        ++count;
        streams += text;
    }
    std::printf("{\n  \"streams\": [\n%s\n  ],\n  \"format\": {\n    \"filename\": %s,\n    \"size\": %llu,\n"
                "    \"nb_streams\": %d,\n    \"riff_segments\": %u,\n    \"index\": \"%s\"",
                streams.c_str(), quoted(path).c_str(), size, count, scan.riffChunks, indexName(scan));
    if (file.getErrorCode() != avi::errors::NO_ERROR) {
        std::printf(",\n    \"warning\": {\n      \"code\": %d,\n      \"text\": %s\n    }", int(file.getErrorCode()),
                    quoted(file.getErrorMsg()).c_str());
    }
    std::printf("\n  }\n}\n");
    return 0;
}
