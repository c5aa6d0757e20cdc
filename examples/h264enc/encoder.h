// An H.264 Baseline encoder written on the vekvc public interface.
//
// The library does the block-level work: SAD metrics, intra prediction,
// quarter-sample interpolation, forward transform and quantisation, CAVLC
// preparation, the decoder's reconstruction and the loop filter. This
// program keeps what an encoder writer owns: the headers, mode and motion
// decisions, motion vector prediction, the code tables and the bit stream.
//
// One slice per picture, an IDR picture then P pictures that refer to the
// picture before, fixed QP, 8-bit 4:2:0 frames whose sides are multiples of 16.
#pragma once

#include <cstdint>
#include <vector>

#include "../common/h264_tables.h"
#include "bitwriter.h"
#include "vekvc.h"

namespace h264enc {

struct Params {
    int width = 0, height = 0;  // luma samples, multiples of 16
    int qp = 26;                // 0 to 51
    int search_range = 16;      // integer motion search, samples each way
};

// A picture with a border of replicated samples around each plane, so that
// motion search and interpolation may read outside it.
struct Plane {
    int width = 0, height = 0, stride = 0, border = 0;
    std::vector<Vek8u> memory;
    Vek8u* origin = nullptr;
    void allocate(int w, int h, int b);
    Vek8u* at(int x, int y) { return origin + static_cast<std::ptrdiff_t>(y) * stride + x; }
    const Vek8u* at(int x, int y) const { return origin + static_cast<std::ptrdiff_t>(y) * stride + x; }
    void expand();  // replicates the edges into the border
};

struct Frame {
    Plane y, u, v;
    void allocate(int w, int h);
};

// What later macroblocks, the loop filter and the next picture need to know
// of a coded macroblock. Blocks are in raster order, index 4 * y + x.
struct MbInfo {
    bool intra = false;
    bool intra4x4 = false;
    bool skip = false;
    std::int8_t ipred[16];   // Intra 4x4 modes
    std::uint8_t nz[16];     // coefficients per luma block
    std::uint8_t nzc[2][4];  // per chroma AC block
    std::int16_t mv[16][2];  // quarter samples
};

// Chroma QP by luma QP (the encoder sets no chroma offset).
using h264common::kChromaQp;

struct FrameStats {
    bool ok = true;  // false if the library refused a reconstruction step
    bool idr = false;
    std::uint64_t bits = 0;
    int intra_mbs = 0, skip_mbs = 0, inter_mbs = 0;
};

class Encoder {
public:
    explicit Encoder(const Params& params);

    // Encodes one frame (planes of width x height and half that, rows packed)
    // and appends its NAL units (headers first for the first frame).
    FrameStats encode(const Vek8u* y, const Vek8u* u, const Vek8u* v, std::vector<std::uint8_t>& out);

    // The reconstruction of the last frame encoded, as a decoder sees it.
    const Frame& reconstruction() const { return frames_[cur_]; }
    const Params& params() const { return p_; }

private:
    friend struct MbEncoder;
    void write_headers(std::vector<std::uint8_t>& out) const;
    void deblock();

    Params p_;
    int mbw_, mbh_;
    Frame frames_[2];  // current reconstruction and reference, swapped per frame
    int cur_ = 0;
    int frame_num_ = 0;
    long frame_count_ = 0;
    std::vector<MbInfo> mbs_;
    int lambda_ = 1;  // SAD units per bit
    int level_idc_ = 30;
    int max_mv_y_ = 512;  // vertical vector range of the level, in samples
};

// Sum of squared differences between a reconstructed plane and the source
// plane (rows packed), and the PSNR of such a sum over `samples` samples.
std::uint64_t squared_error(const Plane& rec, const Vek8u* src);
double psnr(std::uint64_t sse, std::uint64_t samples);

}  // namespace h264enc
