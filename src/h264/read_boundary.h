// Reading a reference rectangle through the picture's edges: every position
// outside the plane takes the nearest sample of the plane, so the filter
// kernels that run afterwards never see an edge. Shared by the luma and chroma
// interpolation paths.
#pragma once

#include <array>

#include "vekvc.h"

namespace vek::h264 {

// Edges a rectangle crosses; the OR of them indexes the reader tables.
enum SideMask : int {
    kSideLeft = 1,    // xPos < 0
    kSideRight = 2,   // xPos + dataWidth > frameWidth
    kSideTop = 4,     // yPos < 0
    kSideBottom = 8,  // yPos + dataHeight > frameHeight
    kSideMaskCount = 16,
};

// Side mask of a rectangle in a plane.
constexpr int side_mask(int xPos, int yPos, int dataWidth, int dataHeight, int frameWidth, int frameHeight) {
    return (xPos < 0 ? kSideLeft : 0) | (xPos + dataWidth > frameWidth ? kSideRight : 0) |
           (yPos < 0 ? kSideTop : 0) | (yPos + dataHeight > frameHeight ? kSideBottom : 0);
}

// Fills pDst (dataWidth x dataHeight, dstStep) from the plane at pSrc. Reads
// pSrc, srcStep, xPos, yPos, dataWidth, dataHeight, frameWidth, frameHeight;
// may write pulled-back xPos / yPos into the record. Slot 0 writes nothing.
using ReadBoundaryFn = void(VekInterpolationParams* params);
// Indexed by the side mask: none, left, right, left_right, top, top_left,
// top_right, top_left_right, bottom, ..., top_bottom_left_right.
using ReadBoundaryTable = std::array<ReadBoundaryFn*, kSideMaskCount>;

// 8-bit samples, steps in bytes.
const ReadBoundaryTable& read_data_through_boundary_table_8u();
// Interleaved pairs (NV12 chroma): positions and widths in pairs, steps in bytes.
const ReadBoundaryTable& read_data_through_boundary_table_nv12_8u();
// 16-bit samples, steps and positions in elements.
const ReadBoundaryTable& read_data_through_boundary_table_16u();

}  // namespace vek::h264
