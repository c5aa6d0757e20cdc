// Intra predictors of the High reconstruction over both sample widths.
#include "h264/intra_pred_high.h"

#include <algorithm>

namespace vek::h264 {

namespace {

inline Vek32s filter3(Vek32s a, Vek32s b, Vek32s c) { return (a + 2 * b + c + 2) >> 2; }
inline Vek32s filter2(Vek32s a, Vek32s b) { return (a + b + 1) >> 1; }

// Neighbours of an N x N block as the directional formulas see them: the 2N
// samples above (and above right), the N to the left and the corner.
template <int N>
struct Edges {
    Vek32s top[2 * N];
    Vek32s left[N];
    Vek32s corner;

    // P(x, -1) and P(-1, y), the corner at -1.
    Vek32s t(int x) const { return x < 0 ? corner : top[x]; }
    Vek32s l(int y) const { return y < 0 ? corner : left[y]; }
};

// One sample of a directional mode (all but DC). The 4x4 and 8x8 formulas
// are the same up to the block size.
template <int N>
Vek32s directional(const Edges<N>& e, unsigned mode, int x, int y) {
    switch (mode) {
    case kIntra4x4Vertical: return e.top[x];
    case kIntra4x4Horizontal: return e.left[y];
    case kIntra4x4DiagDownLeft:
        if (x == N - 1 && y == N - 1) return (e.top[2 * N - 2] + 3 * e.top[2 * N - 1] + 2) >> 2;
        return filter3(e.top[x + y], e.top[x + y + 1], e.top[x + y + 2]);
    case kIntra4x4DiagDownRight:
        if (x > y) return filter3(e.t(x - y - 2), e.t(x - y - 1), e.t(x - y));
        if (x < y) return filter3(e.l(y - x - 2), e.l(y - x - 1), e.l(y - x));
        return filter3(e.top[0], e.corner, e.left[0]);
    case kIntra4x4VerticalRight: {
        const int z = 2 * x - y, i = x - (y >> 1);
        if (z >= 0 && (z & 1) == 0) return filter2(e.t(i - 1), e.t(i));
        if (z >= 0) return filter3(e.t(i - 2), e.t(i - 1), e.t(i));
        if (z == -1) return filter3(e.left[0], e.corner, e.top[0]);
        return filter3(e.l(y - 2 * x - 1), e.l(y - 2 * x - 2), e.l(y - 2 * x - 3));
    }
    case kIntra4x4HorizontalDown: {
        const int z = 2 * y - x, j = y - (x >> 1);
        if (z >= 0 && (z & 1) == 0) return filter2(e.l(j - 1), e.l(j));
        if (z >= 0) return filter3(e.l(j - 2), e.l(j - 1), e.l(j));
        if (z == -1) return filter3(e.left[0], e.corner, e.top[0]);
        return filter3(e.t(x - 2 * y - 1), e.t(x - 2 * y - 2), e.t(x - 2 * y - 3));
    }
    case kIntra4x4VerticalLeft: {
        const int i = x + (y >> 1);
        if ((y & 1) == 0) return filter2(e.top[i], e.top[i + 1]);
        return filter3(e.top[i], e.top[i + 1], e.top[i + 2]);
    }
    default: {  // horizontal up
        const int z = x + 2 * y, j = y + (x >> 1);
        if (z > 2 * N - 3) return e.left[N - 1];
        if (z == 2 * N - 3) return (e.left[N - 2] + 3 * e.left[N - 1] + 2) >> 2;
        if ((z & 1) == 0) return filter2(e.left[j], e.left[j + 1]);
        return filter3(e.left[j], e.left[j + 1], e.left[j + 2]);
    }
    }
}

// DC of an N x N block from the sides that are there, mid with neither.
template <int N>
Vek32s dc_value(const Edges<N>& e, bool top, bool left, Vek32s mid) {
    constexpr int kShift = N == 4 ? 2 : 3;
    Vek32s st = 0, sl = 0;
    for (int i = 0; i < N; ++i) st += e.top[i], sl += e.left[i];
    if (top && left) return (st + sl + N) >> (kShift + 1);
    if (top) return (st + N / 2) >> kShift;
    if (left) return (sl + N / 2) >> kShift;
    return mid;
}

template <int N, class Sample>
void fill(Sample* p, std::ptrdiff_t step, const Edges<N>& e, unsigned mode, Vek32s dc) {
    for (int y = 0; y < N; ++y)
        for (int x = 0; x < N; ++x)
            p[y * step + x] = static_cast<Sample>(mode == kIntra4x4Dc ? dc : directional(e, mode, x, y));
}

// What each 4x4 mode reads: top, the four above right, left, corner.
struct Needs {
    bool top, wide, left, corner;
};
constexpr Needs kNeeds4x4[9] = {{true, false, false, false}, {false, false, true, false}, {true, false, true, false},
                                {true, true, false, false},  {true, false, true, true},   {true, false, true, true},
                                {true, false, true, true},   {true, true, false, false},  {false, false, true, false}};

}  // namespace

template <class Sample>
bool predict_intra4x4_high(Sample* p, std::ptrdiff_t step, unsigned mode, Vek32s availability, Vek32s mid) {
    const Needs need = kNeeds4x4[mode];
    const bool top = availability & kAvailTop, left = availability & kAvailLeft;
    const bool corner = availability & kAvailTopLeft, right = availability & kAvailTopRight;
    const Sample* above = p - step;
    Edges<4> e{};
    if (need.top)
        for (int x = 0; x < 4; ++x) e.top[x] = top ? above[x] : mid;
    // Real above-right samples stay in use under a missing top row.
    if (need.wide)
        for (int x = 4; x < 8; ++x) e.top[x] = right ? above[x] : e.top[3];
    if (need.left)
        for (int y = 0; y < 4; ++y) e.left[y] = left ? p[y * step - 1] : mid;
    if (need.corner) e.corner = corner ? above[-1] : mid;
    fill(p, step, e, mode, mode == kIntra4x4Dc ? dc_value(e, top, left, mid) : 0);
    if (mode == kIntra4x4Dc) return false;
    return (need.top && !top) || (need.left && !left) || (need.corner && !corner);
}

template <class Sample>
void predict_intra8x8_high(Sample* p, std::ptrdiff_t step, unsigned mode, Vek32s availability, Vek32s mid) {
    const bool top = availability & kAvailTop, left = availability & kAvailLeft;
    const bool corner = availability & kAvailTopLeft, right = availability & kAvailTopRight;
    const Sample* above = p - step;
    Vek32s t[16], l[8], m = corner ? above[-1] : mid;
    for (int x = 0; x < 16; ++x) t[x] = top ? (x < 8 || right ? above[x] : above[7]) : mid;
    for (int y = 0; y < 8; ++y) l[y] = left ? p[y * step - 1] : mid;

    // The [1 2 1] filter runs over the sides that are there; at an end that
    // lacks its outer neighbour the sample itself takes the missing weight.
    Edges<8> e{};
    for (int x = 0; x < 16; ++x) e.top[x] = t[x];
    for (int y = 0; y < 8; ++y) e.left[y] = l[y];
    e.corner = m;
    if (top) {
        e.top[0] = corner ? filter3(m, t[0], t[1]) : (3 * t[0] + t[1] + 2) >> 2;
        for (int x = 1; x < 15; ++x) e.top[x] = filter3(t[x - 1], t[x], t[x + 1]);
        e.top[15] = (t[14] + 3 * t[15] + 2) >> 2;
    }
    if (corner) {
        if (top && left) e.corner = filter3(t[0], m, l[0]);
        else if (top) e.corner = (3 * m + t[0] + 2) >> 2;
        else if (left) e.corner = (3 * m + l[0] + 2) >> 2;
    }
    if (left) {
        e.left[0] = corner ? filter3(m, l[0], l[1]) : (3 * l[0] + l[1] + 2) >> 2;
        for (int y = 1; y < 7; ++y) e.left[y] = filter3(l[y - 1], l[y], l[y + 1]);
        e.left[7] = (l[6] + 3 * l[7] + 2) >> 2;
    }
    fill(p, step, e, mode, mode == kIntra4x4Dc ? dc_value(e, top, left, mid) : 0);
}

template <class Sample>
void predict_chroma_high(Sample* p, std::ptrdiff_t step, int rows, unsigned mode, const ChromaNeighbours& n,
                         Vek32s maxVal) {
    const Sample* above = p - step;
    const auto left = [&](int y) -> Vek32s { return y < 0 ? above[-1] : p[y * step - 1]; };
    const auto top = [&](int x) -> Vek32s { return above[x]; };
    const auto put = [&](int x, int y, Vek32s v) { p[y * step + x] = static_cast<Sample>(v); };
    const Vek32s mid = (maxVal + 1) >> 1;
    if (mode == kIntraChromaDc) {
        for (int by = 0; by < rows; by += 4)
            for (int bx = 0; bx < 8; bx += 4) {
                const bool has_left = by < rows / 2 ? n.left_upper : n.left_lower;
                Vek32s st = 0, sl = 0;
                for (int i = 0; i < 4; ++i) {
                    if (n.top) st += top(bx + i);
                    if (has_left) sl += left(by + i);
                }
                const Vek32s vt = (st + 2) >> 2, vl = (sl + 2) >> 2;
                Vek32s dc = mid;
                if ((bx == 0) == (by == 0))
                    dc = n.top && has_left ? (st + sl + 4) >> 3 : has_left ? vl : n.top ? vt : mid;
                else if (by == 0)
                    dc = n.top ? vt : has_left ? vl : mid;
                else
                    dc = has_left ? vl : n.top ? vt : mid;
                for (int y = 0; y < 4; ++y)
                    for (int x = 0; x < 4; ++x) put(bx + x, by + y, dc);
            }
        return;
    }
    if (mode == kIntraChromaPlane) {
        // With 16 rows the vertical gradient spans eight pairs and its weight
        // is 5/64 rather than 34/64; the ramp is centred on row 7.
        const int ycf = rows == 16 ? 4 : 0;
        Vek32s h = 0, v = 0;
        for (int i = 0; i < 4; ++i) h += (i + 1) * (top(4 + i) - top(2 - i));  // top(-1) is the corner
        for (int i = 0; i < 4 + ycf; ++i) v += (i + 1) * (left(4 + ycf + i) - left(2 + ycf - i));
        const Vek32s a = 16 * (left(rows - 1) + top(7));
        const Vek32s b = (34 * h + 32) >> 6;
        const Vek32s c = ((rows == 16 ? 5 : 34) * v + 32) >> 6;
        for (int y = 0; y < rows; ++y)
            for (int x = 0; x < 8; ++x)
                put(x, y, std::clamp((a + b * (x - 3) + c * (y - 3 - ycf) + 16) >> 5, 0, maxVal));
        return;
    }
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < 8; ++x) put(x, y, mode == kIntraChromaVertical ? top(x) : left(y));
}

template bool predict_intra4x4_high<Vek8u>(Vek8u*, std::ptrdiff_t, unsigned, Vek32s, Vek32s);
template bool predict_intra4x4_high<Vek16u>(Vek16u*, std::ptrdiff_t, unsigned, Vek32s, Vek32s);
template void predict_intra8x8_high<Vek8u>(Vek8u*, std::ptrdiff_t, unsigned, Vek32s, Vek32s);
template void predict_intra8x8_high<Vek16u>(Vek16u*, std::ptrdiff_t, unsigned, Vek32s, Vek32s);
template void predict_chroma_high<Vek8u>(Vek8u*, std::ptrdiff_t, int, unsigned, const ChromaNeighbours&, Vek32s);
template void predict_chroma_high<Vek16u>(Vek16u*, std::ptrdiff_t, int, unsigned, const ChromaNeighbours&, Vek32s);

}  // namespace vek::h264
