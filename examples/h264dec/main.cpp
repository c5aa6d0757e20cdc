// h264dec INPUT.264 [-o out.yuv] [--framemd5]
//
// Decodes an H.264 Annex B byte stream and writes the frames in display
// order as raw planar YUV, cropped; --framemd5 prints one checksum line per
// frame. A summary goes to standard error.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "decoder.h"
#include "md5.h"

namespace {

int usage() {
    std::fprintf(stderr, "usage: h264dec INPUT.264 [-o out.yuv] [--framemd5]\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    const char* input = nullptr;
    const char* output = nullptr;
    bool framemd5 = false;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "-o") && i + 1 < argc) {
            output = argv[++i];
        } else if (!std::strcmp(argv[i], "--framemd5")) {
            framemd5 = true;
        } else if (argv[i][0] == '-' || input) {
            return usage();
        } else {
            input = argv[i];
        }
    }
    if (!input) return usage();
    std::ifstream in(input, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "h264dec: cannot open %s\n", input);
        return 1;
    }
    in.seekg(0, std::ios::end);
    std::vector<std::uint8_t> stream(static_cast<std::size_t>(std::max<std::streamoff>(in.tellg(), 0)));
    in.seekg(0, std::ios::beg);
    in.read(reinterpret_cast<char*>(stream.data()), static_cast<std::streamsize>(stream.size()));
    stream.resize(static_cast<std::size_t>(in.gcount()));
    std::FILE* out = nullptr;
    if (output && !(out = std::fopen(output, "wb"))) {
        std::fprintf(stderr, "h264dec: cannot write %s\n", output);
        return 1;
    }

    h264dec::Decoder decoder;
    long frames = 0;
    std::vector<std::uint8_t> frame;
    decoder.on_output = [&](const h264dec::Picture& pic, const h264dec::Sps& sps) {
        ++frames;
        if (!framemd5 && !out) return;
        int w = 0, h = 0;
        h264dec::crop_frame(pic, sps, frame, w, h);
        if (framemd5) {
            if (frames == 1)
                std::printf("#format: frame checksums\n#version: 2\n#hash: MD5\n#tb 0: 1/25\n#media_type 0: video\n"
                            "#codec_id 0: rawvideo\n#dimensions 0: %dx%d\n#sar 0: 1/1\n"
                            "#stream#, dts,        pts, duration,     size, hash\n",
                            w, h);
            h264dec::Md5 md5;
            md5.update(frame.data(), frame.size());
            std::printf("0, %10ld, %10ld, %8d, %8zu, %s\n", frames - 1, frames - 1, 1, frame.size(),
                        md5.hex().c_str());
        }
        if (out) std::fwrite(frame.data(), 1, frame.size(), out);
    };

    const auto start = std::chrono::steady_clock::now();
    const bool ok = h264dec::decode_annexb(decoder, stream.data(), stream.size());
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (out) std::fclose(out);
    std::fflush(stdout);
    if (!ok) std::fprintf(stderr, "h264dec: %s\n", decoder.error().c_str());
    std::fprintf(stderr, "h264dec: %ld frames in %.3f s, %.1f frames per second\n", frames, seconds,
                 seconds > 0 ? frames / seconds : 0.0);
    return ok ? 0 : 1;
}
