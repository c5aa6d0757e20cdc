// The seventeen exported metrics behind one description, so the contract
// tests can go over all of them from tables.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vekvc.h"

namespace metrics_test {

enum class Kind {
    kSad8,         // 8-bit SAD, one 32-bit total
    kSsd8,         // 8-bit SSD
    kSadPair8,     // interleaved pairs: two totals, first and second plane
    kSad16,        // 16-bit SAD, saturating halves, magnitudes added as signed 16-bit
    kSadBlocks8,   // per-block 8-bit SADs, 16-bit entries
    kSadBlocks16,  // per-block 16-bit SADs, wrapped differences, 32-bit entries
};

// Calls the function; `out` and `out2` point at its outputs (out2 only for pairs).
using Caller = VekStatus (*)(const void* src, Vek32s srcStep, const void* ref, Vek32s refStep, void* out,
                             void* out2, Vek32s mcType);

struct MetricFunction {
    const char* name;
    Kind kind;
    int width;   // samples per row (pairs: 16 bytes)
    int height;
    bool moded;
    int outputs;  // entries written
    Caller call;
};

inline int sample_bytes(Kind k) { return (k == Kind::kSad16 || k == Kind::kSadBlocks16) ? 2 : 1; }
inline int output_bytes(Kind k) { return k == Kind::kSadBlocks8 ? 2 : 4; }

#define METRIC_8U(fn) \
    [](const void* s, Vek32s ss, const void* r, Vek32s rs, void* o, void*, Vek32s mc) { \
        return fn(static_cast<const Vek8u*>(s), ss, static_cast<const Vek8u*>(r), rs, static_cast<Vek32s*>(o), mc); \
    }
#define METRIC_8U_FIXED(fn) \
    [](const void* s, Vek32s ss, const void* r, Vek32s rs, void* o, void*, Vek32s) { \
        return fn(static_cast<const Vek8u*>(s), ss, static_cast<const Vek8u*>(r), rs, static_cast<Vek32s*>(o)); \
    }
#define METRIC_16U(fn) \
    [](const void* s, Vek32s ss, const void* r, Vek32s rs, void* o, void*, Vek32s mc) { \
        return fn(static_cast<const Vek16u*>(s), ss, static_cast<const Vek16u*>(r), rs, static_cast<Vek32s*>(o), \
                  mc); \
    }

inline const std::vector<MetricFunction>& all_metrics() {
    static const std::vector<MetricFunction> list = {
        {"vekiSAD16x16_8u32s", Kind::kSad8, 16, 16, true, 1, METRIC_8U(vekiSAD16x16_8u32s)},
        {"vekiSAD16x8_8u32s_C1R", Kind::kSad8, 16, 8, true, 1, METRIC_8U(vekiSAD16x8_8u32s_C1R)},
        {"vekiSAD8x8_8u32s_C1R", Kind::kSad8, 8, 8, true, 1, METRIC_8U(vekiSAD8x8_8u32s_C1R)},
        {"vekiSAD8x8_8u32s_C2R", Kind::kSadPair8, 16, 8, true, 2,
         [](const void* s, Vek32s ss, const void* r, Vek32s rs, void* o, void* o2, Vek32s mc) {
             return vekiSAD8x8_8u32s_C2R(static_cast<const Vek8u*>(s), ss, static_cast<const Vek8u*>(r), rs,
                                         static_cast<Vek32s*>(o), static_cast<Vek32s*>(o2), mc);
         }},
        {"vekiSAD8x16_8u32s_C1R", Kind::kSad8, 8, 16, false, 1, METRIC_8U_FIXED(vekiSAD8x16_8u32s_C1R)},
        {"vekiSAD8x4_8u32s_C1R", Kind::kSad8, 8, 4, false, 1, METRIC_8U_FIXED(vekiSAD8x4_8u32s_C1R)},
        {"vekiSAD4x8_8u32s_C1R", Kind::kSad8, 4, 8, false, 1, METRIC_8U_FIXED(vekiSAD4x8_8u32s_C1R)},
        {"vekiSAD4x4_8u32s", Kind::kSad8, 4, 4, false, 1, METRIC_8U_FIXED(vekiSAD4x4_8u32s)},
        {"vekiSAD16x16_16u32s_C1R", Kind::kSad16, 16, 16, true, 1, METRIC_16U(vekiSAD16x16_16u32s_C1R)},
        {"vekiSAD8x8_16u32s_C1R", Kind::kSad16, 8, 8, true, 1, METRIC_16U(vekiSAD8x8_16u32s_C1R)},
        {"vekiSAD4x4_16u32s_C1R", Kind::kSad16, 4, 4, true, 1, METRIC_16U(vekiSAD4x4_16u32s_C1R)},
        {"vekiSSD8x8_8u32s_C1R", Kind::kSsd8, 8, 8, true, 1, METRIC_8U(vekiSSD8x8_8u32s_C1R)},
        {"vekiSSD4x4_8u32s_C1R", Kind::kSsd8, 4, 4, true, 1, METRIC_8U(vekiSSD4x4_8u32s_C1R)},
        {"vekiSAD16x16Blocks8x8_8u16u", Kind::kSadBlocks8, 16, 16, false, 4,
         [](const void* s, Vek32s ss, const void* r, Vek32s rs, void* o, void*, Vek32s) {
             return vekiSAD16x16Blocks8x8_8u16u(static_cast<const Vek8u*>(s), ss, static_cast<const Vek8u*>(r), rs,
                                                static_cast<Vek16u*>(o));
         }},
        {"vekiSAD16x16Blocks4x4_8u16u", Kind::kSadBlocks8, 16, 16, false, 16,
         [](const void* s, Vek32s ss, const void* r, Vek32s rs, void* o, void*, Vek32s) {
             return vekiSAD16x16Blocks4x4_8u16u(static_cast<const Vek8u*>(s), ss, static_cast<const Vek8u*>(r), rs,
                                                static_cast<Vek16u*>(o));
         }},
        {"vekiSAD16x16Blocks8x8_16u32u_C1R", Kind::kSadBlocks16, 16, 16, false, 4,
         [](const void* s, Vek32s ss, const void* r, Vek32s rs, void* o, void*, Vek32s) {
             return vekiSAD16x16Blocks8x8_16u32u_C1R(static_cast<const Vek16u*>(s), ss,
                                                     static_cast<const Vek16u*>(r), rs, static_cast<Vek32u*>(o));
         }},
        {"vekiSAD16x16Blocks4x4_16u32u_C1R", Kind::kSadBlocks16, 16, 16, false, 16,
         [](const void* s, Vek32s ss, const void* r, Vek32s rs, void* o, void*, Vek32s) {
             return vekiSAD16x16Blocks4x4_16u32u_C1R(static_cast<const Vek16u*>(s), ss,
                                                     static_cast<const Vek16u*>(r), rs, static_cast<Vek32u*>(o));
         }},
    };
    return list;
}

#undef METRIC_8U
#undef METRIC_8U_FIXED
#undef METRIC_16U

inline const MetricFunction& metric(const char* name) {
    for (const auto& m : all_metrics())
        if (std::strcmp(m.name, name) == 0) return m;
    std::abort();  // a misspelt name in a test table
}

}  // namespace metrics_test
