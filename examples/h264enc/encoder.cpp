// Picture level: parameter sets, slice headers, the loop filter and the
// reference picture.
#include "encoder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "macroblock.h"

namespace h264enc {

namespace {

using h264common::kAlpha;
using h264common::kBeta;
using h264common::kTc0;

constexpr int kBorder = 48;  // luma; chroma gets half

// Boundary strength between block pb of p and block qb of q (raster 4x4
// indices). Every inter block refers to the one reference picture.
int strength(const MbInfo& p, int pb, const MbInfo& q, int qb, bool mb_edge) {
    if (p.intra || q.intra) return mb_edge ? 4 : 3;
    if (p.nz[pb] || q.nz[qb]) return 2;
    return (std::abs(p.mv[pb][0] - q.mv[qb][0]) >= 4 || std::abs(p.mv[pb][1] - q.mv[qb][1]) >= 4) ? 1 : 0;
}

}  // namespace

void Plane::allocate(int w, int h, int b) {
    width = w;
    height = h;
    border = b;
    stride = w + 2 * b;
    memory.assign(static_cast<std::size_t>(stride) * (h + 2 * b), 0);
    origin = memory.data() + static_cast<std::ptrdiff_t>(b) * stride + b;
}

void Plane::expand() {
    vekiExpandPlane_H264_8u_C1R(origin, width, height, stride, border, 0);
}

void Frame::allocate(int w, int h) {
    y.allocate(w, h, kBorder);
    u.allocate(w / 2, h / 2, kBorder / 2);
    v.allocate(w / 2, h / 2, kBorder / 2);
}

Encoder::Encoder(const Params& params) : p_(params), mbw_(params.width / 16), mbh_(params.height / 16) {
    for (Frame& f : frames_) f.allocate(p_.width, p_.height);
    mbs_.resize(static_cast<std::size_t>(mbw_) * mbh_);
    // A SAD-domain Lagrange factor: the cost of a bit grows by half each 6 QP.
    lambda_ = std::max(1, static_cast<int>(std::lround(std::pow(2.0, (p_.qp - 12) / 6.0))));
    // The smallest level whose frame size holds the picture, and its vertical vector range.
    const int mbs = mbw_ * mbh_;
    static constexpr struct {
        int idc, max_mbs, mv_y;
    } kLevels[] = {{10, 99, 64},    {20, 396, 128},  {21, 792, 256},   {30, 1620, 256}, {31, 3600, 512},
                   {32, 5120, 512}, {40, 8192, 512}, {50, 22080, 512}, {51, 36864, 512}};
    for (const auto& l : kLevels) {
        level_idc_ = l.idc;
        max_mv_y_ = l.mv_y;
        if (mbs <= l.max_mbs) break;
    }
}

void Encoder::write_headers(std::vector<std::uint8_t>& out) const {
    BitWriter sps;
    sps.put(66, 8);    // profile_idc: Baseline
    sps.put(0xC0, 8);  // constraint_set0 and set1: also Constrained Baseline
    sps.put(static_cast<std::uint32_t>(level_idc_), 8);
    sps.ue(0);       // seq_parameter_set_id
    sps.ue(0);       // log2_max_frame_num_minus4
    sps.ue(2);       // pic_order_cnt_type: output order is decoding order
    sps.ue(1);       // max_num_ref_frames
    sps.put_bit(0);  // gaps_in_frame_num_value_allowed_flag
    sps.ue(static_cast<std::uint32_t>(mbw_ - 1));
    sps.ue(static_cast<std::uint32_t>(mbh_ - 1));
    sps.put_bit(1);  // frame_mbs_only_flag
    sps.put_bit(1);  // direct_8x8_inference_flag
    sps.put_bit(0);  // frame_cropping_flag
    sps.put_bit(0);  // vui_parameters_present_flag
    sps.trailing();
    append_nal(out, 3, 7, sps.bytes());

    BitWriter pps;
    pps.ue(0);           // pic_parameter_set_id
    pps.ue(0);           // seq_parameter_set_id
    pps.put_bit(0);      // entropy_coding_mode_flag: CAVLC
    pps.put_bit(0);      // bottom_field_pic_order_in_frame_present_flag
    pps.ue(0);           // num_slice_groups_minus1
    pps.ue(0);           // num_ref_idx_l0_default_active_minus1
    pps.ue(0);           // num_ref_idx_l1_default_active_minus1
    pps.put_bit(0);      // weighted_pred_flag
    pps.put(0, 2);       // weighted_bipred_idc
    pps.se(p_.qp - 26);  // pic_init_qp_minus26
    pps.se(0);           // pic_init_qs_minus26
    pps.se(0);           // chroma_qp_index_offset
    pps.put_bit(0);      // deblocking_filter_control_present_flag
    pps.put_bit(0);      // constrained_intra_pred_flag
    pps.put_bit(0);      // redundant_pic_cnt_present_flag
    pps.trailing();
    append_nal(out, 3, 8, pps.bytes());
}

FrameStats Encoder::encode(const Vek8u* y, const Vek8u* u, const Vek8u* v, std::vector<std::uint8_t>& out) {
    const bool idr = frame_count_ == 0;
    const std::size_t start = out.size();
    if (idr) {
        write_headers(out);
        frame_num_ = 0;
    }
    cur_ = 1 - cur_;  // the other frame holds the reference

    BitWriter bw;
    bw.ue(0);            // first_mb_in_slice
    bw.ue(idr ? 7 : 5);  // slice_type: I or P, every slice of the picture alike
    bw.ue(0);            // pic_parameter_set_id
    bw.put(static_cast<std::uint32_t>(frame_num_), 4);
    if (idr) bw.ue(0);  // idr_pic_id
    if (!idr) {
        bw.put_bit(0);  // num_ref_idx_active_override_flag
        bw.put_bit(0);  // ref_pic_list_modification_flag_l0
    }
    if (idr) {
        bw.put_bit(0);  // no_output_of_prior_pics_flag
        bw.put_bit(0);  // long_term_reference_flag
    } else {
        bw.put_bit(0);  // adaptive_ref_pic_marking_mode_flag
    }
    bw.se(0);  // slice_qp_delta

    MbEncoder mbe(*this, y, u, v, !idr, bw);
    for (int addr = 0; addr < mbw_ * mbh_; ++addr) mbe.encode(addr);
    mbe.finish();
    bw.trailing();
    append_nal(out, 3, idr ? 5 : 1, bw.bytes());

    deblock();
    Frame& rec = frames_[cur_];
    rec.y.expand();
    rec.u.expand();
    rec.v.expand();

    FrameStats stats = mbe.stats;
    stats.idr = idr;
    stats.bits = (out.size() - start) * 8;
    frame_num_ = (frame_num_ + 1) % 16;
    ++frame_count_;
    return stats;
}

// The loop filter over the finished picture, macroblock by macroblock:
// vertical edges, then horizontal ones, left to right and top to bottom.
void Encoder::deblock() {
    Frame& pic = frames_[cur_];
    const int qp = p_.qp, qpc = kChromaQp[p_.qp];
    const Vek8u alpha[2] = {kAlpha[qp], kAlpha[qp]}, beta[2] = {kBeta[qp], kBeta[qp]};
    const Vek8u calpha[2] = {kAlpha[qpc], kAlpha[qpc]}, cbeta[2] = {kBeta[qpc], kBeta[qpc]};
    for (int mby = 0; mby < mbh_; ++mby)
        for (int mbx = 0; mbx < mbw_; ++mbx) {
            const MbInfo& q = mbs_[static_cast<std::size_t>(mby) * mbw_ + mbx];
            Vek8u* y = pic.y.at(mbx * 16, mby * 16);
            Vek8u* u = pic.u.at(mbx * 8, mby * 8);
            Vek8u* v = pic.v.at(mbx * 8, mby * 8);
            for (int dir = 0; dir < 2; ++dir) {
                const MbInfo* p = nullptr;
                if (dir == 0 && mbx > 0) p = &mbs_[static_cast<std::size_t>(mby) * mbw_ + mbx - 1];
                if (dir == 1 && mby > 0) p = &mbs_[static_cast<std::size_t>(mby - 1) * mbw_ + mbx];
                Vek8u bs[16];
                bool any = false;
                for (int e = 0; e < 4; ++e)
                    for (int i = 0; i < 4; ++i) {
                        const int qb = dir == 0 ? i * 4 + e : e * 4 + i;
                        int s = 0;
                        if (e > 0)
                            s = strength(q, dir == 0 ? qb - 1 : qb - 4, q, qb, false);
                        else if (p)
                            s = strength(*p, dir == 0 ? qb + 3 : qb + 12, q, qb, true);
                        bs[4 * e + i] = static_cast<Vek8u>(s);
                        any |= s != 0;
                    }
                if (!any) continue;
                // One QP everywhere, so the outer edge's average is the QP itself.
                Vek8u tc0[16], ctc0[8];
                for (int n = 0; n < 16; ++n) tc0[n] = (bs[n] > 0 && bs[n] < 4) ? kTc0[qp][bs[n]] : 0;
                // Chroma edges 0 and 4 lie on luma edges 0 and 8 and share their strengths.
                for (int e = 0; e < 2; ++e)
                    for (int i = 0; i < 4; ++i) {
                        const int s = bs[8 * e + i];
                        ctc0[4 * e + i] = (s > 0 && s < 4) ? kTc0[qpc][s] : 0;
                    }
                if (dir == 0) {
                    vekiFilterDeblockingLuma_VerEdge_H264_8u_C1IR(y, pic.y.stride, alpha, beta, tc0, bs);
                    vekiFilterDeblockingChroma_VerEdge_H264_8u_C1IR(u, pic.u.stride, calpha, cbeta, ctc0, bs);
                    vekiFilterDeblockingChroma_VerEdge_H264_8u_C1IR(v, pic.v.stride, calpha, cbeta, ctc0, bs);
                } else {
                    vekiFilterDeblockingLuma_HorEdge_H264_8u_C1IR(y, pic.y.stride, alpha, beta, tc0, bs);
                    vekiFilterDeblockingChroma_HorEdge_H264_8u_C1IR(u, pic.u.stride, calpha, cbeta, ctc0, bs);
                    vekiFilterDeblockingChroma_HorEdge_H264_8u_C1IR(v, pic.v.stride, calpha, cbeta, ctc0, bs);
                }
            }
        }
}

std::uint64_t squared_error(const Plane& rec, const Vek8u* src) {
    std::uint64_t sum = 0;
    for (int y = 0; y < rec.height; ++y)
        for (int x = 0; x < rec.width; ++x) {
            const int d = rec.at(x, y)[0] - src[static_cast<std::ptrdiff_t>(y) * rec.width + x];
            sum += static_cast<std::uint64_t>(d * d);
        }
    return sum;
}

double psnr(std::uint64_t sse, std::uint64_t samples) {
    if (sse == 0) return 99.0;
    return 10.0 * std::log10(255.0 * 255.0 * static_cast<double>(samples) / static_cast<double>(sse));
}

}  // namespace h264enc
