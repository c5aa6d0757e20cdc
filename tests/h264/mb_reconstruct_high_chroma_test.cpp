// High chroma macroblocks, 4:2:0 and 4:2:2, inter and intra, against the
// model of high_model.h (the 4:2:2 DC block at QP + 3, its blocks in raster
// order); the argument checks.
#include <gtest/gtest.h>

#include <vector>

#include "h264/high_model.h"
#include "vekvc.h"

namespace {

using namespace high_model;

constexpr int kMb = 8 * kStep + 8;

// The 4:2:2 DC block: two columns by four rows, f = A c B, scaled at qp + 3.
void dc422_model(const I64* c, int qp, I64 ls, I64* dc) {
    const int a[4][4] = {{1, 1, 1, 1}, {1, 1, -1, -1}, {1, -1, -1, 1}, {1, -1, 1, -1}}, b[2][2] = {{1, 1}, {1, -1}};
    const int qdc = qp + 3;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 2; ++j) {
            I64 f = 0;
            for (int k = 0; k < 4; ++k)
                for (int l = 0; l < 2; ++l) f += a[i][k] * c[k * 2 + l] * b[l][j];
            dc[i * 2 + j] = qdc >= 36 ? (f * ls) << (qdc / 6 - 6) : (f * ls + (I64{1} << (5 - qdc / 6))) >> (6 - qdc / 6);
        }
}

enum Kind { kInter, kIntra, kHalf };

struct Plane {
    int qp;
    bool has_dc;
    int ac;  // bit b: block b coded
    std::vector<Vek16s> table;
    Vek32s dc_scale;
};

