// Parameter sets, slice headers, picture order counts, reference lists,
// reference marking and the picture buffer with output in display order.
#include "decoder.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

#include "slice_data.h"

namespace h264dec {

namespace {

#include "cavlc_tables.inc"

Vek32s* build_table(const Vek32s* list) {
    Vek32s* table = nullptr;
    if (vekiHuffmanTableInitAlloc_32s(list, &table) != vekStsOk) return nullptr;
    return table;
}

// Largest picture buffer in macroblocks by level (Table A-1), for streams
// that do not say how many frames they need.
int max_dpb_mbs(int level_idc) {
    switch (level_idc) {
    case 9: case 10: return 396;
    case 11: return 900;
    case 12: case 13: case 20: return 2376;
    case 21: return 4752;
    case 22: case 30: return 8100;
    case 31: return 18000;
    case 32: return 20480;
    case 40: case 41: return 32768;
    case 42: return 34816;
    case 50: return 110400;
    default: return 184320;
    }
}

// Scan position to raster place in 4x4 and 8x8 blocks (frame scans).
constexpr int kZigzag4x4[16] = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};
constexpr int kZigzag8x8[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// The standard's default scaling lists, scan order.
constexpr std::uint8_t kDefault4x4[2][16] = {
    {6, 13, 13, 20, 20, 20, 28, 28, 28, 28, 32, 32, 32, 37, 37, 42},
    {10, 14, 14, 20, 20, 20, 24, 24, 24, 24, 27, 27, 27, 30, 30, 34}};
constexpr std::uint8_t kDefault8x8[2][64] = {
    {6,  10, 10, 13, 11, 13, 16, 16, 16, 16, 18, 18, 18, 18, 18, 23, 23, 23, 23, 23, 23, 25,
     25, 25, 25, 25, 25, 25, 27, 27, 27, 27, 27, 27, 27, 27, 29, 29, 29, 29, 29, 29, 29, 31,
     31, 31, 31, 31, 31, 33, 33, 33, 33, 33, 36, 36, 36, 36, 38, 38, 38, 40, 40, 42},
    {9,  13, 13, 15, 13, 15, 17, 17, 17, 17, 19, 19, 19, 19, 19, 21, 21, 21, 21, 21, 21, 22,
     22, 22, 22, 22, 22, 22, 24, 24, 24, 24, 24, 24, 24, 24, 25, 25, 25, 25, 25, 25, 25, 27,
     27, 27, 27, 27, 27, 28, 28, 28, 28, 28, 30, 30, 30, 30, 32, 32, 32, 33, 33, 35}};

// normAdjust by QP % 6 for the three classes of 4x4 positions and the six of 8x8.
constexpr int kNormAdjust4x4[6][3] = {{10, 16, 13}, {11, 18, 14}, {13, 20, 16},
                                      {14, 23, 18}, {16, 25, 20}, {18, 29, 23}};
constexpr int kNormAdjust8x8[6][6] = {{20, 18, 32, 19, 25, 24}, {22, 19, 35, 21, 28, 26},
                                      {26, 23, 42, 24, 33, 31}, {28, 25, 45, 26, 35, 33},
                                      {32, 28, 51, 30, 40, 38}, {36, 32, 58, 34, 46, 43}};

int norm_class4x4(int i, int j) { return (i % 2 == 0 && j % 2 == 0) ? 0 : (i % 2 == 1 && j % 2 == 1) ? 1 : 2; }
int norm_class8x8(int i, int j) {
    if (i % 4 == 0 && j % 4 == 0) return 0;
    if (i % 2 == 1 && j % 2 == 1) return 1;
    if (i % 4 == 2 && j % 4 == 2) return 2;
    if ((i % 4 == 0 && j % 2 == 1) || (i % 2 == 1 && j % 4 == 0)) return 3;
    if ((i % 4 == 0 && j % 4 == 2) || (i % 4 == 2 && j % 4 == 0)) return 4;
    return 5;
}

// One scaling list; a first delta that lands on 0 asks for the default list.
void parse_scaling_list(BitReader& br, std::uint8_t* list, int size, ScalingLists::State& state) {
    int last = 8, next = 8;
    state = ScalingLists::kExplicit;
    for (int j = 0; j < size && !br.bad(); ++j) {
        if (next != 0) {
            const int delta = br.se();
            if (delta < -128 || delta > 127) br.mark_bad();
            next = (last + delta + 256) & 255;
            if (j == 0 && next == 0) {
                state = ScalingLists::kDefault;
                return;
            }
        }
        list[j] = static_cast<std::uint8_t>(next == 0 ? last : next);
        last = list[j];
    }
}

void parse_scaling_lists(BitReader& br, ScalingLists& s, int count) {
    for (int i = 0; i < count; ++i) {
        s.state[i] = ScalingLists::kAbsent;
        if (br.flag()) parse_scaling_list(br, i < 6 ? s.list4[i] : s.list8[i - 6], i < 6 ? 16 : 64, s.state[i]);
    }
}

// The eight lists in force at one level. An absent list falls back to the
// default (sequence level) or to the sequence's list (picture level) for the
// first list of each kind, to the list before it otherwise.
struct Weights {
    std::uint8_t w4[6][16];
    std::uint8_t w8[2][64];
};

Weights resolve_weights(const ScalingLists& s, const Weights* sequence) {
    Weights w;
    for (int i = 0; i < 6; ++i) {
        const int kind = i < 3 ? 0 : 1;
        const std::uint8_t* src = s.list4[i];
        if (s.state[i] == ScalingLists::kDefault) src = kDefault4x4[kind];
        if (s.state[i] == ScalingLists::kAbsent)
            src = (i % 3) ? w.w4[i - 1] : sequence ? sequence->w4[i] : kDefault4x4[kind];
        std::memcpy(w.w4[i], src, 16);
    }
    for (int i = 0; i < 2; ++i) {
        const std::uint8_t* src = s.list8[i];
        if (s.state[6 + i] == ScalingLists::kDefault) src = kDefault8x8[i];
        if (s.state[6 + i] == ScalingLists::kAbsent) src = sequence ? sequence->w8[i] : kDefault8x8[i];
        std::memcpy(w.w8[i], src, 64);
    }
    return w;
}

void skip_hrd(BitReader& br) {
    const std::uint32_t count = br.ue_max(31) + 1;
    br.bits(8);
    for (std::uint32_t i = 0; i < count && !br.bad(); ++i) {
        br.ue();
        br.ue();
        br.bits(1);
    }
    br.bits(20);
}

}  // namespace

Decoder::Decoder() {
    coeff_token_[0] = build_table(kCoeffTokenNc0);
    coeff_token_[1] = build_table(kCoeffTokenNc2);
    coeff_token_[2] = build_table(kCoeffTokenNc4);
    coeff_token_chroma_dc_ = build_table(kCoeffTokenChromaDc);
    coeff_token_chroma_dc422_ = build_table(kCoeffTokenChromaDc422);
    for (int t = 1; t < 16; ++t) total_zeros_[t] = build_table(kTotalZerosLists[t]);
    for (int t = 1; t < 4; ++t) total_zeros_chroma_dc_[t] = build_table(kTotalZerosChromaDcLists[t]);
    for (int t = 1; t < 8; ++t) total_zeros_chroma_dc422_[t] = build_table(kTotalZerosChromaDc422Lists[t]);
    // Run-before codes for 7 and more zeros left are one table.
    for (int z = 1; z < 7; ++z) run_before_[z] = build_table(kRunBeforeLists[z]);
    run_before_[7] = build_table(kRunBeforeLists[7]);
    for (int z = 8; z < 16; ++z) run_before_[z] = run_before_[7];
    implicit_w_.assign(32 * 32, 32);
}

Decoder::~Decoder() {
    for (Vek32s* t : coeff_token_) vekiHuffmanTableFree_32s(t);
    vekiHuffmanTableFree_32s(coeff_token_chroma_dc_);
    vekiHuffmanTableFree_32s(coeff_token_chroma_dc422_);
    for (int t = 1; t < 16; ++t) vekiHuffmanTableFree_32s(total_zeros_[t]);
    for (int t = 1; t < 4; ++t) vekiHuffmanTableFree_32s(total_zeros_chroma_dc_[t]);
    for (int t = 1; t < 8; ++t) vekiHuffmanTableFree_32s(total_zeros_chroma_dc422_[t]);
    for (int z = 1; z < 8; ++z) vekiHuffmanTableFree_32s(run_before_[z]);
}

bool Decoder::fail(const std::string& why) {
    if (error_.empty()) error_ = why;
    return false;
}

bool Decoder::decode_nal(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return true;
    const int forbidden = data[0] >> 7;
    const int nal_ref_idc = (data[0] >> 5) & 3;
    const int nal_type = data[0] & 31;
    if (forbidden) return fail("NAL unit with forbidden_zero_bit set");
    Payload payload;
    payload.assign(data + 1, size - 1);
    BitReader br(payload);
    switch (nal_type) {
    case 1:
    case 5:
        return decode_slice(br, nal_type, nal_ref_idc);
    case 2: case 3: case 4:
        return fail("unsupported feature: data partitioning (NAL unit types 2 to 4)");
    case 7:
        return parse_sps(br);
    case 8:
        return parse_pps(br);
    case 20: case 21:
        return fail("unsupported feature: scalable or multiview extension NAL units");
    default:
        return true;  // SEI, access unit delimiters, end of sequence and filler carry no pictures
    }
}

bool Decoder::parse_sps(BitReader& br) {
    Sps s;
    s.profile_idc = static_cast<int>(br.bits(8));
    br.bits(8);  // constraint flags
    s.level_idc = static_cast<int>(br.bits(8));
    const std::uint32_t id = br.ue();
    if (id > 31) return fail("sequence parameter set id out of range");
    static constexpr int kHighProfiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    if (std::find(std::begin(kHighProfiles), std::end(kHighProfiles), s.profile_idc) != std::end(kHighProfiles)) {
        s.chroma_format_idc = static_cast<int>(br.ue());
        if (s.chroma_format_idc == 3) return fail("unsupported feature: 4:4:4 chroma (chroma_format_idc 3)");
        if (s.chroma_format_idc > 3) return fail("damaged sequence parameter set");
        const std::uint32_t depth_luma = br.ue() + 8, depth_chroma = br.ue() + 8;
        if (depth_luma > 10 || depth_chroma > 10)
            return fail("unsupported feature: bit depth " + std::to_string(std::max(depth_luma, depth_chroma)) +
                        " (8 to 10 only)");
        s.bit_depth_luma = static_cast<int>(depth_luma);
        s.bit_depth_chroma = static_cast<int>(depth_chroma);
        if (br.flag()) return fail("unsupported feature: lossless transform bypass");
        s.scaling_present = br.flag();
        if (s.scaling_present) parse_scaling_lists(br, s.scaling, 8);
    }
    s.log2_max_frame_num = static_cast<int>(br.ue_max(12)) + 4;
    s.poc_type = static_cast<int>(br.ue_max(2));
    if (s.poc_type == 0) {
        s.log2_max_poc_lsb = static_cast<int>(br.ue_max(12)) + 4;
    } else if (s.poc_type == 1) {
        s.delta_pic_order_always_zero = br.flag();
        s.offset_for_non_ref_pic = br.se();
        s.offset_for_top_to_bottom_field = br.se();
        const std::uint32_t n = br.ue_max(255);
        for (std::uint32_t i = 0; i < n && !br.bad(); ++i) s.offset_for_ref_frame.push_back(br.se());
    }
    s.max_num_ref_frames = static_cast<int>(br.ue_max(16));
    s.gaps_allowed = br.flag();
    s.width_mbs = static_cast<int>(br.ue_max(1023)) + 1;
    s.height_mbs = static_cast<int>(br.ue_max(1023)) + 1;
    const bool frame_mbs_only = br.flag();
    if (!frame_mbs_only) return fail("unsupported feature: interlaced coding (frame_mbs_only_flag 0)");
    s.direct_8x8_inference = br.flag();
    if (br.flag()) {
        const int unit_x = s.chroma_format_idc ? s.sub_width() : 1, unit_y = s.chroma_format_idc ? s.sub_height() : 1;
        s.crop_left = static_cast<int>(br.ue_max(8192)) * unit_x;
        s.crop_right = static_cast<int>(br.ue_max(8192)) * unit_x;
        s.crop_top = static_cast<int>(br.ue_max(8192)) * unit_y;
        s.crop_bottom = static_cast<int>(br.ue_max(8192)) * unit_y;
    }
    if (br.flag()) {  // VUI: only the buffering limit matters here
        if (br.flag() && br.bits(8) == 255) br.bits(32);
        if (br.flag()) br.bits(1);
        if (br.flag()) {
            br.bits(4);
            if (br.flag()) br.bits(24);
        }
        if (br.flag()) {
            br.ue();
            br.ue();
        }
        if (br.flag()) {
            br.bits(32);
            br.bits(32);
            br.bits(1);
        }
        const bool nal_hrd = br.flag();
        if (nal_hrd) skip_hrd(br);
        const bool vcl_hrd = br.flag();
        if (vcl_hrd) skip_hrd(br);
        if (nal_hrd || vcl_hrd) br.bits(1);
        br.bits(1);
        if (br.flag()) {
            br.bits(1);
            for (int i = 0; i < 5; ++i) br.ue();
            s.max_dec_frame_buffering = static_cast<int>(br.ue_max(16));
        }
    }
    if (br.bad()) return fail("damaged sequence parameter set");
    // The largest frame of any level up to 5.2; larger is a damaged header.
    if (s.width_mbs * s.height_mbs > 36864) return fail("picture larger than 36864 macroblocks");
    const long long w = s.width_mbs * 16LL, h = s.height_mbs * 16LL;
    if (s.crop_left + s.crop_right >= w || s.crop_top + s.crop_bottom >= h)
        return fail("cropping window is empty");
    s.valid = true;
    sps_[id] = s;
    scales_stale_ = true;
    return true;
}

bool Decoder::parse_pps(BitReader& br) {
    Pps p;
    const std::uint32_t id = br.ue();
    if (id > 255) return fail("picture parameter set id out of range");
    p.sps_id = static_cast<int>(br.ue());
    if (p.sps_id > 31) return fail("sequence parameter set id out of range");
    if (br.flag()) return fail("unsupported feature: CABAC entropy coding (entropy_coding_mode_flag 1)");
    p.bottom_field_pic_order_in_frame_present = br.flag();
    if (br.ue() > 0) return fail("unsupported feature: slice groups (FMO)");
    p.num_ref_idx_default[0] = static_cast<int>(br.ue_max(31)) + 1;
    p.num_ref_idx_default[1] = static_cast<int>(br.ue_max(31)) + 1;
    p.weighted_pred = br.flag();
    p.weighted_bipred_idc = static_cast<int>(br.bits(2));
    if (p.weighted_bipred_idc == 3) return fail("weighted_bipred_idc 3 is reserved");
    p.pic_init_qp = 26 + br.se();
    br.se();  // pic_init_qs: SP and SI slices are not supported
    p.chroma_qp_index_offset[0] = p.chroma_qp_index_offset[1] = br.se();
    p.deblocking_filter_control_present = br.flag();
    p.constrained_intra_pred = br.flag();
    p.redundant_pic_cnt_present = br.flag();
    if (br.more_data()) {
        p.transform_8x8_mode = br.flag();
        p.scaling_present = br.flag();
        if (p.scaling_present) parse_scaling_lists(br, p.scaling, p.transform_8x8_mode ? 8 : 6);
        p.chroma_qp_index_offset[1] = br.se();
    }
    // The lowest QP of 14-bit samples; each slice checks its own depth.
    if (br.bad() || p.pic_init_qp < -36 || p.pic_init_qp > 51)
        return fail("damaged picture parameter set");
    for (int offset : p.chroma_qp_index_offset)
        if (offset < -12 || offset > 12) return fail("damaged picture parameter set");
    p.valid = true;
    pps_[id] = p;
    scales_stale_ = true;
    return true;
}

bool Decoder::parse_slice_header(BitReader& br, SliceHeader& sh, int nal_type, int nal_ref_idc) {
    sh = SliceHeader{};
    sh.nal_ref_idc = nal_ref_idc;
    sh.idr = nal_type == 5;
    sh.first_mb = static_cast<int>(br.ue());
    std::uint32_t type = br.ue();
    if (type > 9) return fail("slice type out of range");
    type %= 5;
    if (type == 3 || type == 4) return fail("unsupported feature: SP and SI slices");
    sh.slice_type = type == 0 ? 0 : type == 1 ? 1 : 2;
    if (sh.idr && sh.slice_type != 2) return fail("IDR picture with a non-intra slice");
    sh.pps_id = static_cast<int>(br.ue());
    if (sh.pps_id > 255 || !pps_[sh.pps_id].valid) return fail("slice refers to a missing picture parameter set");
    const Pps& pps = pps_[sh.pps_id];
    const Sps& sps = sps_[pps.sps_id];
    if (!sps.valid) return fail("slice refers to a missing sequence parameter set");
    sh.frame_num = static_cast<int>(br.bits(sps.log2_max_frame_num));
    if (sh.idr) sh.idr_pic_id = static_cast<int>(br.ue());
    if (sps.poc_type == 0) {
        sh.poc_lsb = static_cast<int>(br.bits(sps.log2_max_poc_lsb));
        if (pps.bottom_field_pic_order_in_frame_present) sh.delta_poc_bottom = br.se();
    } else if (sps.poc_type == 1 && !sps.delta_pic_order_always_zero) {
        sh.delta_poc[0] = br.se();
        if (pps.bottom_field_pic_order_in_frame_present) sh.delta_poc[1] = br.se();
    }
    if (pps.redundant_pic_cnt_present && br.ue() != 0) return fail("unsupported feature: redundant pictures");
    if (sh.slice_type == 1) sh.direct_spatial = br.flag();
    sh.num_ref_idx[0] = sh.slice_type != 2 ? pps.num_ref_idx_default[0] : 0;
    sh.num_ref_idx[1] = sh.slice_type == 1 ? pps.num_ref_idx_default[1] : 0;
    if (sh.slice_type != 2 && br.flag()) {
        sh.num_ref_idx[0] = static_cast<int>(br.ue_max(31)) + 1;
        if (sh.slice_type == 1) sh.num_ref_idx[1] = static_cast<int>(br.ue_max(31)) + 1;
    }
    for (int list = 0; list < (sh.slice_type == 1 ? 2 : sh.slice_type == 0 ? 1 : 0); ++list) {
        if (!br.flag()) continue;
        for (int n = 0;; ++n) {
            const int idc = static_cast<int>(br.ue());
            if (idc == 3) break;
            if (idc > 2 || n > 32 || br.bad()) return fail("damaged reference list modification");
            sh.mods[list].push_back({idc, static_cast<int>(br.ue())});
        }
    }
    if ((pps.weighted_pred && sh.slice_type == 0) || (pps.weighted_bipred_idc == 1 && sh.slice_type == 1)) {
        sh.luma_log2_denom = static_cast<int>(br.ue_max(7));
        const bool chroma = sps.chroma_format_idc != 0;
        if (chroma) sh.chroma_log2_denom = static_cast<int>(br.ue_max(7));
        for (int list = 0; list < (sh.slice_type == 1 ? 2 : 1); ++list) {
            for (int i = 0; i < sh.num_ref_idx[list]; ++i) {
                Weight& lw = sh.luma_weight[list][i];
                lw = {1 << sh.luma_log2_denom, 0, false};
                if (br.flag()) lw = {br.se(), br.se(), true};
                for (int c = 0; c < 2; ++c) sh.chroma_weight[list][i][c] = {1 << sh.chroma_log2_denom, 0, false};
                if (chroma && br.flag())
                    for (int c = 0; c < 2; ++c) sh.chroma_weight[list][i][c] = {br.se(), br.se(), true};
            }
        }
    }
    if (nal_ref_idc != 0) {
        if (sh.idr) {
            br.bits(1);  // no_output_of_prior_pics_flag: prior pictures are output all the same
            sh.long_term_reference = br.flag();
        } else if ((sh.adaptive_marking = br.flag())) {
            for (int n = 0;; ++n) {
                const int op = static_cast<int>(br.ue());
                if (op == 0) break;
                if (op > 6 || n > 64 || br.bad()) return fail("damaged reference marking");
                SliceHeader::Mmco m{op, 0, 0};
                if (op == 1 || op == 3) m.a = static_cast<int>(br.ue());
                if (op == 2) m.a = static_cast<int>(br.ue());
                if (op == 3 || op == 6) m.b = static_cast<int>(br.ue());
                if (op == 4) m.a = static_cast<int>(br.ue());
                sh.mmcos.push_back(m);
            }
        }
    }
    sh.qp_bd_offset = 6 * (sps.bit_depth_luma - 8);
    sh.qp = pps.pic_init_qp + br.se();
    if (sh.qp < -sh.qp_bd_offset || sh.qp > 51) return fail("slice QP out of range");
    if (pps.deblocking_filter_control_present) {
        sh.disable_deblocking = static_cast<int>(br.ue_max(2));
        if (sh.disable_deblocking != 1) {
            sh.alpha_offset = br.se() * 2;
            sh.beta_offset = br.se() * 2;
            if (sh.alpha_offset < -12 || sh.alpha_offset > 12 || sh.beta_offset < -12 || sh.beta_offset > 12)
                return fail("deblocking offsets out of range");
        }
    }
    if (br.bad()) return fail("damaged slice header");
    return true;
}

bool Decoder::decode_slice(BitReader& br, int nal_type, int nal_ref_idc) {
    SliceHeader sh;
    if (!parse_slice_header(br, sh, nal_type, nal_ref_idc)) return false;
    if (cur_) {
        const SliceHeader& f = first_sh_;
        const bool new_picture = sh.first_mb == 0 || sh.frame_num != f.frame_num || sh.pps_id != f.pps_id ||
                                 sh.idr != f.idr || (sh.nal_ref_idc == 0) != (f.nal_ref_idc == 0) ||
                                 sh.poc_lsb != f.poc_lsb || sh.delta_poc_bottom != f.delta_poc_bottom ||
                                 sh.delta_poc[0] != f.delta_poc[0] || sh.delta_poc[1] != f.delta_poc[1] ||
                                 (sh.idr && sh.idr_pic_id != f.idr_pic_id);
        if (new_picture && !finish_picture()) return false;
    }
    if (!cur_ && !start_picture(sh)) return false;
    const Sps& sps = *sps_active_;
    if (sh.first_mb >= sps.width_mbs * sps.height_mbs) return fail("first macroblock of a slice outside the picture");
    sh_ = sh;
    if (!build_ref_lists(sh_)) return false;
    slices_.push_back(sh_);
    SliceDecoder sd(*this, *cur_, sh_, br, slice_num_++);
    return sd.run();
}

bool Decoder::start_picture(const SliceHeader& sh) {
    const Pps& pps = pps_[sh.pps_id];
    const Sps& sps = sps_[pps.sps_id];
    const int width = sps.width_mbs * 16, height = sps.height_mbs * 16;
    if (sh.idr || !sps_active_) {
        if (sps_active_ && (sps_active_->width_mbs != sps.width_mbs || sps_active_->height_mbs != sps.height_mbs ||
                            sps_active_->chroma_format_idc != sps.chroma_format_idc ||
                            sps_active_->bit_depth_luma != sps.bit_depth_luma ||
                            sps_active_->bit_depth_chroma != sps.bit_depth_chroma)) {
            output_all();
            dpb_.clear();
            free_.clear();
        }
    } else if (pps.sps_id != static_cast<int>(sps_active_ - sps_)) {
        return fail("sequence parameter set changes outside an IDR picture");
    }
    if (!sh.idr && dpb_.empty() && !sps_active_) return fail("stream does not start with an IDR picture");
    // The level scale tables follow the parameter sets in force.
    if (scales_stale_ || sps_active_ != &sps || pps_active_ != &pps) {
        sps_active_ = &sps;
        pps_active_ = &pps;
        build_level_scales();
        scales_stale_ = false;
    }
    first_sh_ = sh;

    std::unique_ptr<Picture> pic;
    if (!free_.empty()) {
        pic = std::move(free_.back());
        free_.pop_back();
    } else {
        pic = std::make_unique<Picture>();
    }
    const int cwidth = sps.chroma_format_idc ? width / sps.sub_width() : 0;
    const int cheight = sps.chroma_format_idc ? height / sps.sub_height() : 0;
    if (pic->width != width || pic->height != height || pic->cwidth != cwidth || pic->cheight != cheight ||
        pic->wide != sps.wide()) {
        // Planes get a margin: the interpolation kernels may read a few
        // samples beyond the window they filter.
        pic->width = width;
        pic->height = height;
        pic->cwidth = cwidth;
        pic->cheight = cheight;
        pic->wide = sps.wide();
        const std::size_t bytes = pic->wide ? 2 : 1;
        pic->stride = (width + 64 + 63) & ~63;
        pic->cstride = (cwidth + 64 + 63) & ~63;
        const std::size_t ysize = static_cast<std::size_t>(pic->stride) * (height + 8) * bytes;
        const std::size_t csize = cwidth ? static_cast<std::size_t>(pic->cstride) * (cheight + 8) * bytes : 0;
        pic->memory.assign(ysize + 2 * csize + 64, 128);
        std::uint8_t* base = pic->memory.data();
        base += (64 - reinterpret_cast<std::uintptr_t>(base) % 64) % 64;
        if (pic->wide) {
            // Mid-grey in every sample, margins included, as 128 is for bytes.
            const std::uint16_t grey = static_cast<std::uint16_t>(1 << (sps.bit_depth_luma - 1));
            std::uint16_t* words = reinterpret_cast<std::uint16_t*>(base);
            std::fill(words, words + (ysize + 2 * csize) / 2, grey);
        }
        pic->planes[0] = base + (pic->stride * 4 + 32) * bytes;
        pic->planes[1] = cwidth ? base + ysize + (pic->cstride * 4 + 32) * bytes : nullptr;
        pic->planes[2] = cwidth ? base + ysize + csize + (pic->cstride * 4 + 32) * bytes : nullptr;
    }
    pic->depth = sps.bit_depth_luma;
    pic->cdepth = sps.bit_depth_chroma;
    pic->serial = next_serial_++;
    pic->frame_num = sh.frame_num;
    pic->ref_short = pic->ref_long = false;
    pic->output_needed = true;
    pic->idr = sh.idr;
    pic->mmco5 = false;
    for (const auto& m : sh.mmcos)
        if (m.op == 5) pic->mmco5 = true;
    // Everything reads a macroblock's record only once it is marked decoded
    // (which rewrites all of it), so a reused picture just drops the marks.
    const std::size_t mb_count = static_cast<std::size_t>(sps.width_mbs) * sps.height_mbs;
    if (pic->mbs.size() == mb_count) {
        for (MbInfo& m : pic->mbs) {
            m.decoded = false;
            m.slice = -1;
        }
    } else {
        pic->mbs.assign(mb_count, MbInfo{});
    }
    cur_ = std::move(pic);
    slices_.clear();
    slice_num_ = 0;

    // A gap in frame_num needs no work here: the references that remain are
    // still found by number.
    compute_poc(sh);
    return true;
}

void Decoder::compute_poc(const SliceHeader& sh) {
    const Sps& sps = *sps_active_;
    const int max_frame_num = 1 << sps.log2_max_frame_num;
    int top = 0, bottom = 0;
    if (sps.poc_type == 0) {
        if (sh.idr) prev_poc_msb_ = prev_poc_lsb_ = 0;
        const int max_lsb = 1 << sps.log2_max_poc_lsb;
        int msb = prev_poc_msb_;
        if (sh.poc_lsb < prev_poc_lsb_ && prev_poc_lsb_ - sh.poc_lsb >= max_lsb / 2)
            msb += max_lsb;
        else if (sh.poc_lsb > prev_poc_lsb_ && sh.poc_lsb - prev_poc_lsb_ > max_lsb / 2)
            msb -= max_lsb;
        top = msb + sh.poc_lsb;
        bottom = top + sh.delta_poc_bottom;
        if (sh.nal_ref_idc) {
            prev_poc_msb_ = msb;
            prev_poc_lsb_ = sh.poc_lsb;
        }
    } else {
        int offset = 0;
        if (!sh.idr) {
            offset = prev_ref_had_mmco5_ ? 0 : prev_frame_num_offset_;
            if (prev_frame_num_ > sh.frame_num) offset += max_frame_num;
        }
        if (sps.poc_type == 1) {
            const int n = static_cast<int>(sps.offset_for_ref_frame.size());
            int abs_frame_num = n ? offset + sh.frame_num : 0;
            if (sh.nal_ref_idc == 0 && abs_frame_num > 0) --abs_frame_num;
            int expected = 0;
            if (abs_frame_num > 0) {
                int delta_cycle = 0;
                for (int d : sps.offset_for_ref_frame) delta_cycle += d;
                const int cycle = (abs_frame_num - 1) / n, in_cycle = (abs_frame_num - 1) % n;
                expected = cycle * delta_cycle;
                for (int i = 0; i <= in_cycle; ++i) expected += sps.offset_for_ref_frame[i];
            }
            if (sh.nal_ref_idc == 0) expected += sps.offset_for_non_ref_pic;
            top = expected + sh.delta_poc[0];
            bottom = top + sps.offset_for_top_to_bottom_field + sh.delta_poc[1];
        } else {
            top = bottom = sh.idr ? 0 : 2 * (offset + sh.frame_num) - (sh.nal_ref_idc == 0 ? 1 : 0);
        }
        prev_frame_num_offset_ = offset;
        prev_frame_num_ = sh.frame_num;
        prev_ref_had_mmco5_ = false;
    }
    cur_->poc = std::min(top, bottom);
    cur_top_minus_poc_ = top - cur_->poc;
}

bool Decoder::build_ref_lists(const SliceHeader& sh) {
    const Sps& sps = *sps_active_;
    const int max_frame_num = 1 << sps.log2_max_frame_num;
    ref_list_[0].clear();
    ref_list_[1].clear();
    if (sh.slice_type == 2) return true;
    std::vector<Picture*> shorts, longs;
    for (auto& p : dpb_) {
        if (p->ref_short) {
            p->frame_num_wrap = p->frame_num > sh.frame_num ? p->frame_num - max_frame_num : p->frame_num;
            shorts.push_back(p.get());
        } else if (p->ref_long) {
            longs.push_back(p.get());
        }
    }
    std::sort(longs.begin(), longs.end(), [](Picture* a, Picture* b) { return a->long_term_idx < b->long_term_idx; });
    if (sh.slice_type == 0) {
        std::sort(shorts.begin(), shorts.end(),
                  [](Picture* a, Picture* b) { return a->frame_num_wrap > b->frame_num_wrap; });
        ref_list_[0] = shorts;
        ref_list_[0].insert(ref_list_[0].end(), longs.begin(), longs.end());
    } else {
        std::vector<Picture*> before, after;
        for (Picture* p : shorts) (p->poc < cur_->poc ? before : after).push_back(p);
        std::sort(before.begin(), before.end(), [](Picture* a, Picture* b) { return a->poc > b->poc; });
        std::sort(after.begin(), after.end(), [](Picture* a, Picture* b) { return a->poc < b->poc; });
        ref_list_[0] = before;
        ref_list_[0].insert(ref_list_[0].end(), after.begin(), after.end());
        ref_list_[0].insert(ref_list_[0].end(), longs.begin(), longs.end());
        ref_list_[1] = after;
        ref_list_[1].insert(ref_list_[1].end(), before.begin(), before.end());
        ref_list_[1].insert(ref_list_[1].end(), longs.begin(), longs.end());
        if (ref_list_[1].size() > 1 && ref_list_[0] == ref_list_[1]) std::swap(ref_list_[1][0], ref_list_[1][1]);
    }
    for (int list = 0; list < 2; ++list) {
        const int n = sh.num_ref_idx[list];
        std::vector<Picture*>& rl = ref_list_[list];
        rl.resize(n, nullptr);
        int pic_num_pred = sh.frame_num;
        int ref_idx = 0;
        for (const auto& mod : sh.mods[list]) {
            if (ref_idx >= n) return fail("too many reference list modifications");
            Picture* pic = nullptr;
            if (mod.idc < 2) {
                const int abs_diff = mod.value + 1;
                if (abs_diff > max_frame_num) return fail("damaged reference list modification");
                int no_wrap = mod.idc == 0 ? pic_num_pred - abs_diff : pic_num_pred + abs_diff;
                if (no_wrap < 0) no_wrap += max_frame_num;
                if (no_wrap >= max_frame_num) no_wrap -= max_frame_num;
                pic_num_pred = no_wrap;
                const int pic_num = no_wrap > sh.frame_num ? no_wrap - max_frame_num : no_wrap;
                for (Picture* p : shorts)
                    if (p->frame_num_wrap == pic_num) pic = p;
            } else {
                for (Picture* p : longs)
                    if (p->long_term_idx == mod.value) pic = p;
            }
            if (!pic) return fail("reference list modification names a missing picture");
            rl.insert(rl.begin() + ref_idx, pic);
            ++ref_idx;
            // Later copies of the moved picture go.
            for (std::size_t k = ref_idx; k < rl.size(); ++k)
                if (rl[k] == pic) {
                    rl.erase(rl.begin() + static_cast<std::ptrdiff_t>(k));
                    break;
                }
            rl.resize(n, nullptr);
        }
    }
    // Implicit bi-prediction weights from the distances in display order.
    if (sh.slice_type == 1 && pps_active_->weighted_bipred_idc == 2) {
        for (int i0 = 0; i0 < sh.num_ref_idx[0]; ++i0) {
            for (int i1 = 0; i1 < sh.num_ref_idx[1]; ++i1) {
                const Picture* p0 = ref_list_[0][i0];
                const Picture* p1 = ref_list_[1][i1];
                int w = 32;
                if (p0 && p1 && !p0->ref_long && !p1->ref_long) {
                    const int tb = std::clamp(cur_->poc - p0->poc, -128, 127);
                    const int td = std::clamp(p1->poc - p0->poc, -128, 127);
                    if (td != 0) {
                        const int tx = (16384 + std::abs(td / 2)) / td;
                        const int scale = std::clamp((tb * tx + 32) >> 6, -1024, 1023);
                        if ((scale >> 2) >= -64 && (scale >> 2) <= 128) w = 64 - (scale >> 2);
                    }
                }
                implicit_w_[i0 * 32 + i1] = static_cast<std::int16_t>(w);
            }
        }
    }
    return true;
}

bool Decoder::mark_references() {
    Picture& cur = *cur_;
    const SliceHeader& sh = first_sh_;
    const int max_frame_num = 1 << sps_active_->log2_max_frame_num;
    if (sh.nal_ref_idc == 0) return true;
    if (sh.idr) {
        for (auto& p : dpb_) p->ref_short = p->ref_long = false;
        if (sh.long_term_reference) {
            cur.ref_long = true;
            cur.long_term_idx = 0;
            max_long_term_idx_ = 0;
        } else {
            cur.ref_short = true;
            max_long_term_idx_ = -1;
        }
        return true;
    }
    for (auto& p : dpb_)
        if (p->ref_short)
            p->frame_num_wrap = p->frame_num > cur.frame_num ? p->frame_num - max_frame_num : p->frame_num;
    if (sh.adaptive_marking) {
        for (const auto& m : sh.mmcos) {
            const int pic_num_x = cur.frame_num - (m.a + 1);
            switch (m.op) {
            case 1:
                for (auto& p : dpb_)
                    if (p->ref_short && p->frame_num_wrap == pic_num_x) p->ref_short = false;
                break;
            case 2:
                for (auto& p : dpb_)
                    if (p->ref_long && p->long_term_idx == m.a) p->ref_long = false;
                break;
            case 3:
                for (auto& p : dpb_)
                    if (p->ref_long && p->long_term_idx == m.b) p->ref_long = false;
                for (auto& p : dpb_)
                    if (p->ref_short && p->frame_num_wrap == pic_num_x) {
                        p->ref_short = false;
                        p->ref_long = true;
                        p->long_term_idx = m.b;
                    }
                break;
            case 4:
                max_long_term_idx_ = m.a - 1;
                for (auto& p : dpb_)
                    if (p->ref_long && p->long_term_idx > max_long_term_idx_) p->ref_long = false;
                break;
            case 5:
                for (auto& p : dpb_) p->ref_short = p->ref_long = false;
                max_long_term_idx_ = -1;
                break;
            case 6:
                for (auto& p : dpb_)
                    if (p->ref_long && p->long_term_idx == m.b) p->ref_long = false;
                cur.ref_long = true;
                cur.long_term_idx = m.b;
                break;
            default:
                break;
            }
        }
    } else {
        int shorts = 0, longs = 0;
        for (auto& p : dpb_) {
            shorts += p->ref_short;
            longs += p->ref_long;
        }
        if (shorts > 0 && shorts + longs >= std::max(sps_active_->max_num_ref_frames, 1)) {
            Picture* oldest = nullptr;
            for (auto& p : dpb_)
                if (p->ref_short && (!oldest || p->frame_num_wrap < oldest->frame_num_wrap)) oldest = p.get();
            oldest->ref_short = false;
        }
    }
    if (!cur.ref_long) cur.ref_short = true;
    // A damaged stream may keep more references than allowed; the oldest go.
    for (;;) {
        int count = 0;
        Picture* oldest = nullptr;
        for (auto& p : dpb_)
            if (p->is_ref()) {
                ++count;
                if (p->ref_short && (!oldest || p->frame_num_wrap < oldest->frame_num_wrap)) oldest = p.get();
            }
        if (count < std::max(sps_active_->max_num_ref_frames, 1) || !oldest) break;
        oldest->ref_short = false;
    }
    return true;
}

int Decoder::dpb_capacity() const {
    const Sps& s = *sps_active_;
    int frames = s.max_dec_frame_buffering;
    if (frames < 0) frames = std::min(max_dpb_mbs(s.level_idc) / (s.width_mbs * s.height_mbs), 16);
    return std::max({frames, s.max_num_ref_frames, 1});
}

void Decoder::bump_one() {
    Picture* best = nullptr;
    for (auto& p : dpb_)
        if (p->output_needed && (!best || p->poc < best->poc)) best = p.get();
    if (!best) return;
    if (on_output) on_output(*best, *sps_active_);
    best->output_needed = false;
}

void Decoder::output_all() {
    for (;;) {
        bool any = false;
        for (auto& p : dpb_) any |= p->output_needed;
        if (!any) break;
        bump_one();
    }
}

void Decoder::store_and_bump() {
    auto prune = [this] {
        for (std::size_t i = 0; i < dpb_.size();) {
            if (!dpb_[i]->is_ref() && !dpb_[i]->output_needed) {
                free_.push_back(std::move(dpb_[i]));
                dpb_.erase(dpb_.begin() + static_cast<std::ptrdiff_t>(i));
            } else {
                ++i;
            }
        }
    };
    if (cur_->idr || cur_->mmco5) output_all();
    prune();
    const int capacity = dpb_capacity();
    if (!cur_->is_ref()) {
        // A non-reference picture that comes before everything waiting goes
        // straight out when the buffer is full.
        while (static_cast<int>(dpb_.size()) >= capacity) {
            bool earliest = true;
            for (auto& p : dpb_)
                if (p->output_needed && p->poc < cur_->poc) earliest = false;
            if (earliest) {
                if (on_output) on_output(*cur_, *sps_active_);
                free_.push_back(std::move(cur_));
                return;
            }
            bump_one();
            prune();
        }
    } else {
        while (static_cast<int>(dpb_.size()) >= capacity) {
            const std::size_t before = dpb_.size();
            bump_one();
            prune();
            if (dpb_.size() == before) {
                // Full of references that wait for nothing: a damaged stream.
                bool any = false;
                for (auto& p : dpb_) any |= p->output_needed;
                if (!any) break;
            }
        }
    }
    dpb_.push_back(std::move(cur_));
}

bool Decoder::finish_picture() {
    if (!cur_) return true;
    deblock_picture();
    mark_references();
    if (cur_->mmco5) {
        // The picture becomes the first of a new count: its POC and frame number restart.
        cur_->poc = 0;
        prev_poc_msb_ = 0;
        prev_poc_lsb_ = cur_top_minus_poc_;
        prev_frame_num_offset_ = 0;
        prev_frame_num_ = 0;
        prev_ref_had_mmco5_ = true;
        cur_->frame_num = 0;
    }
    store_and_bump();
    return true;
}

bool Decoder::flush() {
    if (!finish_picture()) return false;
    output_all();
    return true;
}

bool decode_annexb(Decoder& decoder, const std::uint8_t* stream, std::size_t n) {
    // Start codes are found from their 01 byte, which memchr reaches fast.
    auto next_start = [&](std::size_t from) {
        for (std::size_t i = from + 2; i < n;) {
            const void* one = std::memchr(stream + i, 1, n - i);
            if (!one) break;
            i = static_cast<std::size_t>(static_cast<const std::uint8_t*>(one) - stream);
            if (stream[i - 1] == 0 && stream[i - 2] == 0) return i - 2;
            ++i;
        }
        return n;
    };
    std::size_t pos = next_start(0);
    while (pos < n) {
        const std::size_t begin = pos + 3;
        std::size_t end = next_start(begin);
        pos = end;
        while (end > begin && stream[end - 1] == 0) --end;  // zeros before a start code belong to it
        if (!decoder.decode_nal(stream + begin, end - begin)) return false;
    }
    return decoder.flush();
}

void Decoder::build_level_scales() {
    // Flat lists unless the parameter sets give some. Lists a picture
    // parameter set leaves out fall back on the sequence's lists if it has
    // any, else on the defaults, as in the sequence itself.
    const Sps& sps = *sps_active_;
    Weights seq;
    std::memset(&seq, 16, sizeof seq);
    if (sps.scaling_present) seq = resolve_weights(sps.scaling, nullptr);
    const Pps& pps = *pps_active_;
    const Weights w = pps.scaling_present ? resolve_weights(pps.scaling, sps.scaling_present ? &seq : nullptr) : seq;
    for (int m = 0; m < 6; ++m) {
        for (int list = 0; list < 6; ++list)
            for (int k = 0; k < 16; ++k) {
                const int r = kZigzag4x4[k];
                const int norm = kNormAdjust4x4[m][norm_class4x4(r >> 2, r & 3)];
                level4_[list][m][r] = static_cast<Vek16s>(w.w4[list][k] * norm);
            }
        for (int list = 0; list < 2; ++list)
            for (int k = 0; k < 64; ++k) {
                const int r = kZigzag8x8[k];
                const int norm = kNormAdjust8x8[m][norm_class8x8(r >> 3, r & 7)];
                level8_[list][m][r] = static_cast<Vek16s>(w.w8[list][k] * norm);
            }
    }
    plain_8bit_ = !sps.wide() && sps.chroma_format_idc == 1 && !sps.scaling_present && !pps.scaling_present &&
                  !pps.transform_8x8_mode;
}

void crop_frame(const Picture& pic, const Sps& sps, std::vector<std::uint8_t>& out, int& w, int& h) {
    w = pic.width - sps.crop_left - sps.crop_right;
    h = pic.height - sps.crop_top - sps.crop_bottom;
    // Monochrome frames come out as 4:2:0 with mid-grey chroma, the way
    // players show them.
    const bool mono = pic.cwidth == 0;
    const int cw = mono ? (w + 1) / 2 : w / sps.sub_width(), ch = mono ? (h + 1) / 2 : h / sps.sub_height();
    const std::size_t bytes = pic.wide ? 2 : 1;
    out.resize((static_cast<std::size_t>(w) * h + 2 * static_cast<std::size_t>(cw) * ch) * bytes);
    std::uint8_t* o = out.data();
    auto copy = [&](int c, int width, int height, int left, int top, int stride) {
        for (int r = 0; r < height; ++r) {
            if (!pic.wide) {
                std::memcpy(o, pic.plane<std::uint8_t>(c) + (r + top) * stride + left, width);
                o += width;
                continue;
            }
            const std::uint16_t* row = pic.plane<std::uint16_t>(c) + (r + top) * stride + left;
            if constexpr (std::endian::native == std::endian::little) {
                std::memcpy(o, row, static_cast<std::size_t>(width) * 2);  // already little-endian words
                o += static_cast<std::size_t>(width) * 2;
                continue;
            }
            for (int x = 0; x < width; ++x) {
                *o++ = static_cast<std::uint8_t>(row[x] & 255);
                *o++ = static_cast<std::uint8_t>(row[x] >> 8);
            }
        }
    };
    copy(0, w, h, sps.crop_left, sps.crop_top, pic.stride);
    if (mono) {
        const int grey = 1 << (pic.cdepth - 1);
        for (std::size_t i = 0; i < 2 * static_cast<std::size_t>(cw) * ch; ++i) {
            *o++ = static_cast<std::uint8_t>(pic.wide ? grey & 255 : grey);
            if (pic.wide) *o++ = static_cast<std::uint8_t>(grey >> 8);
        }
        return;
    }
    for (int c = 1; c < 3; ++c)
        copy(c, cw, ch, sps.crop_left / sps.sub_width(), sps.crop_top / sps.sub_height(), pic.cstride);
}

}  // namespace h264dec
