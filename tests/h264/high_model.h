// Independent model of the High reconstruction's arithmetic for the tests:
// the standard's transforms and scaling in 64 bits, blocks placed by
// position, and the residual limit and clip of the add.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "vekvc.h"

namespace high_model {

using I64 = std::int64_t;
constexpr int kStep = 40;  // samples
constexpr int kX4[16] = {0, 4, 0, 4, 8, 12, 8, 12, 0, 4, 0, 4, 8, 12, 8, 12};
constexpr int kY4[16] = {0, 0, 4, 4, 0, 0, 4, 4, 8, 8, 12, 12, 8, 8, 12, 12};

inline void inv4(I64* x, int s) {
    const I64 e0 = x[0] + x[2 * s], e1 = x[0] - x[2 * s], e2 = (x[s] >> 1) - x[3 * s], e3 = x[s] + (x[3 * s] >> 1);
    x[0] = e0 + e3, x[s] = e1 + e2, x[2 * s] = e1 - e2, x[3 * s] = e0 - e3;
}
inline void inv8(I64* x, int s) {
    I64 d[8];
    for (int i = 0; i < 8; ++i) d[i] = x[i * s];
    const I64 a0 = d[0] + d[4], a4 = d[0] - d[4], a2 = (d[2] >> 1) - d[6], a6 = d[2] + (d[6] >> 1);
    const I64 a1 = -d[3] + d[5] - d[7] - (d[7] >> 1), a3 = d[1] + d[7] - d[3] - (d[3] >> 1);
    const I64 a5 = -d[1] + d[7] + d[5] + (d[5] >> 1), a7 = d[3] + d[5] + d[1] + (d[1] >> 1);
    const I64 b0 = a0 + a6, b2 = a4 + a2, b4 = a4 - a2, b6 = a0 - a6;
    const I64 b1 = a1 + (a7 >> 2), b7 = a7 - (a1 >> 2), b3 = a3 + (a5 >> 2), b5 = (a3 >> 2) - a5;
    const I64 y[8] = {b0 + b7, b2 + b5, b4 + b3, b6 + b1, b6 - b1, b4 - b3, b2 - b5, b0 - b7};
    for (int i = 0; i < 8; ++i) x[i * s] = y[i];
}

// The level scaling of an n x n block (norm 4 or 6) at qp.
inline I64 scale(I64 level, int factor, int qp, int norm) {
    const int s = qp / 6;
    return s < norm ? (level * factor + (I64{1} << (norm - 1 - s))) >> (norm - s) : (level * factor) << (s - norm);
}

// The inverse transform of an n x n block, rows then columns, and its rounding.
inline void transform(std::vector<I64>& c, int n) {
    for (int r = 0; r < n; ++r) (n == 4 ? inv4 : inv8)(&c[r * n], 1);
    for (int col = 0; col < n; ++col) (n == 4 ? inv4 : inv8)(&c[col], n);
    for (auto& v : c) v = (v + 32) >> 6;
}

// Residual of one block from its coefficients: transformed, or the
// coefficients as they stand when lossless (then rows of n, any number).
// Then limited, added, clipped.
template <class Sample>
void add_block(std::vector<I64> c, int n, bool lossless, int maxv, Sample* dst, int step) {
    if (!lossless) transform(c, n);
    for (int k = 0; k < static_cast<int>(c.size()); ++k) {
        Sample& s = dst[(k / n) * step + k % n];
        s = static_cast<Sample>(std::clamp<I64>(s + std::clamp<I64>(c[k], -maxv, maxv), 0, maxv));
    }
}

template <class Sample>
std::vector<Sample> plane(std::mt19937& rng, int maxv) {
    std::vector<Sample> p(kStep * 32);
    for (auto& s : p) s = static_cast<Sample>(rng() % (maxv + 1));
    return p;
}

inline VekH264HighMBParam param(Vek32s** pp, Vek16u* mb, Vek32u cbp, Vek32s qp, const Vek16s* table, Vek32u bypass,
                         Vek32s depth) {
    return VekH264HighMBParam{pp, mb, kStep, cbp, qp, table, bypass, depth};
}

// ---- Intra prediction, written from the standard's equations -------------

// p(x, y) of a block's neighbours: the row above for y = -1 (x from -1), the
// column to the left for x = -1.
struct Neighbours {
    I64 top[17] = {};  // x + 1
    I64 left[16] = {};
    I64 at(int x, int y) const { return y < 0 ? top[x + 1] : left[y]; }
};

// Intra N x N luma sample (N 4 or 8), modes 0..8; DC from the sides given.
inline I64 predict_nxn(int n, int mode, const Neighbours& nb, bool top, bool left, I64 mid, int x, int y) {
    const auto p = [&](int px, int py) { return nb.at(px, py); };
    const auto t3 = [](I64 a, I64 b, I64 c) { return (a + 2 * b + c + 2) >> 2; };
    switch (mode) {
    case 0: return p(x, -1);
    case 1: return p(-1, y);
    case 2: {
        I64 st = 0, sl = 0;
        for (int i = 0; i < n; ++i) st += p(i, -1), sl += p(-1, i);
        const int lg = n == 4 ? 2 : 3;
        return top && left ? (st + sl + n) >> (lg + 1) : top ? (st + n / 2) >> lg : left ? (sl + n / 2) >> lg : mid;
    }
    case 3:
        if (x == n - 1 && y == n - 1) return (p(2 * n - 2, -1) + 3 * p(2 * n - 1, -1) + 2) >> 2;
        return t3(p(x + y, -1), p(x + y + 1, -1), p(x + y + 2, -1));
    case 4:
        if (x > y) return t3(p(x - y - 2, -1), p(x - y - 1, -1), p(x - y, -1));
        if (x < y) return t3(p(-1, y - x - 2), p(-1, y - x - 1), p(-1, y - x));
        return t3(p(0, -1), p(-1, -1), p(-1, 0));
    case 5: {
        const int z = 2 * x - y, i = x - (y >> 1);
        if (z >= 0 && z % 2 == 0) return (p(i - 1, -1) + p(i, -1) + 1) >> 1;
        if (z > 0) return t3(p(i - 2, -1), p(i - 1, -1), p(i, -1));
        if (z == -1) return t3(p(-1, 0), p(-1, -1), p(0, -1));
        return n == 4 ? t3(p(-1, y - 1), p(-1, y - 2), p(-1, y - 3))
                      : t3(p(-1, y - 2 * x - 1), p(-1, y - 2 * x - 2), p(-1, y - 2 * x - 3));
    }
    case 6: {
        const int z = 2 * y - x, j = y - (x >> 1);
        if (z >= 0 && z % 2 == 0) return (p(-1, j - 1) + p(-1, j) + 1) >> 1;
        if (z > 0) return t3(p(-1, j - 2), p(-1, j - 1), p(-1, j));
        if (z == -1) return t3(p(-1, 0), p(-1, -1), p(0, -1));
        return n == 4 ? t3(p(x - 1, -1), p(x - 2, -1), p(x - 3, -1))
                      : t3(p(x - 2 * y - 1, -1), p(x - 2 * y - 2, -1), p(x - 2 * y - 3, -1));
    }
    case 7: {
        const int i = x + (y >> 1);
        return y % 2 == 0 ? (p(i, -1) + p(i + 1, -1) + 1) >> 1 : t3(p(i, -1), p(i + 1, -1), p(i + 2, -1));
    }
    default: {
        const int z = x + 2 * y, j = y + (x >> 1);
        if (z > 2 * n - 3) return p(-1, n - 1);
        if (z == 2 * n - 3) return (p(-1, n - 2) + 3 * p(-1, n - 1) + 2) >> 2;
        return z % 2 == 0 ? (p(-1, j) + p(-1, j + 1) + 1) >> 1 : t3(p(-1, j), p(-1, j + 1), p(-1, j + 2));
    }
    }
}

// The 8x8 reference sample filter; the sides not present are left as given.
inline Neighbours filter8x8(const Neighbours& r, bool top, bool left, bool corner) {
    Neighbours f = r;
    const auto p = [&](int x, int y) { return r.at(x, y); };
    if (top) {
        f.top[1] = corner ? (p(-1, -1) + 2 * p(0, -1) + p(1, -1) + 2) >> 2 : (3 * p(0, -1) + p(1, -1) + 2) >> 2;
        for (int x = 1; x < 15; ++x) f.top[x + 1] = (p(x - 1, -1) + 2 * p(x, -1) + p(x + 1, -1) + 2) >> 2;
        f.top[16] = (p(14, -1) + 3 * p(15, -1) + 2) >> 2;
    }
    if (corner) {
        if (top && left) f.top[0] = (p(0, -1) + 2 * p(-1, -1) + p(-1, 0) + 2) >> 2;
        else if (top) f.top[0] = (3 * p(-1, -1) + p(0, -1) + 2) >> 2;
        else if (left) f.top[0] = (3 * p(-1, -1) + p(-1, 0) + 2) >> 2;
    }
    if (left) {
        f.left[0] = corner ? (p(-1, -1) + 2 * p(-1, 0) + p(-1, 1) + 2) >> 2 : (3 * p(-1, 0) + p(-1, 1) + 2) >> 2;
        for (int y = 1; y < 7; ++y) f.left[y] = (p(-1, y - 1) + 2 * p(-1, y) + p(-1, y + 1) + 2) >> 2;
        f.left[7] = (p(-1, 6) + 3 * p(-1, 7) + 2) >> 2;
    }
    return f;
}

// Chroma plane of 8 x rows (8 or 16), modes 0 DC, 1 horizontal, 2 vertical,
// 3 plane, into pred[rows * 8]. leftLower: the lower half's left column.
inline void predict_chroma(int rows, int mode, const Neighbours& nb, bool top, bool left, bool leftLower, I64 maxv,
                           I64* pred) {
    const auto p = [&](int x, int y) { return nb.at(x, y); };
    const int ycf = rows == 16 ? 4 : 0;
    I64 h = 0, v = 0;
    for (int i = 0; i <= 3; ++i) h += (i + 1) * (p(4 + i, -1) - p(2 - i, -1));
    for (int i = 0; i <= 3 + ycf; ++i) v += (i + 1) * (p(-1, 4 + ycf + i) - p(-1, 2 + ycf - i));
    const I64 a = 16 * (p(-1, rows - 1) + p(7, -1)), b = (34 * h + 32) >> 6, c = ((34 - 29 * (rows == 16)) * v + 32) >> 6;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < 8; ++x) {
            const int xo = x & ~3, yo = y & ~3;
            const bool l = yo < rows / 2 ? left : leftLower;
            I64 st = 0, sl = 0, dc = (maxv + 1) / 2;
            for (int i = 0; i < 4; ++i) st += p(xo + i, -1), sl += p(-1, yo + i);
            if ((xo == 0 && yo == 0) || (xo > 0 && yo > 0)) {
                if (top && l) dc = (st + sl + 4) >> 3;
                else if (l) dc = (sl + 2) >> 2;
                else if (top) dc = (st + 2) >> 2;
            } else if (xo > 0) {
                dc = top ? (st + 2) >> 2 : l ? (sl + 2) >> 2 : dc;
            } else {
                dc = l ? (sl + 2) >> 2 : top ? (st + 2) >> 2 : dc;
            }
            const I64 modes[4] = {dc, p(-1, y), p(x, -1),
                                  std::clamp<I64>((a + b * (x - 3) + c * (y - 3 - ycf) + 16) >> 5, 0, maxv)};
            pred[y * 8 + x] = modes[mode];
        }
}

// Sums a lossless residual along the prediction's direction: 1 down the
// columns (vertical), 2 along the rows (horizontal).
inline void accumulate(std::vector<I64>& r, int w, int dir) {
    for (size_t i = 0; i < r.size(); ++i) {
        if (dir == 1 && i >= size_t(w)) r[i] += r[i - w];
        if (dir == 2 && i % w) r[i] += r[i - 1];
    }
}

}  // namespace high_model