// One trial: random planes, levels, mode and edges; the model's planes
// against the library's.
template <class Sample, class Level>
void chroma_trial(std::mt19937& rng, int rows, Kind kind, int trial) {
    const int blocks = rows / 2, depth = sizeof(Sample) == 1 ? 8 : 8 + static_cast<int>(rng() % 7);
    const int maxv = (1 << depth) - 1;
    const bool bypass = rng() % 2;
    Plane pl[2];
    std::vector<Sample> got[2], want[2];
    for (int c = 0; c < 2; ++c) {
        pl[c].qp = rng() % 3 == 0 ? 0 : static_cast<int>(rng() % ((depth - 8) * 6 + 40));
        pl[c].has_dc = rng() % 2, pl[c].ac = static_cast<int>(rng() % (1u << blocks));
        pl[c].table.resize(16);
        for (auto& x : pl[c].table) x = static_cast<Vek16s>(6 + rng() % 250);
        pl[c].dc_scale = static_cast<Vek32s>(6 + rng() % 500);
        got[c] = want[c] = plane<Sample>(rng, maxv);
    }
    // Edges, then a mode they allow: vertical needs top, horizontal left,
    // plane all three; the Half forms offer DC and vertical only.
    const int edge = static_cast<int>(rng() & (VEKVC_LEFT_EDGE | VEKVC_TOP_EDGE | VEKVC_TOP_LEFT_EDGE));
    const int edge_bottom = static_cast<int>(rng() & VEKVC_LEFT_EDGE);
    const bool top = !(edge & VEKVC_TOP_EDGE), left = !(edge & VEKVC_LEFT_EDGE);
    const bool left_lower = kind == kHalf ? !edge_bottom : left;
    std::vector<int> allowed = {0};
    if (top) allowed.push_back(2);
    if (left && kind != kHalf) allowed.push_back(1);
    if (top && left && !(edge & VEKVC_TOP_LEFT_EDGE) && kind != kHalf) allowed.push_back(3);
    const int mode = kind == kInter ? -1 : allowed[rng() % allowed.size()];

    std::vector<Level> lv(2 * (8 + 8 * 16));
    for (auto& l : lv) l = static_cast<Level>(static_cast<int>(rng() % 81) - 40);
    int used = 0;
    I64 dc[2][8] = {};
    for (int c = 0; c < 2; ++c) {
        if (!pl[c].has_dc) continue;
        I64 raw[8];
        for (int i = 0; i < blocks; ++i) raw[i] = lv[used + i];
        const bool lossless = bypass && !pl[c].qp;
        if (lossless) {
            for (int i = 0; i < blocks; ++i) dc[c][i] = raw[i];
        } else if (blocks == 8) {
            dc422_model(raw, pl[c].qp, pl[c].dc_scale, dc[c]);
        } else {
            const I64 f[4] = {raw[0] + raw[1] + raw[2] + raw[3], raw[0] - raw[1] + raw[2] - raw[3],
                              raw[0] + raw[1] - raw[2] - raw[3], raw[0] - raw[1] - raw[2] + raw[3]};
            for (int i = 0; i < 4; ++i) dc[c][i] = ((f[i] * pl[c].table[0]) << (pl[c].qp / 6)) >> 5;
        }
        used += blocks;
    }
    for (int c = 0; c < 2; ++c) {
        Sample* mb = want[c].data() + kMb;
        if (mode >= 0) {
            Neighbours nb;
            for (int x = -1; x < 8; ++x) nb.top[x + 1] = mb[x - kStep];
            for (int y = 0; y < rows; ++y) nb.left[y] = mb[y * kStep - 1];
            I64 pred[128];
            predict_chroma(rows, mode, nb, top, left, left_lower, maxv, pred);
            for (int i = 0; i < 8 * rows; ++i) mb[(i / 8) * kStep + i % 8] = static_cast<Sample>(pred[i]);
        }
        const bool lossless = bypass && !pl[c].qp;
        std::vector<I64> r(8 * rows);
        for (int b = 0; b < blocks; ++b) {
            std::vector<I64> co(16, 0);
            const bool ac = (pl[c].ac >> b) & 1;
            for (int k = 1; k < 16 && ac; ++k)
                co[k] = lossless ? lv[used + k] : scale(lv[used + k], pl[c].table[k], pl[c].qp, 4);
            used += ac ? 16 : 0;
            co[0] = dc[c][b];
            if (!lossless) transform(co, 4);
            for (int k = 0; k < 16; ++k) r[((b >> 1) * 4 + k / 4) * 8 + (b & 1) * 4 + k % 4] = co[k];
        }
        if (lossless) accumulate(r, 8, mode == 2 ? 1 : mode == 1 ? 2 : 0);
        add_block(r, 8, true, maxv, mb, kStep);
    }

    Level* p = lv.data();
    VekStatus st = vekStsOk;
    const auto e = static_cast<Vek8u>(edge), eb = static_cast<Vek8u>(edge_bottom);
    if constexpr (sizeof(Sample) == 1) {
        if (rows == 8) {
            Vek32u cbp = 0;
            for (int c = 0; c < 2; ++c) cbp |= Vek32u(pl[c].has_dc) << (17 + c) | Vek32u(pl[c].ac) << (19 + 4 * c);
            const Vek16s *tu = pl[0].table.data(), *tv = pl[1].table.data();
            Sample *u = got[0].data() + kMb, *v = got[1].data() + kMb;
            if (kind == kInter)
                st = vekiReconstructChromaInter4x4MB_H264_16s8u_P2R(&p, u, v, kStep, cbp, pl[0].qp, pl[1].qp, tu, tv,
                                                                    bypass);
            else if (kind == kIntra)
                st = vekiReconstructChromaIntra4x4MB_H264_16s8u_P2R(&p, u, v, kStep, mode, cbp, pl[0].qp, pl[1].qp, e,
                                                                    tu, tv, bypass);
            else  // the second name on every other trial
                st = (trial & 16 ? vekiReconstructChromaIntraHalves4x4MB_H264_16s8u_P2R
                                 : vekiReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R)(
                    &p, u, v, kStep, mode, cbp, pl[0].qp, pl[1].qp, e, eb, tu, tv, bypass);
        } else {
            VekH264HighMBParam_8u prm[2];
            for (int c = 0; c < 2; ++c)
                prm[c] = {&p, got[c].data() + kMb, kStep, Vek32u(pl[c].has_dc | pl[c].ac << 1), pl[c].qp,
                          pl[c].table.data(), bypass, 8};
            const VekH264HighMBParam_8u* both[2] = {&prm[0], &prm[1]};
            const Vek32s su = pl[0].dc_scale, sv = pl[1].dc_scale;
            st = kind == kInter ? vekiReconstructChroma422Inter4x4_H264High_16s8u_IP2R(both, su, sv)
                 : kind == kIntra ? vekiReconstructChroma422Intra4x4_H264High_16s8u_IP2R(both, mode, e, su, sv)
                                  : vekiReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R(both, mode, e, eb, su, sv);
        }
    } else {
        VekH264HighMBParam prm[2];
        for (int c = 0; c < 2; ++c)
            prm[c] = param(&p, got[c].data() + kMb, Vek32u(pl[c].has_dc | pl[c].ac << 1), pl[c].qp, pl[c].table.data(),
                           bypass, depth);
        const VekH264HighMBParam* both[2] = {&prm[0], &prm[1]};
        const Vek32s su = pl[0].dc_scale, sv = pl[1].dc_scale;
        if (rows == 8)
            st = kind == kInter ? vekiReconstructChromaInter4x4_H264High_32s16u_IP2R(both)
                 : kind == kIntra ? vekiReconstructChromaIntra4x4_H264High_32s16u_IP2R(both, mode, e)
                                  : vekiReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R(both, mode, e, eb);
        else
            st = kind == kInter ? vekiReconstructChroma422Inter4x4_H264High_32s16u_IP2R(both, su, sv)
                 : kind == kIntra ? vekiReconstructChroma422Intra4x4_H264High_32s16u_IP2R(both, mode, e, su, sv)
                                  : vekiReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R(both, mode, e, eb, su, sv);
    }
    ASSERT_EQ(st, vekStsOk) << trial;
    EXPECT_EQ(p - lv.data(), used);
    ASSERT_EQ(got[0], want[0]) << trial << " rows " << rows << " kind " << kind << " mode " << mode;
    ASSERT_EQ(got[1], want[1]) << trial << " rows " << rows << " kind " << kind << " mode " << mode;
}

