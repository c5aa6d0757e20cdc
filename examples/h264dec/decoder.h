// An H.264 decoder for progressive CAVLC streams (Baseline, Main, High,
// High 10, High 4:2:2; monochrome, 4:2:0 and 4:2:2; 8 to 10 bits) written on
// the vekvc public interface.
//
// The library does every block-level step: Exp-Golomb and coefficient codes,
// intra prediction and residual reconstruction, interpolation across picture
// edges, weighting and the loop filter. This program does what a codec writer
// keeps for themselves: NAL units and headers, neighbour availability, motion
// vector prediction and direct modes, boundary strengths and filter
// thresholds, reference lists, marking and the picture buffer.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bitreader.h"
#include "vekvc.h"

namespace h264dec {

// Scaling lists as coded (scan order) and how each of the eight was given:
// absent, explicit, or the default list asked for.
struct ScalingLists {
    enum State : std::uint8_t { kAbsent, kExplicit, kDefault };
    State state[8] = {};
    std::uint8_t list4[6][16] = {};
    std::uint8_t list8[2][64] = {};
};

struct Sps {
    bool valid = false;
    int profile_idc = 0, level_idc = 0;
    int chroma_format_idc = 1;
    int bit_depth_luma = 8, bit_depth_chroma = 8;
    bool scaling_present = false;
    ScalingLists scaling;
    int log2_max_frame_num = 4;
    int poc_type = 0;
    int log2_max_poc_lsb = 4;
    bool delta_pic_order_always_zero = false;
    int offset_for_non_ref_pic = 0, offset_for_top_to_bottom_field = 0;
    std::vector<int> offset_for_ref_frame;
    int max_num_ref_frames = 0;
    bool gaps_allowed = false;
    int width_mbs = 0, height_mbs = 0;
    bool direct_8x8_inference = false;
    int crop_left = 0, crop_right = 0, crop_top = 0, crop_bottom = 0;  // in luma samples
    // Chroma subsampling: 0 for monochrome, else 2 or 1.
    int sub_width() const { return chroma_format_idc == 0 ? 0 : 2; }
    int sub_height() const { return chroma_format_idc == 1 ? 2 : chroma_format_idc == 2 ? 1 : 0; }
    bool wide() const { return bit_depth_luma > 8 || bit_depth_chroma > 8; }
    int max_dec_frame_buffering = -1;                                 // -1: not signalled
};

struct Pps {
    bool valid = false;
    int sps_id = 0;
    bool bottom_field_pic_order_in_frame_present = false;
    int num_ref_idx_default[2] = {1, 1};
    bool weighted_pred = false;
    int weighted_bipred_idc = 0;
    int pic_init_qp = 26;
    int chroma_qp_index_offset[2] = {0, 0};  // Cb, Cr
    bool deblocking_filter_control_present = false;
    bool constrained_intra_pred = false;
    bool redundant_pic_cnt_present = false;
    bool transform_8x8_mode = false;
    bool scaling_present = false;
    ScalingLists scaling;
};

// What the rest of the picture (neighbours, loop filter, later pictures'
// direct prediction) needs to know of a decoded macroblock. Blocks are in
// raster order inside the macroblock: index 4 * y + x in 4x4 units.
struct MbInfo {
    bool decoded = false;
    bool intra = false;
    bool pcm = false;
    bool intra_nxn = false;  // Intra 4x4 or Intra 8x8: ipred holds the modes
    bool uniform = false;    // one vector and reference pair over all 16 blocks
    bool transform8x8 = false;
    // Inner edges across which the motion may change: bit 4 * d + e for edge
    // e (1 to 3) of the vertical (d 0) or horizontal (d 1) edges.
    std::uint8_t motion_edges = 0xEE;
    int slice = -1;
    int qp = 0;                 // QP of the loop filter (0 for PCM), without the bit depth offset
    int qpc[2] = {0, 0};        // chroma QPs of the loop filter, Cb and Cr
    std::uint16_t coded = 0;    // luma 4x4 blocks (raster bits) whose transform block has coefficients
    std::uint8_t nz[16];        // coefficient count per luma block
    std::uint8_t nzc[2][8];     // per chroma 4x4 block, raster order of the plane
    std::int8_t ipred[16];
    std::int16_t mv[2][16][2];
    std::int8_t ref[2][4];       // per 8x8 block, -1: list unused
    std::int32_t ref_pic[2][4];  // serial of the picture referenced, -1: none
};

// A frame's planes hold bytes for 8-bit streams and 16-bit samples when
// either bit depth is above 8; plane<T>() gives them their type.
struct Picture {
    int serial = 0;
    int width = 0, height = 0;    // coded size, luma samples
    int cwidth = 0, cheight = 0;  // chroma plane size, 0 for monochrome
    int stride = 0, cstride = 0;  // in samples
    int depth = 8, cdepth = 8;
    bool wide = false;
    std::vector<std::uint8_t> memory;
    std::uint8_t* planes[3] = {};
    template <class P>
    P* plane(int c) const {
        return reinterpret_cast<P*>(planes[c]);
    }
    int poc = 0;
    int frame_num = 0;
    int frame_num_wrap = 0;
    int long_term_idx = 0;
    bool ref_short = false, ref_long = false;
    bool output_needed = false;
    bool idr = false;
    bool mmco5 = false;
    std::vector<MbInfo> mbs;
    bool is_ref() const { return ref_short || ref_long; }
};

struct Weight {
    int w = 1, o = 0;
    bool on = false;
};

struct SliceHeader {
    int nal_ref_idc = 0;
    bool idr = false;
    int first_mb = 0;
    int slice_type = 0;  // 0 P, 1 B, 2 I
    int pps_id = 0;
    int frame_num = 0;
    int idr_pic_id = 0;
    int poc_lsb = 0;
    int delta_poc_bottom = 0;
    int delta_poc[2] = {0, 0};
    bool direct_spatial = false;
    int num_ref_idx[2] = {0, 0};
    int qp = 26;
    int disable_deblocking = 0;
    int alpha_offset = 0, beta_offset = 0;
    int qp_bd_offset = 0;  // 6 * (luma bit depth - 8): QP runs from minus this to 51
    // Weighted prediction (explicit tables).
    int luma_log2_denom = 0, chroma_log2_denom = 0;
    Weight luma_weight[2][32];
    Weight chroma_weight[2][32][2];
    // Reference marking.
    bool long_term_reference = false;
    bool adaptive_marking = false;
    struct Mmco {
        int op, a, b;
    };
    std::vector<Mmco> mmcos;
    // Reference list modification.
    struct Mod {
        int idc, value;
    };
    std::vector<Mod> mods[2];
};

class Decoder {
public:
    Decoder();
    ~Decoder();
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    // Called with every picture in output order.
    std::function<void(const Picture&, const Sps&)> on_output;

