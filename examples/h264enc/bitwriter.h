// Bit writing for the encoder: fixed-length fields and Exp-Golomb codes into
// a raw byte sequence payload, and its packing into an Annex B NAL unit.
#pragma once

#include <cstdint>
#include <vector>

namespace h264enc {

class BitWriter {
public:
    // The low `n` bits of `v`, highest first; n up to 32.
    void put(std::uint32_t v, int n) {
        for (int i = n - 1; i >= 0; --i) put_bit((v >> i) & 1);
    }
    void put_bit(std::uint32_t b) {
        cur_ = static_cast<std::uint8_t>((cur_ << 1) | (b & 1));
        if (++fill_ == 8) {
            bytes_.push_back(cur_);
            cur_ = 0;
            fill_ = 0;
        }
        ++bits_;
    }
    void ue(std::uint32_t v) {
        const std::uint64_t x = std::uint64_t{v} + 1;
        int len = 0;
        while ((x >> len) > 1) ++len;
        put(0, len);
        put(static_cast<std::uint32_t>(x), len + 1);
    }
    void se(int v) { ue(v > 0 ? 2u * static_cast<std::uint32_t>(v) - 1 : 2u * static_cast<std::uint32_t>(-v)); }
    // rbsp_trailing_bits: a one, then zeros to the byte boundary.
    void trailing() {
        put_bit(1);
        while (fill_) put_bit(0);
    }
    std::uint64_t bits() const { return bits_; }
    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
    std::uint8_t cur_ = 0;
    int fill_ = 0;
    std::uint64_t bits_ = 0;
};

// Length in bits of the Exp-Golomb code of `v` (unsigned) or of the signed value.
inline int ue_bits(std::uint32_t v) {
    int len = 0;
    while (((std::uint64_t{v} + 1) >> len) > 1) ++len;
    return 2 * len + 1;
}
inline int se_bits(int v) {
    return ue_bits(v > 0 ? 2u * static_cast<std::uint32_t>(v) - 1 : 2u * static_cast<std::uint32_t>(-v));
}

// Appends a NAL unit with a four-byte start code, inserting an emulation
// prevention byte wherever two zeros would be followed by a byte below 4.
inline void append_nal(std::vector<std::uint8_t>& out, int nal_ref_idc, int nal_type,
                       const std::vector<std::uint8_t>& rbsp) {
    out.insert(out.end(), {0, 0, 0, 1, static_cast<std::uint8_t>((nal_ref_idc << 5) | nal_type)});
    int zeros = 0;
    for (const std::uint8_t b : rbsp) {
        if (zeros >= 2 && b <= 3) {
            out.push_back(3);
            zeros = 0;
        }
        out.push_back(b);
        zeros = b == 0 ? zeros + 1 : 0;
    }
}

}  // namespace h264enc
