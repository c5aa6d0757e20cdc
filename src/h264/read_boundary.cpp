// Reading a reference rectangle through the picture's edges, and expanding a
// plane's border in place for callers that keep padded planes.
#include "h264/read_boundary.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vek::h264 {

namespace {

enum HorizontalRule { kHNone, kHLeft, kHRight };
enum VerticalRule { kVNone, kVTop, kVBottom };

// Spans of a row in whole words: 16-byte chunks, or two 8-, 4- or 2-byte
// pieces, the last one overlapping the one before, so that a row of a block
// is a handful of stores with no byte loops and no library calls. A span
// writes only its own bytes.
template <int N>
inline void move_word(unsigned char* d, const unsigned char* s) {
    unsigned char w[N];
    std::memcpy(w, s, N);
    std::memcpy(d, w, N);
}

inline void copy_span(unsigned char* d, const unsigned char* s, int n) {
    if (n >= 16) {
        for (int i = 0; i + 16 < n; i += 16) move_word<16>(d + i, s + i);
        move_word<16>(d + n - 16, s + n - 16);
    } else if (n >= 8) {
        move_word<8>(d, s), move_word<8>(d + n - 8, s + n - 8);
    } else if (n >= 4) {
        move_word<4>(d, s), move_word<4>(d + n - 4, s + n - 4);
    } else if (n >= 2) {
        move_word<2>(d, s), move_word<2>(d + n - 2, s + n - 2);
    } else if (n == 1) {
        d[0] = s[0];
    }
}

// A span of n bytes of a repeated sample whose size divides 2, given as a
// word of it (so any window of the word is the same pattern).
inline void fill_span(unsigned char* d, std::uint64_t word, int n) {
    const auto put = [word](unsigned char* at, int size) { std::memcpy(at, &word, static_cast<std::size_t>(size)); };
    if (n >= 8) {
        for (int i = 0; i + 8 < n; i += 8) put(d + i, 8);
        put(d + n - 8, 8);
    } else if (n >= 4) {
        put(d, 4), put(d + n - 4, 4);
    } else if (n >= 2) {
        put(d, 2), put(d + n - 2, 2);
    } else if (n == 1) {
        put(d, 1);
    }
}

// A row is up to three spans: samples repeated from one plane column, a copy
// from the plane row, samples repeated from another column. Their sizes are
// the same for every row of a rectangle, so they are found once.
struct RowSpans {
    int lead, lead_col;    // columns before the copy, and the plane column they repeat
    int copy_col, copy;    // plane column where the copy starts, and its length
    int trail, trail_col;  // columns after the copy, and the plane column they repeat
};

// The spans of each horizontal rule. The left rule copies from the row's start
// whatever follows, so a plane narrower than the rectangle is read past its
// right edge (into the next row's memory): a rectangle wider than the plane is
// treated on one side only, on purpose.
template <HorizontalRule H>
RowSpans row_spans(int xPos, int width, int frameWidth) {
    if constexpr (H == kHNone) {
        return {0, 0, xPos, width, 0, 0};
    } else if constexpr (H == kHLeft) {
        const int outside = std::clamp(-xPos, 0, width);
        return {outside, 0, 0, width - outside, 0, 0};
    } else {
        const int inside = std::clamp(frameWidth - xPos, 0, width);
        return {0, 0, xPos, inside, width - inside, frameWidth - 1};
    }
}

// One of the nine real readers: pulls the start back so that at least one
// plane sample stays in the rectangle (the caller sees the new position), then
// builds each row; rows outside the plane repeat the nearest plane row. The
// record is read into locals first: the rows written are bytes, which the
// compiler would otherwise take to alias the record.
template <class T, int C, HorizontalRule H, VerticalRule V>
void read_rect(VekInterpolationParams* p) {
    if constexpr (H == kHLeft)
        if (p->dataWidth <= -p->xPos) p->xPos = 1 - p->dataWidth;
    if constexpr (H == kHRight)
        if (p->xPos >= p->frameWidth) p->xPos = p->frameWidth - 1;
    if constexpr (V == kVTop)
        if (p->dataHeight <= -p->yPos) p->yPos = 1 - p->dataHeight;
    if constexpr (V == kVBottom)
        if (p->yPos >= p->frameHeight) p->yPos = p->frameHeight - 1;

    constexpr int kSample = static_cast<int>(sizeof(T)) * C;  // bytes per column
    static_assert(kSample == 1 || kSample == 2);
    const auto* plane = static_cast<const unsigned char*>(p->pSrc);
    auto* dst = static_cast<unsigned char*>(p->pDst);
    const std::ptrdiff_t src_pitch = static_cast<std::ptrdiff_t>(p->srcStep) * static_cast<int>(sizeof(T));
    const std::ptrdiff_t dst_pitch = static_cast<std::ptrdiff_t>(p->dstStep) * static_cast<int>(sizeof(T));
    const int y0 = p->yPos, height = p->dataHeight, last_row = p->frameHeight - 1;
    const RowSpans s = row_spans<H>(p->xPos, p->dataWidth, p->frameWidth);
    for (int i = 0; i < height; ++i, dst += dst_pitch) {
        int row = y0 + i;
        if constexpr (V == kVTop) row = std::max(row, 0);
        if constexpr (V == kVBottom) row = std::min(row, last_row);
        const unsigned char* src = plane + row * src_pitch;
        std::uint64_t word = 0;
        if constexpr (H == kHLeft || H == kHRight) {
            const unsigned char* col = src + (H == kHLeft ? s.lead_col : s.trail_col) * kSample;
            unsigned char unit[8];
            for (int k = 0; k < 8; k += kSample) std::memcpy(unit + k, col, kSample);
            std::memcpy(&word, unit, 8);
        }
        if constexpr (H == kHLeft) fill_span(dst, word, s.lead * kSample);
        copy_span(dst + s.lead * kSample, src + s.copy_col * kSample, s.copy * kSample);
        if constexpr (H == kHRight) fill_span(dst + (s.lead + s.copy) * kSample, word, s.trail * kSample);
    }
}

template <class T, int C, HorizontalRule H>
void read_by_vertical(VekInterpolationParams* p, VerticalRule v) {
    switch (v) {
        case kVNone: return read_rect<T, C, H, kVNone>(p);
        case kVTop: return read_rect<T, C, H, kVTop>(p);
        case kVBottom: return read_rect<T, C, H, kVBottom>(p);
    }
}

// Reader of one mask value. A mask with both sides of an axis treats only the
// side the sign of the position points to (xPos < 0: left, else right; yPos
// < 0: top, else bottom).
template <class T, int C, int Mask>
void read_masked(VekInterpolationParams* p) {
    if constexpr (Mask == 0) {
        (void)p;  // nothing crosses: the destination keeps its contents
    } else {
        constexpr int h = Mask & (kSideLeft | kSideRight), v = Mask & (kSideTop | kSideBottom);
        HorizontalRule hr = h == 0 ? kHNone : h == kSideLeft ? kHLeft : h == kSideRight ? kHRight
                                                                        : (p->xPos < 0 ? kHLeft : kHRight);
        VerticalRule vr = v == 0 ? kVNone : v == kSideTop ? kVTop : v == kSideBottom ? kVBottom
                                                                    : (p->yPos < 0 ? kVTop : kVBottom);
        switch (hr) {
            case kHNone: return read_by_vertical<T, C, kHNone>(p, vr);
            case kHLeft: return read_by_vertical<T, C, kHLeft>(p, vr);
            case kHRight: return read_by_vertical<T, C, kHRight>(p, vr);
        }
    }
}

template <class T, int C, int... Masks>
constexpr ReadBoundaryTable make_reader_table(std::integer_sequence<int, Masks...>) {
    return {&read_masked<T, C, Masks>...};
}

constexpr ReadBoundaryTable kRead8u = make_reader_table<Vek8u, 1>(std::make_integer_sequence<int, 16>{});
constexpr ReadBoundaryTable kReadNv12 = make_reader_table<Vek8u, 2>(std::make_integer_sequence<int, 16>{});
constexpr ReadBoundaryTable kRead16u = make_reader_table<Vek16u, 1>(std::make_integer_sequence<int, 16>{});

// Copies `count` rows from `from` to rows at `first`, `first + pitch`, ...
void replicate_row(Vek8u* from, Vek8u* first, std::ptrdiff_t pitch, int count, int width) {
    for (int k = 0; k < count; ++k) std::memcpy(first + k * pitch, from, static_cast<std::size_t>(width));
}

}  // namespace

