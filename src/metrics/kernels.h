// Kernel tables of the block metrics: SAD and SSD of a current block against
// a reference block at a full- or half-sample position.
//
// Every moded family has one table of four kernels, indexed by the half-pel
// mode (FF, FH, HF, HH). Fixed-size families without a mode get one slot each,
// so that SIMD levels can override them like any other kernel.
//
// Reads: FF reads w x h reference samples, FH w x (h + 1), HF (w + 1) x h,
// HH (w + 1) x (h + 1); the current block is always w x h. No alignment is
// required of pointers or steps; steps may be zero or negative.
#pragma once

#include <array>

#include "frame/cpu.h"
#include "vekvc.h"

namespace vek::metrics {

// Half-sample position of the reference, first letter horizontal, second
// vertical. The value is mcType >> 2 (arithmetic shift); the two low bits of
// mcType never select anything.
enum HalfPelMode : int {
    kModeFF = 0,  // R(x, y)
    kModeFH = 1,  // (R(x, y) + R(x, y + 1) + 1) >> 1
    kModeHF = 2,  // (R(x, y) + R(x + 1, y) + 1) >> 1
    kModeHH = 3,  // (R(x, y) + R(x + 1, y) + R(x, y + 1) + R(x + 1, y + 1) + 2) >> 2, one rounding
    kModeCount = 4,
};

// Table index of an mcType. Values outside 0..15 are outside the contract;
// the mask only keeps such a call inside the table.
constexpr int mode_index(Vek32s mcType) { return (mcType >> 2) & 3; }

// SAD or SSD of one 8-bit block against the reference; the total fits 32 bits.
using Sad8uFn = Vek32s(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep);
using Ssd8uFn = Vek32s(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep);
// SADs of the even and odd bytes of 8 interleaved pairs x 8 rows; a sample's
// right neighbour is two bytes further on.
using SadPair8uFn = void(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep,
                         Vek32s* first, Vek32s* second);
// Per-block SADs of a 16x16 block (4 entries for 8x8 blocks, 16 for 4x4), raster order.
using SadBlocks8uFn = void(const Vek8u* src, Vek32s srcStep, const Vek8u* ref, Vek32s refStep,
                           Vek16u* sads);
// 16-bit samples, steps in bytes: halves saturate at 65535 before the shift and
// each |C - r| enters the total as a signed 16-bit number.
using Sad16uFn = Vek32s(const Vek16u* src, Vek32s srcStep, const Vek16u* ref, Vek32s refStep);
// 16-bit per-block SADs: difference wrapped to signed 16 bits, |d| added in 32
// bits; rows advance by step >> 1 elements.
using SadBlocks16uFn = void(const Vek16u* src, Vek32s srcStep, const Vek16u* ref, Vek32s refStep,
                            Vek32u* sads);

template <class Fn>
using ModeTable = std::array<Fn*, kModeCount>;  // FF, FH, HF, HH
static_assert(std::tuple_size_v<ModeTable<Sad8uFn>> == 4);

struct SadTable {
    ModeTable<Sad8uFn> sad16x16;
    ModeTable<Sad8uFn> sad16x8;
    ModeTable<Sad8uFn> sad8x8;
    ModeTable<SadPair8uFn> sad8x8_c2;
    Sad8uFn* sad8x16;
    Sad8uFn* sad8x4;
    Sad8uFn* sad4x8;
    Sad8uFn* sad4x4;
    SadBlocks8uFn* sad16x16_blocks8x8;
    SadBlocks8uFn* sad16x16_blocks4x4;
};

struct SsdTable {
    ModeTable<Ssd8uFn> ssd8x8;
    ModeTable<Ssd8uFn> ssd4x4;
};

struct Sad16Table {
    ModeTable<Sad16uFn> sad16x16;
    ModeTable<Sad16uFn> sad8x8;
    ModeTable<Sad16uFn> sad4x4;
    SadBlocks16uFn* sad16x16_blocks8x8;
    SadBlocks16uFn* sad16x16_blocks4x4;
};

// Reference kernels in every slot, then the overrides of each level in `flags`.
SadTable make_sad_table(CpuFlags flags);
SsdTable make_ssd_table(CpuFlags flags);
Sad16Table make_sad16_table(CpuFlags flags);

// Overrides of the SIMD levels (x86/*_sse41.cpp, x86/*_avx2.cpp).
void init_sad_table_sse41(SadTable& table);
void init_sad_table_avx2(SadTable& table);
void init_ssd_table_sse41(SsdTable& table);
void init_ssd_table_avx2(SsdTable& table);
void init_sad16_table_sse41(Sad16Table& table);
void init_sad16_table_avx2(Sad16Table& table);

}  // namespace vek::metrics
