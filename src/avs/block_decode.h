// AVS coefficient block decoding: the run/level code tables, the limit
// tables and the scans that the three block decoders share.
#pragma once

#include <array>

#include "vekvc.h"

namespace vek::avs {

struct RunLevel {
    Vek8u run;    // 64 marks end of block
    Vek8s level;
};

// 64 pairs by code number (codes 59 to 63 are escapes and hold nothing), then
// the level-add byte of the escape rule by run.
struct CodeTable {
    RunLevel pair[64];
    Vek8u level_add[32];
};
static_assert(sizeof(CodeTable) == 160, "pairs then level-add bytes, packed");

inline constexpr int kIntraTableCount = 7;
inline constexpr int kInterTableCount = 7;
inline constexpr int kChromaTableCount = 5;

extern const CodeTable kIntraTables[kIntraTableCount];
extern const CodeTable kInterTables[kInterTableCount];
extern const CodeTable kChromaTables[kChromaTableCount];

// Longest run whose escape still earns the table's level-add, by largest level.
extern const Vek8u kIntraMaxRun[12];
extern const Vek8u kInterMaxRun[12];
extern const Vek8u kChromaMaxRun[6];

// Raster index by scan position: row 0 frame, row 1 field.
extern const Vek32s kScan[2][64];

}  // namespace vek::avs