// Checks of the chroma intra and 4:2:2 forms: the records, U's before V's
// (null, step, QP limit 45 at 9 bits or 39), then the mode: out of range,
// then its neighbours; the Half forms offer DC and vertical only. Nothing is
// written when they fail.
TEST(HighChroma, ChecksInOrder) {
    std::vector<Vek32s> b32(512);
    std::vector<Vek16s> b16(512);
    std::vector<Vek16u> pic(kStep * 32, 7);
    std::vector<Vek8u> pic8(kStep * 32, 7);
    const auto pic0 = pic;
    const auto pic80 = pic8;
    Vek32s *p = b32.data(), *none = nullptr;
    Vek16s* q = b16.data();
    Vek16u* mb = pic.data() + kMb;
    Vek8u* mb8 = pic8.data() + kMb;
    const Vek16s t[16] = {};
    const VekH264HighMBParam ok = param(&p, mb, 0x1FF, 45, t, 0, 9);
    const VekH264HighMBParam bad[] = {param(&none, mb, 1, 0, t, 0, 9), VekH264HighMBParam{&p, mb, 0, 1, 46, t, 0, 9},
                                      param(&p, mb, 1, 46, t, 0, 9)};
    const VekH264HighMBParam_8u ok8{&q, mb8, kStep, 0x1FF, 39, t, 0, 0};
    const VekH264HighMBParam_8u bad8[] = {
        {&q, nullptr, kStep, 1, 0, t, 0, 0}, {&q, mb8, 0, 1, 40, t, 0, 0}, {&q, mb8, kStep, 1, 40, t, 0, 16}};
    const VekStatus want[] = {vekStsNullPtrErr, vekStsStepErr, vekStsOutOfRangeErr};
    for (int i = 0; i < 3; ++i) {
        const VekH264HighMBParam* v[2] = {&ok, &bad[i]};
        const VekH264HighMBParam_8u* v8[2] = {&ok8, &bad8[i]};
        const VekStatus got[] = {vekiReconstructChroma422Inter4x4_H264High_32s16u_IP2R(v, 16, 16),
                                 vekiReconstructChroma422Intra4x4_H264High_32s16u_IP2R(v, 9, 4, 16, 16),
                                 vekiReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R(v, 9, 4, 0, 16, 16),
                                 vekiReconstructChromaIntra4x4_H264High_32s16u_IP2R(v, 9, 4),
                                 vekiReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R(v, 9, 4, 0),
                                 vekiReconstructChroma422Inter4x4_H264High_16s8u_IP2R(v8, 16, 16),
                                 vekiReconstructChroma422Intra4x4_H264High_16s8u_IP2R(v8, 9, 4, 16, 16),
                                 vekiReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R(v8, 9, 4, 0, 16, 16)};
        for (VekStatus g : got) EXPECT_EQ(g, want[i]) << i;
    }
    EXPECT_EQ(vekiReconstructChromaIntra4x4_H264High_32s16u_IP2R(nullptr, 0, 0), vekStsNullPtrErr);
    const auto mb8form = [&](bool half, Vek32u mode, Vek32u qpv, Vek8u edge, const Vek16s* tv) {
        return half ? vekiReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R(&q, mb8, mb8 + 8, kStep, mode, 0x7FE0000, 0,
                                                                          qpv, edge, 0, t, tv, 0)
                    : vekiReconstructChromaIntra4x4MB_H264_16s8u_P2R(&q, mb8, mb8 + 8, kStep, mode, 0x7FE0000, 0, qpv,
                                                                     edge, t, tv, 0);
    };
    for (bool half : {false, true}) {
        EXPECT_EQ(mb8form(half, 9, 40, 4, nullptr), vekStsNullPtrErr);
        EXPECT_EQ(mb8form(half, 9, 40, 4, t), vekStsOutOfRangeErr);
    }
    const VekH264HighMBParam* good[2] = {&ok, &ok};
    const VekH264HighMBParam_8u* good8[2] = {&ok8, &ok8};
    const struct {
        Vek32u mode;
        Vek8u edge;
        VekStatus full, half;
    } modes[] = {{4, 0, vekStsOutOfRangeErr, vekStsNeighbourUnavailableErr},
                 {1, 0, vekStsOk, vekStsNeighbourUnavailableErr},
                 {1, VEKVC_LEFT_EDGE, vekStsNeighbourUnavailableErr, vekStsNeighbourUnavailableErr},
                 {3, VEKVC_TOP_LEFT_EDGE, vekStsNeighbourUnavailableErr, vekStsNeighbourUnavailableErr},
                 {2, VEKVC_TOP_EDGE, vekStsNeighbourUnavailableErr, vekStsNeighbourUnavailableErr}};
    for (const auto& m : modes) {
        if (m.full != vekStsOk) {
            EXPECT_EQ(vekiReconstructChroma422Intra4x4_H264High_32s16u_IP2R(good, m.mode, m.edge, 16, 16), m.full);
            EXPECT_EQ(vekiReconstructChroma422Intra4x4_H264High_16s8u_IP2R(good8, m.mode, m.edge, 16, 16), m.full);
            EXPECT_EQ(vekiReconstructChromaIntra4x4_H264High_32s16u_IP2R(good, m.mode, m.edge), m.full);
            EXPECT_EQ(mb8form(false, m.mode, 0, m.edge, t), m.full);
        }
        EXPECT_EQ(vekiReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R(good, m.mode, m.edge, 0, 16, 16), m.half);
        EXPECT_EQ(vekiReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R(good8, m.mode, m.edge, 0, 16, 16), m.half);
        EXPECT_EQ(vekiReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R(good, m.mode, m.edge, 0), m.half);
        EXPECT_EQ(mb8form(true, m.mode, 0, m.edge, t), m.half);
    }
    EXPECT_EQ(pic, pic0);
    EXPECT_EQ(pic8, pic80);
    EXPECT_EQ(p, b32.data());
    EXPECT_EQ(q, b16.data());
}

TEST(HighChroma, MatchesModel) {
    std::mt19937 rng(17);
    for (int trial = 0; trial < 1200; ++trial) {
        const int rows = trial & 1 ? 16 : 8;
        const Kind kind = static_cast<Kind>((trial >> 1) % 3);
        if (trial & 8)
            chroma_trial<Vek8u, Vek16s>(rng, rows, kind, trial);
        else
            chroma_trial<Vek16u, Vek32s>(rng, rows, kind, trial);
        if (HasFatalFailure()) return;
    }
}

}  // namespace
