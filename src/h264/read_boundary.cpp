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

// `count` columns of C samples each, all equal to the column at `col`.
// Small copies and fills in whole 8-byte words, the last one overlapping the
// one before: no byte loops and no library calls on the rows of a block.
inline void copy_bytes(void* dst, const void* src, int n) {
    auto* d = static_cast<unsigned char*>(dst);
    const auto* s = static_cast<const unsigned char*>(src);
    if (n < 8 || n > 64) {
        if (n > 0) std::memcpy(d, s, static_cast<std::size_t>(n));
        return;
    }
    std::uint64_t w;
    for (int i = 0; i + 8 < n; i += 8) {
        std::memcpy(&w, s + i, 8);
        std::memcpy(d + i, &w, 8);
    }
    std::memcpy(&w, s + n - 8, 8);
    std::memcpy(d + n - 8, &w, 8);
}

inline void fill_bytes(unsigned char* d, unsigned char v, int n) {
    if (n < 8 || n > 64) {
        if (n > 0) std::memset(d, v, static_cast<std::size_t>(n));
        return;
    }
    const std::uint64_t w = v * 0x0101010101010101ull;
    for (int i = 0; i + 8 < n; i += 8) std::memcpy(d + i, &w, 8);
    std::memcpy(d + n - 8, &w, 8);
}

template <class T, int C>
void repeat_column(T* out, const T* col, int count) {
    if constexpr (sizeof(T) == 1 && C == 1) {
        fill_bytes(out, col[0], count);
    } else {
        for (int i = 0; i < count; ++i)
            for (int c = 0; c < C; ++c) out[i * C + c] = col[c];
    }
}

// One destination row from one plane row, by the horizontal rule. The left
// rule copies from the row's start whatever follows, so a plane narrower than
// the rectangle is read past its right edge (into the next row's memory): a
// rectangle wider than the plane is treated on one side only, on purpose.
template <class T, int C, HorizontalRule H>
void build_row(const T* row, T* out, int xPos, int width, int frameWidth) {
    if constexpr (H == kHNone) {
        copy_bytes(out, row + static_cast<std::ptrdiff_t>(xPos) * C, static_cast<int>(sizeof(T)) * C * width);
    } else if constexpr (H == kHLeft) {
        const int outside = std::clamp(-xPos, 0, width);
        repeat_column<T, C>(out, row, outside);
        copy_bytes(out + outside * C, row, static_cast<int>(sizeof(T)) * C * (width - outside));
    } else {
        const int inside = std::clamp(frameWidth - xPos, 0, width);
        copy_bytes(out, row + static_cast<std::ptrdiff_t>(xPos) * C, static_cast<int>(sizeof(T)) * C * inside);
        repeat_column<T, C>(out + inside * C, row + static_cast<std::ptrdiff_t>(frameWidth - 1) * C,
                            width - inside);
    }
}

// One of the nine real readers: pulls the start back so that at least one
// plane sample stays in the rectangle (the caller sees the new position), then
// builds each row; rows outside the plane repeat the nearest plane row.
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

    const T* plane = static_cast<const T*>(p->pSrc);
    T* dst = static_cast<T*>(p->pDst);
    for (int i = 0; i < p->dataHeight; ++i) {
        int row = p->yPos + i;
        if constexpr (V == kVTop) row = std::max(row, 0);
        if constexpr (V == kVBottom) row = std::min(row, p->frameHeight - 1);
        build_row<T, C, H>(plane + row * p->srcStep, dst + i * p->dstStep, p->xPos, p->dataWidth, p->frameWidth);
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
