// A plain model of every metric, written from the formulas with explicit
// integer arithmetic and no shared code with the library: the oracle of the
// contract tests.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "metric_functions.h"

namespace metrics_test {

// Samples of 1 or 2 bytes at byte offsets from an origin, rows `step` bytes
// apart (zero and negative steps allowed), with margin all around.
class Plane {
public:
    Plane(int width, int height, int step, int sample_bytes, int misalign = 0)
        : width_(width), height_(height), step_(step), sb_(sample_bytes) {
        const long extent = std::labs(static_cast<long>(step)) * (height + 1) + (width + 2) * sample_bytes;
        bytes_.assign(static_cast<std::size_t>(2 * extent + 128), 0xEE);
        origin_ = (step < 0 ? extent : 64) + misalign;
    }
    const void* data() const { return bytes_.data() + origin_; }
    int step() const { return step_; }
    int width() const { return width_; }
    int height() const { return height_; }

    // Sample at byte offset `off` from the origin.
    std::uint32_t at_byte(long off) const {
        if (sb_ == 1) return bytes_[static_cast<std::size_t>(origin_ + off)];
        std::uint16_t v;
        std::memcpy(&v, &bytes_[static_cast<std::size_t>(origin_ + off)], 2);
        return v;
    }
    std::uint32_t get(int x, int y) const { return at_byte(static_cast<long>(step_) * y + static_cast<long>(x) * sb_); }
    void set(int x, int y, std::uint32_t v) {
        const long off = origin_ + static_cast<long>(step_) * y + static_cast<long>(x) * sb_;
        if (sb_ == 1) {
            bytes_[static_cast<std::size_t>(off)] = static_cast<std::uint8_t>(v);
        } else {
            const auto s = static_cast<std::uint16_t>(v);
            std::memcpy(&bytes_[static_cast<std::size_t>(off)], &s, 2);
        }
    }

private:
    int width_, height_, step_, sb_;
    long origin_ = 0;
    std::vector<std::uint8_t> bytes_;
};

// Reference sample at (x, y) for half-pel mode `mode` (0 FF, 1 FH, 2 HF, 3 HH);
// `pitch` is the distance in samples to the right neighbour; `clip` caps the
// sum before the shift (the 16-bit family clips at 65535, 8-bit sums never reach it).
inline std::int64_t model_ref_sample(const Plane& ref, int x, int y, int mode, int pitch, std::int64_t clip) {
    const std::int64_t a = ref.get(x, y);
    std::int64_t sum = 0;
    int shift = 0;
    switch (mode) {
        case 0: return a;
        case 1: sum = a + ref.get(x, y + 1) + 1, shift = 1; break;
        case 2: sum = a + ref.get(x + pitch, y) + 1, shift = 1; break;
        default:
            sum = a + ref.get(x + pitch, y) + ref.get(x, y + 1) + ref.get(x + pitch, y + 1) + 2, shift = 2;
            break;
    }
    if (sum > clip) sum = clip;
    return sum >> shift;
}

// Expected outputs of `f` at `mode`, in output order.
inline std::vector<std::int64_t> model(const MetricFunction& f, const Plane& src, const Plane& ref, int mode) {
    std::vector<std::int64_t> out(static_cast<std::size_t>(f.outputs), 0);
    switch (f.kind) {
        case Kind::kSad8:
        case Kind::kSsd8:
            for (int y = 0; y < f.height; ++y)
                for (int x = 0; x < f.width; ++x) {
                    const std::int64_t d = src.get(x, y) - model_ref_sample(ref, x, y, mode, 1, 1 << 30);
                    out[0] += f.kind == Kind::kSad8 ? std::llabs(d) : d * d;
                }
            break;
        case Kind::kSadPair8:
            for (int y = 0; y < f.height; ++y)
                for (int x = 0; x < f.width; ++x)
                    out[x % 2] += std::llabs(src.get(x, y) - model_ref_sample(ref, x, y, mode, 2, 1 << 30));
            break;
        case Kind::kSad16:
            for (int y = 0; y < f.height; ++y)
                for (int x = 0; x < f.width; ++x) {
                    const std::int64_t m = std::llabs(src.get(x, y) - model_ref_sample(ref, x, y, mode, 1, 65535));
                    out[0] += m >= 32768 ? m - 65536 : m;  // the magnitude read as a signed 16-bit number
                }
            break;
        case Kind::kSadBlocks8:
        case Kind::kSadBlocks16: {
            const int block = f.outputs == 4 ? 8 : 4;
            for (int y = 0; y < 16; ++y)
                for (int x = 0; x < 16; ++x) {
                    std::int64_t d;
                    if (f.kind == Kind::kSadBlocks8) {
                        d = std::llabs(static_cast<std::int64_t>(src.get(x, y)) - ref.get(x, y));
                    } else {
                        // Rows step >> 1 elements apart; the difference wrapped into -32768..32767.
                        const long so = 2L * (src.step() >> 1) * y + 2L * x;
                        const long ro = 2L * (ref.step() >> 1) * y + 2L * x;
                        std::int64_t w = (static_cast<std::int64_t>(src.at_byte(so)) - ref.at_byte(ro)) & 0xFFFF;
                        if (w >= 32768) w -= 65536;
                        d = std::llabs(w);
                    }
                    out[static_cast<std::size_t>((y / block) * (16 / block) + x / block)] += d;
                }
            break;
        }
    }
    return out;
}

}  // namespace metrics_test