const ReadBoundaryTable& read_data_through_boundary_table_8u() { return kRead8u; }
const ReadBoundaryTable& read_data_through_boundary_table_nv12_8u() { return kReadNv12; }
const ReadBoundaryTable& read_data_through_boundary_table_16u() { return kRead16u; }

}  // namespace vek::h264

using namespace vek::h264;

VekStatus vekiReadDataBlockThroughBoundary_8u(Vek32s sideMask, VekInterpolationParams* pParams) {
    read_data_through_boundary_table_8u()[sideMask](pParams);
    return vekStsOk;
}

VekStatus vekiReadDataBlockThroughBoundary_16u(Vek32s sideMask, VekInterpolationParams* pParams) {
    read_data_through_boundary_table_16u()[sideMask](pParams);
    return vekStsOk;
}

VekStatus vekiReadDataBlockThroughBoundary_NV12_8u(Vek32s sideMask, VekInterpolationParams* pParams) {
    read_data_through_boundary_table_nv12_8u()[sideMask](pParams);
    return vekStsOk;
}

// A field is every other row, starting at row 0 (top) or 1 (bottom). The rows
// below are written first at picture width, then both sides of every treated
// row including the new ones, then the rows above at the expanded width, so
// the corners come out as the nearest corner sample. An odd expandPels gives
// the top field the extra row below and the bottom field the extra row above,
// which is what a frame expanded by the same amount has.
VekStatus vekiExpandPlane_H264_8u_C1R(Vek8u* pSrcDst, Vek32s frameWidth, Vek32s frameHeight, Vek32s srcDstStep,
                                      Vek32s expandPels, Vek32s fieldMode) {
    if (!pSrcDst) return vekStsNullPtrErr;
    if ((frameHeight & 1) || frameHeight < 2 || frameWidth == 0) return vekStsBadArgErr;
    if (expandPels == 0) return vekStsOk;
    if (fieldMode != 0 && fieldMode != 1 && fieldMode != 2) return vekStsBadArgErr;
    if (expandPels < 0 || frameWidth < 0) return vekStsOk;  // nothing to replicate

    const std::ptrdiff_t step = srcDstStep;
    const bool field = fieldMode != 0;
    const std::ptrdiff_t pitch = field ? 2 * step : step;
    Vek8u* const first = pSrcDst + (fieldMode == 2 ? step : 0);
    const int rows = field ? frameHeight / 2 : frameHeight;
    const int below = fieldMode == 0 ? expandPels : fieldMode == 1 ? (expandPels + 1) >> 1 : expandPels >> 1;
    const int above = fieldMode == 0 ? expandPels : fieldMode == 1 ? expandPels >> 1 : (expandPels + 1) >> 1;

    Vek8u* const last = first + (rows - 1) * pitch;
    replicate_row(last, last + pitch, pitch, below, frameWidth);
    for (int r = 0; r < rows + below; ++r) {
        Vek8u* row = first + r * pitch;
        std::memset(row - expandPels, row[0], static_cast<std::size_t>(expandPels));
        std::memset(row + frameWidth, row[frameWidth - 1], static_cast<std::size_t>(expandPels));
    }
    replicate_row(first - expandPels, first - expandPels - pitch, -pitch, above, frameWidth + 2 * expandPels);
    return vekStsOk;
}
