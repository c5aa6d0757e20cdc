// Test-side DV segment writer: codes blocks with the decoder's code table and
// distributes the bits that do not fit a block's space the way a DV encoder
// does: into spare bits of the same macroblock first, then of the segment.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "dv/huffman.h"
#include "vekvc.h"

namespace vek::dv::test {

// A file of tests/data/dv (real frames, written by a DV encoder).
inline std::filesystem::path data_path(const std::string& name) {
    return std::filesystem::path(__FILE__).parent_path() / ".." / "data" / "dv" / name;
}
inline std::vector<std::uint8_t> read_data(const std::string& name) {
    std::ifstream in(data_path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
// The video DIF blocks (section type 4) of a frame, in order.
inline std::vector<std::uint8_t> video_difs(const std::vector<std::uint8_t>& frame) {
    std::vector<std::uint8_t> video;
    for (std::size_t at = 0; at + 80 <= frame.size(); at += 80)
        if ((frame[at] >> 5) == 4) video.insert(video.end(), frame.begin() + long(at), frame.begin() + long(at) + 80);
    return video;
}

struct TestBlock {
    int dc = 0;      // -256..255
    int mode = 0;    // DCT mode bit
    int cls = 0;     // class 0..3
    std::vector<std::pair<int, int>> ac;  // (scan position 1..63, level -255..255, not 0), ascending
};

// The low n bits of v as a bit string ('0'/'1').
inline std::string bits_of(int v, int n) {
    std::string s;
    for (int b = n - 1; b >= 0; --b) s += ((v >> b) & 1) ? '1' : '0';
    return s;
}

// Bit string ('0'/'1') of the shortest code the table holds for `advance`
// positions and `value`; empty when it has none. Long codes are indexed by the
// low 10 bits of 13, whose top 3 bits are always 111.
inline std::string find_code(int advance, int value) {
    const ConstTable& t = _const_table;
    for (int length = 3; length <= 13; ++length) {
        const bool is_short = length <= 9;
        for (int i = is_short ? 0 : 512; i < (is_short ? 512 : 1024); ++i) {
            const CodeEntry e = is_short ? t.short_codes[i] : t.long_codes[i];
            if (e.length == length && e.advance == advance && e.value == value)
                return bits_of(is_short ? i >> (9 - length) : (7 * 1024 + i) >> (13 - length), length);
        }
    }
    return {};
}

// AC codes and end of block of one block.
inline std::string code_block(const TestBlock& blk) {
    std::string out;
    int last = 0;
    for (const auto& [pos, level] : blk.ac) {
        int run = pos - last - 1;
        std::string c = find_code(run + 1, level * 64);
        if (c.empty()) {
            if (run > 0) out += find_code(run, 0);  // the zeros, then the level alone
            c = find_code(1, level * 64);
            if (c.empty()) c = "1111111" + bits_of(level < 0 ? -level : level, 8) + (level < 0 ? "1" : "0");
        }
        out += c;
        last = pos;
    }
    return out + "0110";
}

struct Span {
    int pos, len;
};
// Writes `bits` into the spans in order; returns what did not fit.
inline std::string fill(std::vector<std::uint8_t>& seg, std::vector<Span>& spans, std::string bits) {
    std::vector<Span> left;
    for (Span s : spans) {
        const int take = std::min<int>(s.len, static_cast<int>(bits.size()));
        for (int i = 0; i < take; ++i)
            if (bits[std::size_t(i)] == '1') seg[std::size_t((s.pos + i) >> 3)] |= std::uint8_t(0x80 >> ((s.pos + i) & 7));
        bits.erase(0, std::size_t(take));
        if (take < s.len) left.push_back({s.pos + take, s.len - take});
    }
    spans = left;
    return bits;
}

// A 400-byte segment of 5 * layout.blocks blocks with quantisation numbers
// qno[m]. Returns false when the blocks need more bits than the segment has.
inline bool write_segment(const SegmentLayout& layout, const std::vector<TestBlock>& blocks, const int* qno,
                          std::vector<std::uint8_t>& seg) {
    seg.assign(400, 0);
    std::vector<Span> seg_spare;
    std::string seg_over;
    for (int m = 0; m < 5; ++m) {
        seg[std::size_t(80 * m + 3)] = std::uint8_t(qno[m] & 15);
        std::vector<Span> mb_spare;
        std::string mb_over;
        for (int k = 0; k < layout.blocks; ++k) {
            const TestBlock& blk = blocks[std::size_t(m * layout.blocks + k)];
            const int start = (80 * m + layout.offset[k]) * 8;
            std::vector<Span> own{{start, 12}};
            fill(seg, own, bits_of(blk.dc & 511, 9) + bits_of(blk.mode, 1) + bits_of(blk.cls, 2));
            std::vector<Span> space{{start + 12, layout.bits[k] - 12}};
            mb_over += fill(seg, space, code_block(blk));
            mb_spare.insert(mb_spare.end(), space.begin(), space.end());
        }
        seg_over += fill(seg, mb_spare, mb_over);
        seg_spare.insert(seg_spare.end(), mb_spare.begin(), mb_spare.end());
    }
    return fill(seg, seg_spare, seg_over).empty();
}

}  // namespace vek::dv::test