    // Decodes one NAL unit (start code removed). False on an error that makes
    // the stream undecodable; error() says why.
    bool decode_nal(const std::uint8_t* data, std::size_t size);
    // Finishes the last picture and outputs everything that waits.
    bool flush();
    const std::string& error() const { return error_; }

private:
    friend struct SliceDecoder;
    bool fail(const std::string& why);
    bool parse_sps(BitReader& br);
    bool parse_pps(BitReader& br);
    bool decode_slice(BitReader& br, int nal_type, int nal_ref_idc);
    bool parse_slice_header(BitReader& br, SliceHeader& sh, int nal_type, int nal_ref_idc);
    bool start_picture(const SliceHeader& sh);
    bool finish_picture();
    void compute_poc(const SliceHeader& sh);
    bool build_ref_lists(const SliceHeader& sh);
    bool mark_references();
    void store_and_bump();
    void bump_one();
    void output_all();
    int dpb_capacity() const;
    void deblock_picture();

    std::string error_;
    Sps sps_[32];
    Pps pps_[256];
    const Sps* sps_active_ = nullptr;
    const Pps* pps_active_ = nullptr;

    std::vector<std::unique_ptr<Picture>> dpb_;  // reference and waiting-for-output pictures
    std::vector<std::unique_ptr<Picture>> free_;
    std::unique_ptr<Picture> cur_;
    SliceHeader first_sh_;  // first slice of the current picture
    SliceHeader sh_;        // current slice
    std::vector<SliceHeader> slices_;  // per slice number: what the loop filter needs
    int slice_num_ = 0;
    int next_serial_ = 1;

    // POC state.
    int prev_poc_msb_ = 0, prev_poc_lsb_ = 0;
    int prev_frame_num_offset_ = 0, prev_frame_num_ = 0;
    bool prev_ref_had_mmco5_ = false;
    int max_long_term_idx_ = -1;  // -1: no long-term frame index allowed
    int cur_top_minus_poc_ = 0;

    std::vector<Picture*> ref_list_[2];
    // Implicit bi-prediction weights per (refIdxL0, refIdxL1), 32 x 32.
    std::vector<std::int16_t> implicit_w_;
    // Level scale tables of the active parameter sets: entry k of a block
    // is weightScale[k] * normAdjust[QP % 6][k], raster order. 4x4 lists:
    // Intra Y, Cb, Cr, Inter Y, Cb, Cr; 8x8 lists: Intra Y, Inter Y.
    Vek16s level4_[6][6][16];
    Vek16s level8_[2][6][64];
    // Streams that need nothing of the High tools keep to the plain 8-bit
    // macroblock functions.
    bool plain_8bit_ = true;
    bool scales_stale_ = true;  // a parameter set arrived since the tables were built
    void build_level_scales();

    // CAVLC tables built from the standard's code lists.
    Vek32s* coeff_token_[3] = {};
    Vek32s* coeff_token_chroma_dc_ = nullptr;
    Vek32s* total_zeros_[16] = {};
    Vek32s* total_zeros_chroma_dc_[4] = {};
    Vek32s* coeff_token_chroma_dc422_ = nullptr;
    Vek32s* total_zeros_chroma_dc422_[8] = {};
    Vek32s* run_before_[16] = {};
};

// Feeds an Annex B byte stream (NAL units after 00 00 01 start codes) to the
// decoder and flushes it. False at the first error.
bool decode_annexb(Decoder& decoder, const std::uint8_t* stream, std::size_t size);

// The cropped frame as planar bytes: Y, then Cb, then Cr (none for
// monochrome); samples above 8 bits as 16-bit little-endian words.
void crop_frame(const Picture& pic, const Sps& sps, std::vector<std::uint8_t>& out, int& width, int& height);

}  // namespace h264dec
