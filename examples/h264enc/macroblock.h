// Coding of one slice's macroblocks: decisions, residual and syntax.
#pragma once

#include "encoder.h"

namespace h264enc {

struct Mv {
    int x = 0, y = 0;
    bool operator==(const Mv& o) const { return x == o.x && y == o.y; }
};

// The residual of one macroblock as it is written and reconstructed.
struct Residual {
    alignas(16) Vek16s luma_dc[16];   // Intra 16x16: raster order of the blocks
    alignas(16) Vek16s luma[16][16];  // by raster block, levels in raster order
    alignas(16) Vek16s chroma_dc[2][4];
    alignas(16) Vek16s chroma[2][4][16];
    int cbp_luma = 0, cbp_chroma = 0;
};

struct MbEncoder {
    MbEncoder(Encoder& enc, const Vek8u* y, const Vek8u* u, const Vek8u* v, bool p_slice, BitWriter& bw);
    void encode(int addr);
    void finish();  // writes the pending skip run
    FrameStats stats;

private:
    struct Neighbour {
        bool avail = false;
        int ref = -1;
        Mv mv;
    };
    struct Inter {
        bool eight = false;  // four 8x8 partitions, else one 16x16
        Mv mv[4];
        Mv mvp[4];
        int cost = 0;
    };

    // Prediction.
    const MbInfo* mb_at(int mbx, int mby) const;
    Neighbour neighbour(int x4, int y4) const;
    Mv predict_mv(int x4, int y4, int w4) const;
    Mv skip_mv() const;
    void set_mv(int x4, int y4, int w4, int h4, Mv mv);
    Inter analyse_inter();
    bool inside(int px, int py, int size, Mv m) const;
    int search(int x4, int y4, int size, Mv mvp, Mv start, int range, Mv& best);
    int sad_at(int px, int py, int size, Mv mv);
    void motion_compensate(const Inter& inter);
    int analyse_intra16(int& mode);
    int intra4x4_trial(Residual& r, Vek32s modes_coded[16]);
    int choose_chroma_mode();

    // Residual.
    void luma_inter_residual(Residual& r);
    void luma_intra16_residual(Residual& r);
    void chroma_residual(Residual& r, bool intra);

    // Syntax and reconstruction.
    enum class Kind { kInter, kIntra16, kIntra4x4 };
    int nc_luma(int blk) const;
    int nc_chroma(int c, int blk) const;
    void write_residual(const Residual& r, bool i16);
    VekStatus reconstruct(const Residual& r, Kind kind, int i16_mode, const Vek32s* modes_coded, int chroma_mode);

    Encoder& e_;
    const Vek8u* src_y_;
    const Vek8u* src_u_;
    const Vek8u* src_v_;
    int sstride_, scstride_;
    bool p_slice_;
    BitWriter& bw_;
    Frame& rec_;
    const Frame& ref_;
    int qp_, qpc_, lambda_;
    int skip_run_ = 0;

    // The macroblock being coded.
    int addr_ = 0, mbx_ = 0, mby_ = 0;
    MbInfo* mb_ = nullptr;
    std::uint16_t done_ = 0;  // blocks whose vector is known
    bool left_ = false, top_ = false, top_left_ = false, top_right_ = false;
    Vek8u edge_ = 0;
    int pred_modes_[16] = {};  // predicted Intra 4x4 modes by coded block
    alignas(16) Vek8u tmp_[16 * 16];
};

}  // namespace h264enc
