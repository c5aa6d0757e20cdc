// Kernel tables of the VC-1 integer transforms. Blocks are 16-bit, width x
// height (4x8 is four columns of eight rows), steps in bytes.
#pragma once

#include <array>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::vc1 {

// Inverse transform of one block size. Only the top-left cols x rows
// coefficients are read (1 <= cols <= width, 1 <= rows <= height); the others
// count as 0. src may equal dst.
using InvTransformFn = void(const Vek16s* src, Vek32s srcStep, Vek16s* dst, Vek32s dstStep, int cols, int rows);
// DC-only shortcut: every output from the first coefficient alone.
using InvDcFn = void(const Vek16s* src, Vek16s* dst, Vek32s dstStep);

enum TransformSize : int { k8x8, k4x8, k8x4, k4x4, kTransformSizes };

struct TransformTable {
    std::array<InvTransformFn*, kTransformSizes> inverse;
    std::array<InvDcFn*, kTransformSizes> inverse_dc;
};

// Rows by frequency of the inverse bases.
inline constexpr int kT4[4][4] = {{17, 17, 17, 17}, {22, 10, -10, -22}, {17, -17, -17, 17}, {10, -22, 22, -10}};
inline constexpr int kT8[8][8] = {
    {12, 12, 12, 12, 12, 12, 12, 12},     {16, 15, 9, 4, -4, -9, -15, -16},   {16, 6, -6, -16, -16, -6, 6, 16},
    {15, -4, -16, -9, 9, 16, 4, -15},     {12, -12, -12, 12, 12, -12, -12, 12}, {9, -16, 4, 15, -15, -4, 16, -9},
    {6, -16, 16, -6, -6, 16, -16, 6},     {4, -9, 15, -16, 16, -15, 9, -4}};

TransformTable make_transform_table(CpuFlags flags);
void init_transform_table_sse41(TransformTable& table);
void init_transform_table_avx2(TransformTable& table);

}  // namespace vek::vc1
