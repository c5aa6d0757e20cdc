// Reading one NAL unit's payload through the library's word cursor.
//
// The library's CAVLC and Exp-Golomb functions read 32-bit words whose first
// stream bit is bit 31, so a payload is unescaped (00 00 03 loses its 03)
// and packed big-endian into words. The words after the payload are all
// ones: every code the parser can meet ends at a 1 bit, so a parser that runs
// past the end of a damaged payload stops within a few bits, and the caller
// sees the overrun by position.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "vekvc.h"

namespace h264dec {

class Payload {
public:
    // Unescapes and packs bytes [data, data + size) of a NAL unit, header excluded.
    void assign(const std::uint8_t* data, std::size_t size) {
        // Room for the bytes and the 0xFF filling of the last word.
        bytes_.resize(size + 3);
        std::uint8_t* out = bytes_.data();
        std::size_t n = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const std::uint8_t b = data[i];
            // Zeros are never dropped, so two zero bytes just before an
            // 03 in the input are two zeros just before it in the output.
            if (b == 3 && i >= 2 && data[i - 1] == 0 && data[i - 2] == 0) continue;
            out[n++] = b;
        }
        size_ = n;
        // The stop bit is the last 1 bit; trailing zero bytes are cabac_zero_words.
        std::size_t last = n;
        while (last > 0 && out[last - 1] == 0) --last;
        stop_bit_ = 0;
        if (last > 0) {
            const std::uint8_t b = out[last - 1];
            int trailing = 0;
            while (!((b >> trailing) & 1)) ++trailing;
            stop_bit_ = (last - 1) * 8 + (7 - trailing);
        }
        const std::size_t words = (n + 3) / 4;
        for (std::size_t k = n; k < words * 4; ++k) out[k] = 0xFF;
        words_.resize(words + kPadWords);
        for (std::size_t w = 0; w < words; ++w) {
            const std::uint8_t* q = out + 4 * w;
            words_[w] = (Vek32u{q[0]} << 24) | (Vek32u{q[1]} << 16) | (Vek32u{q[2]} << 8) | q[3];
        }
        std::fill(words_.begin() + static_cast<std::ptrdiff_t>(words), words_.end(), 0xFFFFFFFFu);
    }
    const Vek32u* words() const { return words_.data(); }
    Vek32u* words() { return words_.data(); }
    std::size_t stop_bit() const { return stop_bit_; }
    std::size_t size_bits() const { return size_ * 8; }

    static constexpr std::size_t kPadWords = 64;

private:
    std::vector<std::uint8_t> bytes_;
    std::size_t size_ = 0;  // unescaped bytes
    std::vector<Vek32u> words_;
    std::size_t stop_bit_ = 0;
};

// A cursor over a Payload in the library's convention: the word holding the
// next bit and that bit's index, 31 first.
class BitReader {
public:
    explicit BitReader(Payload& p) : base_(p.words()), word_(p.words()), stop_bit_(p.stop_bit()),
                                     limit_bit_(p.size_bits()) {}

    std::size_t position() const { return static_cast<std::size_t>(word_ - base_) * 32 + (31 - offset_); }
    // More syntax before the stop bit (the more_rbsp_data() of the standard).
    bool more_data() const { return position() < stop_bit_; }
    // True once anything past the payload has been consumed.
    bool overrun() const { return position() > limit_bit_; }

    std::uint32_t bits(int n) {
        if (n == 0) return 0;
        const int t = offset_ - n;
        std::uint32_t v;
        if (t >= 0) {
            v = word_[0] >> (t + 1);
            offset_ = t;
        } else {
            const std::uint64_t both = (static_cast<std::uint64_t>(word_[0]) << 32) | word_[1];
            offset_ = t + 32;
            ++word_;
            v = static_cast<std::uint32_t>(both >> (offset_ + 1));
        }
        return n == 32 ? v : v & ((1u << n) - 1);
    }
    bool flag() { return bits(1) != 0; }
    void skip(int n) {
        while (n > 24) {
            bits(24);
            n -= 24;
        }
        bits(n);
    }
    void align() {
        const int r = static_cast<int>(position() & 7);
        if (r) bits(8 - r);
    }
    // ue(v) and se(v) go through the library.
    std::uint32_t ue() {
        Vek32s v = 0;
        if (vekiDecodeExpGolombOne_H264_1u32s(&word_, &offset_, &v, 0) != vekStsOk) bad_ = true;
        return static_cast<std::uint32_t>(v);
    }
    std::int32_t se() {
        Vek32s v = 0;
        if (vekiDecodeExpGolombOne_H264_1u32s(&word_, &offset_, &v, 1) != vekStsOk) bad_ = true;
        return v;
    }
    // A ue(v) that must not exceed `max`; larger values mark the reader bad.
    std::uint32_t ue_max(std::uint32_t max) {
        const std::uint32_t v = ue();
        if (v > max) bad_ = true;
        return v > max ? max : v;
    }
    bool bad() const { return bad_ || overrun(); }
    void mark_bad() { bad_ = true; }

    Vek32u** word_ptr() { return &word_; }
    Vek32s* offset_ptr() { return &offset_; }

private:
    Vek32u* base_;
    Vek32u* word_;
    Vek32s offset_ = 31;
    std::size_t stop_bit_;
    std::size_t limit_bit_;
    bool bad_ = false;
};

}  // namespace h264dec
