// Deinterlaces raw 8-bit planar YUV 4:2:0 video with one of the library's
// methods, plane by plane, built on the public header alone.
//
//   deinterlace IN.yuv OUT.yuv WIDTH HEIGHT tff|bff [edge|median|blend|motion|triangle]
//
// The field that comes first in time (top for tff, bottom for bff) is kept and
// the other one rebuilt. The methods that look at neighbouring frames repeat
// the first and the last frame at the ends of the sequence.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vekvc.h"

namespace {

enum class Method { kEdge, kMedian, kBlend, kMotion, kTriangle };

struct Plane {
    int width, height, offset;  // offset of the plane in a frame
};

// Frames [index - 1, index + 2], clamped to the sequence.
const Vek8u* frame_at(const std::vector<Vek8u>& video, std::size_t frame_bytes, long count, long index) {
    if (index < 0) index = 0;
    if (index >= count) index = count - 1;
    return video.data() + static_cast<std::size_t>(index) * frame_bytes;
}

// Rebuilds the other field of one plane of frame n into `out`, which already
// holds a copy of the frame. Returns the library's status.
VekStatus deinterlace_plane(Method method, bool keep_top, const Plane& p, const std::vector<Vek8u>& video,
                            std::size_t frame_bytes, long count, long n, Vek8u* out,
                            DeinterlaceBlendState* blend_state) {
    const Vek32s step = p.width;
    const VekRoi roi{p.width, p.height};
    const auto plane_of = [&](long index) { return frame_at(video, frame_bytes, count, index) + p.offset; };
    const Vek8u* cur = plane_of(n);
    const Vek32s top_field = keep_top ? 0 : 1;  // the parity the blend and the motion filter leave alone
    switch (method) {
        case Method::kEdge: {
            // Work on the kept field, rows two apart, writing the missing rows
            // between them. A missing row at the picture's edge copies its
            // neighbour; with an odd height the last missing row of the bottom
            // field keeps the frame's own.
            const VekRoi missing{p.width, p.height / 2};
            if (keep_top)
                return vekiDeinterlaceEdgeDetect_8u_C1R(cur, 2 * step, out + step, 2 * step, missing, 1,
                                                        p.height % 2 == 0);
            return vekiDeinterlaceEdgeDetect_8u_C1R(cur + step, 2 * step, out, 2 * step, missing, 0, 1);
        }
        case Method::kMedian:
            return vekiDeinterlaceMedianThreshold_8u_C1R(cur, step, out, step, roi, 12, keep_top ? 1 : 0, 1);
        case Method::kBlend: {
            const Vek8u* const frames[3] = {plane_of(n - 1), cur, plane_of(n + 1)};
            return vekiDeinterlaceBlend_8u_C1(frames, step, out, step, roi, top_field, top_field, 1, blend_state);
        }
        case Method::kMotion: {
            const Vek8u* const frames[4] = {plane_of(n - 1), cur, plane_of(n + 1), plane_of(n + 2)};
            return vekiDeinterlaceMotionAdaptive_8u_C1(frames, step, out, step, roi, 12, top_field, top_field, 1, 1);
        }
        case Method::kTriangle:
            return vekiDeinterlaceFilterTriangle_8u_C1R(cur, step, out, step, roi, 128, 0);
    }
    return vekStsBadArgErr;
}

int usage() {
    std::fprintf(stderr,
                 "usage: deinterlace IN.yuv OUT.yuv WIDTH HEIGHT tff|bff [edge|median|blend|motion|triangle]\n"
                 "  8-bit planar YUV 4:2:0, even width and height of at least 6\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 6 || argc > 7) return usage();
    const int width = std::atoi(argv[3]), height = std::atoi(argv[4]);
    const std::string order = argv[5], name = argc == 7 ? argv[6] : "blend";
    if (width < 6 || height < 6 || (width | height) & 1 || (order != "tff" && order != "bff")) return usage();
    const char* kNames[] = {"edge", "median", "blend", "motion", "triangle"};
    int method_index = -1;
    for (int i = 0; i < 5; ++i)
        if (name == kNames[i]) method_index = i;
    if (method_index < 0) return usage();
    const auto method = static_cast<Method>(method_index);

    const Plane planes[3] = {{width, height, 0},
                             {width / 2, height / 2, width * height},
                             {width / 2, height / 2, width * height + (width / 2) * (height / 2)}};
    const std::size_t frame_bytes = static_cast<std::size_t>(width) * height * 3 / 2;

    std::FILE* in = std::fopen(argv[1], "rb");
    if (!in) {
        std::perror(argv[1]);
        return 1;
    }
    std::vector<Vek8u> video;
    std::vector<Vek8u> chunk(frame_bytes);
    while (std::fread(chunk.data(), 1, frame_bytes, in) == frame_bytes)
        video.insert(video.end(), chunk.begin(), chunk.end());
    std::fclose(in);
    const long count = static_cast<long>(video.size() / frame_bytes);
    if (count == 0) {
        std::fprintf(stderr, "%s: no whole frame of %dx%d\n", argv[1], width, height);
        return 1;
    }

    // One blend state per plane size; the weights ramp from motion 8 (median
    // alone) to motion 32 (edge-directed alone).
    DeinterlaceBlendState* states[2] = {nullptr, nullptr};
    for (int i = 0; i < 2; ++i) {
        Vek32s thresholds[2] = {8, 32};
        double weights[2] = {0.0, 1.0};
        if (vekiDeinterlaceBlendInitAlloc_8u_C1(VekRoi{planes[i].width, planes[i].height}, thresholds, weights,
                                                &states[i]) != vekStsOk) {
            std::fprintf(stderr, "blend state: out of memory\n");
            return 1;
        }
    }

    std::FILE* out = std::fopen(argv[2], "wb");
    if (!out) {
        std::perror(argv[2]);
        return 1;
    }
    std::vector<Vek8u> result(frame_bytes);
    int status = 0;
    for (long n = 0; n < count && status == 0; ++n) {
        std::memcpy(result.data(), frame_at(video, frame_bytes, count, n), frame_bytes);
        for (int i = 0; i < 3 && status == 0; ++i) {
            const VekStatus st = deinterlace_plane(method, order == "tff", planes[i], video, frame_bytes, count, n,
                                                   result.data() + planes[i].offset, states[i == 0 ? 0 : 1]);
            if (st != vekStsOk) {
                std::fprintf(stderr, "frame %ld plane %d: status %d\n", n, i, st);
                status = 1;
            }
        }
        if (std::fwrite(result.data(), 1, frame_bytes, out) != frame_bytes) {
            std::perror(argv[2]);
            status = 1;
        }
    }
    if (std::fclose(out) != 0) status = 1;
    for (auto* s : states) vekiDeinterlaceBlendFree_8u_C1(s);
    if (status == 0) std::printf("%ld frames, %s, %s\n", count, order.c_str(), kNames[method_index]);
    return status;
}
