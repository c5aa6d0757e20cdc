// Decoding of one slice's macroblocks: syntax, motion vector prediction and
// direct modes, then prediction and reconstruction through the library.
#pragma once

#include "decoder.h"

namespace h264dec {

struct Mv {
    int x = 0, y = 0;
    bool operator==(const Mv& o) const { return x == o.x && y == o.y; }
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
    bool decode_pcm();
    bool parse_inter(int mb_type);
    bool parse_residual(bool i16, int cbp_luma, int cbp_chroma, Vek32u& cbp4x4);
    bool predict_inter();
    void mc_partition(int x4, int y4, int w4, int h4);

    // Neighbours and prediction.
    const MbInfo* mb_at(int mbx, int mby) const;
    bool intra_available(const MbInfo* n) const;
    int nc_luma(int blk) const;
    int nc_chroma(int c, int blk) const;
    Neighbour neighbour(int list, int x4, int y4) const;
    Mv predict_mv(int list, int ref, int x4, int y4, int w4, Shape shape, int part) const;
    void set_motion(int list, int x4, int y4, int w4, int h4, int ref, Mv mv);
    void p_skip_motion();
    bool direct_motion(int b8_first, int b8_last);
    bool colocated(int blk, Mv& mv_col, int& ref_col, std::int32_t& pic_col) const;
    void finish_motion();

    Decoder& dec_;
    Picture& pic_;
    const SliceHeader& sh_;
    BitReader& br_;
    const Sps& sps_;
    const Pps& pps_;
    int slice_;
    int mbw_, mbh_;
    int qp_;
    int chroma_qp_table_[52];

    // The macroblock being decoded.
    int addr_ = 0, mbx_ = 0, mby_ = 0;
    MbInfo* mb_ = nullptr;
    std::uint16_t done_ = 0;  // 4x4 blocks (raster bits) whose motion is known
    bool direct_ready_ = false;
    int direct_ref_[2] = {-1, -1};
    Mv direct_mv_[2];
    bool direct_zero_ = false;
    alignas(64) Vek16s coeffs_[16 * 27];
    alignas(64) Vek8u tmp_[2][16 * 16];
    alignas(64) Vek8u tmpc_[2][2][8 * 8];
};

}  // namespace h264dec
