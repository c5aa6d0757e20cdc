// AVS 8x8 intra predictors. The filtered modes work on two neighbour arrays
// of 20 pixels, T above and L to the left, each starting at the corner and
// padded by repeating its last available pixel.
#include "avs/intra_pred.h"

#include <cstddef>
#include <cstring>

namespace vek::avs {
namespace {

struct Neighbours {
    int t[20];
    int l[20];
};

void build_neighbours(const Vek8u* dst, Vek32s step, Vek32u edges, Neighbours& n) {
    const bool top = !(edges & kEdgeTop), left = !(edges & kEdgeLeft);
    const Vek8u* above = dst - step;
    if (top) {
        n.t[0] = left ? above[-1] : above[0];
        const int count = (edges & kEdgeTopRight) ? 8 : 16;
        for (int i = 1; i <= count; ++i) n.t[i] = above[i - 1];
        for (int i = count + 1; i < 20; ++i) n.t[i] = n.t[count];
    }
    if (left) {
        n.l[0] = top ? above[-1] : dst[0 - 1];
        const int count = (edges & kEdgeBottomLeft) ? 8 : 16;
        for (int i = 1; i <= count; ++i) n.l[i] = dst[static_cast<std::ptrdiff_t>(i - 1) * step - 1];
        for (int i = count + 1; i < 20; ++i) n.l[i] = n.l[count];
    }
}

// Three-tap smoothing centred on x[i + 1].
inline int smooth(const int* x, int i) { return (x[i] + 2 * x[i + 1] + x[i + 2] + 2) >> 2; }

inline Vek8u clip255(int v) { return static_cast<Vek8u>(v < 0 ? 0 : v > 255 ? 255 : v); }

}  // namespace

int predict_vertical(Vek8u* dst, Vek32s step, Vek32u edges) {
    if (edges & kEdgeTop) return 0;
    for (int y = 0; y < 8; ++y) std::memcpy(dst + static_cast<std::ptrdiff_t>(y) * step, dst - step, 8);
    return 1;
}

int predict_horizontal(Vek8u* dst, Vek32s step, Vek32u edges) {
    if (edges & kEdgeLeft) return 0;
    for (int y = 0; y < 8; ++y) {
        Vek8u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        std::memset(row, row[-1], 8);
    }
    return 1;
}

int predict_fill(Vek8u* dst, Vek32s step, Vek32u) {
    for (int y = 0; y < 8; ++y) std::memset(dst + static_cast<std::ptrdiff_t>(y) * step, 128, 8);
    return 1;
}

int predict_dc(Vek8u* dst, Vek32s step, Vek32u edges) {
    const bool top = !(edges & kEdgeTop), left = !(edges & kEdgeLeft);
    Neighbours n;
    build_neighbours(dst, step, edges, n);
    for (int y = 0; y < 8; ++y) {
        Vek8u* row = dst + static_cast<std::ptrdiff_t>(y) * step;
        for (int x = 0; x < 8; ++x) {
            int v = 128;
            if (top && left) v = (smooth(n.t, x) + smooth(n.l, y)) >> 1;
            else if (top) v = smooth(n.t, x);
            else if (left) v = smooth(n.l, y);
            row[x] = static_cast<Vek8u>(v);
        }
    }
    return 1;
}

int predict_down_left(Vek8u* dst, Vek32s step, Vek32u edges) {
    if (edges & (kEdgeTop | kEdgeLeft)) return 0;
    Neighbours n;
    build_neighbours(dst, step, edges, n);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            dst[static_cast<std::ptrdiff_t>(y) * step + x] =
                static_cast<Vek8u>((smooth(n.t, x + y + 1) + smooth(n.l, x + y + 1)) >> 1);
    return 1;
}

int predict_down_right(Vek8u* dst, Vek32s step, Vek32u edges) {
    if (edges & (kEdgeTop | kEdgeLeft)) return 0;
    Neighbours n;
    build_neighbours(dst, step, edges, n);
    // One diagonal line from the bottom of the left column through the corner
    // to the right end of the row above.
    int d[15];
    for (int k = 0; k < 7; ++k) d[k] = smooth(n.l, 6 - k);
    d[7] = (n.l[1] + 2 * n.t[0] + n.t[1] + 2) >> 2;
    for (int k = 8; k < 15; ++k) d[k] = smooth(n.t, k - 8);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            dst[static_cast<std::ptrdiff_t>(y) * step + x] = static_cast<Vek8u>(d[7 + x - y]);
    return 1;
}

int predict_plane(Vek8u* dst, Vek32s step, Vek32u edges) {
    if (edges & (kEdgeTop | kEdgeLeft)) return 0;
    Neighbours n;
    build_neighbours(dst, step, edges, n);
    int h = 0, v = 0;
    for (int i = 1; i <= 4; ++i) {
        h += i * (n.t[4 + i] - n.t[4 - i]);
        v += i * (n.l[4 + i] - n.l[4 - i]);
    }
    const int a = 16 * (n.l[8] + n.t[8]);
    const int b = (17 * h + 16) >> 5, c = (17 * v + 16) >> 5;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            dst[static_cast<std::ptrdiff_t>(y) * step + x] =
                clip255((a + (x - 3) * b + (y - 3) * c + 16) >> 5);
    return 1;
}

}  // namespace vek::avs
