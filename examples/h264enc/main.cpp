// h264enc IN.yuv WIDTH HEIGHT -o OUT.264 [--qp N] [--frames N] [--recon RECON.yuv]
//
// Encodes raw 8-bit 4:2:0 planar frames into an H.264 Baseline Annex B
// stream. --recon writes the encoder's reconstruction, which is what any
// decoder gives back. A summary goes to standard error.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "encoder.h"

namespace {

int usage() {
    std::fprintf(stderr,
                 "usage: h264enc IN.yuv WIDTH HEIGHT -o OUT.264 [--qp N] [--frames N] [--recon RECON.yuv]\n"
                 "       WIDTH and HEIGHT multiples of 16, QP 0 to 51 (default 26)\n");
    return 2;
}

bool number(const char* s, int& out) {
    char* end = nullptr;
    const long v = std::strtol(s, &end, 10);
    if (!*s || *end || v < 0 || v > 1 << 20) return false;
    out = static_cast<int>(v);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const char* input = nullptr;
    const char* output = nullptr;
    const char* recon = nullptr;
    h264enc::Params params;
    int max_frames = -1;
    int positional = 0;
    for (int i = 1; i < argc; ++i) {
        const bool has_value = i + 1 < argc;
        if (!std::strcmp(argv[i], "-o") && has_value) {
            output = argv[++i];
        } else if (!std::strcmp(argv[i], "--recon") && has_value) {
            recon = argv[++i];
        } else if (!std::strcmp(argv[i], "--qp") && has_value) {
            if (!number(argv[++i], params.qp) || params.qp > 51) return usage();
        } else if (!std::strcmp(argv[i], "--frames") && has_value) {
            if (!number(argv[++i], max_frames)) return usage();
        } else if (argv[i][0] == '-' && argv[i][1]) {
            return usage();
        } else if (positional == 0) {
            input = argv[i];
            ++positional;
        } else if (positional == 1 || positional == 2) {
            if (!number(argv[i], positional == 1 ? params.width : params.height)) return usage();
            ++positional;
        } else {
            return usage();
        }
    }
    if (positional != 3 || !output || params.width < 16 || params.height < 16 || params.width % 16 ||
        params.height % 16)
        return usage();

    std::FILE* in = std::fopen(input, "rb");
    if (!in) {
        std::fprintf(stderr, "h264enc: cannot open %s\n", input);
        return 1;
    }
    std::FILE* out = std::fopen(output, "wb");
    std::FILE* rec_out = recon ? std::fopen(recon, "wb") : nullptr;
    if (!out || (recon && !rec_out)) {
        std::fprintf(stderr, "h264enc: cannot write %s\n", !out ? output : recon);
        return 1;
    }

    const std::size_t luma = static_cast<std::size_t>(params.width) * params.height, chroma = luma / 4;
    std::vector<Vek8u> frame(luma + 2 * chroma);
    h264enc::Encoder encoder(params);
    std::vector<std::uint8_t> stream;
    std::uint64_t sse[3] = {0, 0, 0}, bits = 0;
    long frames = 0;
    bool ok = true;
    const auto start = std::chrono::steady_clock::now();
    while ((max_frames < 0 || frames < max_frames) && std::fread(frame.data(), 1, frame.size(), in) == frame.size()) {
        const Vek8u* y = frame.data();
        const Vek8u* u = y + luma;
        const Vek8u* v = u + chroma;
        stream.clear();
        const h264enc::FrameStats st = encoder.encode(y, u, v, stream);
        ok &= st.ok;
        bits += st.bits;
        std::fwrite(stream.data(), 1, stream.size(), out);
        const h264enc::Frame& rec = encoder.reconstruction();
        sse[0] += h264enc::squared_error(rec.y, y);
        sse[1] += h264enc::squared_error(rec.u, u);
        sse[2] += h264enc::squared_error(rec.v, v);
        if (rec_out) {
            for (const h264enc::Plane* p : {&rec.y, &rec.u, &rec.v})
                for (int row = 0; row < p->height; ++row) std::fwrite(p->at(0, row), 1, p->width, rec_out);
        }
        ++frames;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::fclose(in);
    std::fclose(out);
    if (rec_out) std::fclose(rec_out);
    if (!frames) {
        std::fprintf(stderr, "h264enc: no complete frame in %s\n", input);
        return 1;
    }
    if (!ok) std::fprintf(stderr, "h264enc: the library refused a reconstruction step\n");
    std::fprintf(stderr,
                 "h264enc: %ld frames, %llu bits, %.2f kbit/s at 25 fps, PSNR Y %.2f U %.2f V %.2f dB, "
                 "%.1f frames per second\n",
                 frames, static_cast<unsigned long long>(bits), bits * 25.0 / frames / 1000.0,
                 h264enc::psnr(sse[0], luma * frames), h264enc::psnr(sse[1], chroma * frames),
                 h264enc::psnr(sse[2], chroma * frames), seconds > 0 ? frames / seconds : 0.0);
    return ok ? 0 : 1;
}
