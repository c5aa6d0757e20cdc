// Decoding of one slice's macroblocks: syntax, motion vector prediction and
// direct modes, then prediction and reconstruction through the library.
#pragma once

#include "decoder.h"

namespace h264dec {

struct Mv {
    int x = 0, y = 0;
    bool operator==(const Mv& o) const { return x == o.x && y == o.y; }
};

// What the macroblock layer says about one macroblock's prediction and
// residual, and where its levels went.
struct MbSyntax {
    int imb = -1;  // intra type: 0 I_NxN, 1-24 Intra 16x16; -1 inter
    int i16_mode = 0, chroma_mode = 0;
    int cbp_luma = 0, cbp_chroma = 0;
    bool transform8x8 = false;
    Vek32s modes[16];  // Intra 4x4 modes by coded block, or Intra 8x8 modes by 8x8 block
    // Blocks whose levels are in the buffers. Luma 4x4: bit 0 the Intra
    // 16x16 DC, bits 1-16 the coded blocks; luma 8x8: bits 0-3. Chroma per
    // plane: bit 0 DC, bits 1-8 the 4x4 blocks in raster order of the plane.
    Vek32u luma_cbp = 0;
    Vek32u chroma_cbp[2] = {0, 0};
};

struct SliceDecoder {
    SliceDecoder(Decoder& dec, Picture& pic, const SliceHeader& sh, BitReader& br, int slice);
    bool run();

private:
    struct Neighbour {
        bool avail = false;
        int ref = -1;
        Mv mv;
    };
    enum Shape { kShapeOther, kShape16x8, kShape8x16 };

    bool fail(const char* why);
    void begin_macroblock();
    bool decode_skip();
    bool decode_macroblock();
    template <class P>
    bool decode_pcm();
    void parse_intra_modes(MbSyntax& m);
    bool parse_inter(int mb_type, bool& transform8x8_allowed);
    template <class Coef>
    bool parse_residual(MbSyntax& m);
    template <class P>
    bool reconstruct(const MbSyntax& m);
    bool predict_inter();
    template <class P>
    void mc_partition(int x4, int y4, int w4, int h4);
    int predicted_intra_mode(int blk) const;

    // Neighbours and prediction.
    bool intra_available(const MbInfo* n) const;
    int nc_luma(int blk) const;
    int nc_chroma(int c, int blk) const;
    Neighbour neighbour(int list, int x4, int y4) const;
    Mv predict_mv(int list, int ref, int x4, int y4, int w4, Shape shape, int part) const;
    void set_motion(int list, int x4, int y4, int w4, int h4, int ref, Mv mv);
    std::int32_t ref_serial(int list, int ref) const;
    void p_skip_motion();
    bool direct_motion(int b8_first, int b8_last);
    bool colocated(int blk, Mv& mv_col, int& ref_col, std::int32_t& pic_col) const;

    Decoder& dec_;
    Picture& pic_;
    const SliceHeader& sh_;
    BitReader& br_;
    const Sps& sps_;
    const Pps& pps_;
    int slice_;
    int mbw_, mbh_;
    int qp_;             // QP of luma, -qp_bd_offset_ to 51
    int qp_bd_offset_;   // luma
    int cqp_bd_offset_;  // chroma
    int chroma_rows_;    // 4x4 block rows of a chroma plane: 2 (4:2:0) or 4 (4:2:2), 0 monochrome
    int chroma_qp(int c, int qp) const;

    // The macroblock being decoded.
    int addr_ = 0, mbx_ = 0, mby_ = 0;
    MbInfo* mb_ = nullptr;
    // Its neighbours A (left), B (top), D and C, null where not available.
    const MbInfo* left_ = nullptr;
    const MbInfo* top_ = nullptr;
    const MbInfo* top_left_ = nullptr;
    const MbInfo* top_right_ = nullptr;
    std::uint16_t done_ = 0;  // 4x4 blocks (raster bits) whose motion is known
    bool direct_ready_ = false;
    int direct_ref_[2] = {-1, -1};
    Mv direct_mv_[2];
    std::int32_t direct_pic_[2] = {-1, -1};  // the pictures direct_ref_ names
    bool direct_zero_ = false;
    // Levels as the CAVLC functions leave them: 16-bit for 8-bit streams,
    // 32-bit above. Luma: the Intra 16x16 DC block then the blocks; chroma:
    // the DC blocks of Cb and Cr, then the 4x4 blocks of Cb, then of Cr.
    alignas(64) Vek16s luma16_[16 + 256];
    alignas(64) Vek16s chroma16_[16 + 256];
    alignas(64) Vek32s luma32_[16 + 256];
    alignas(64) Vek32s chroma32_[16 + 256];
    template <class Coef>
    Coef* levels(bool chroma) {
        if constexpr (sizeof(Coef) == 2)
            return chroma ? chroma16_ : luma16_;
        else
            return chroma ? chroma32_ : luma32_;
    }
    // Predictions of each list before they are combined.
    alignas(64) Vek8u tmp8_[2][16 * 16];
    alignas(64) Vek8u tmpc8_[2][2][8 * 16];
    alignas(64) Vek16u tmp16_[2][16 * 16];
    alignas(64) Vek16u tmpc16_[2][2][8 * 16];
    // plane 0 luma (16 samples a row), 1 and 2 chroma (8 a row).
    template <class P>
    P* scratch(int list, int plane) {
        if constexpr (sizeof(P) == 1)
            return plane ? tmpc8_[list][plane - 1] : tmp8_[list];
        else
            return plane ? tmpc16_[list][plane - 1] : tmp16_[list];
    }
};

}  // namespace h264dec
