// Fuzz target for the CAVLC block decoders and the Exp-Golomb decoder, on the
// H.264 code tables (tests/data/vlc) built with the library's table builder.
//
// Input: [form][selector] then the bit stream (little-endian words). form % 8
// / 2: 0 luma blocks, 1 4:2:0 chroma DC, 2 4:2:2 chroma DC, 3 Exp-Golomb with
// isSigned = selector; form bit 7 swaps the tables for ones of other codes.
// Each block is also decoded on the reference and the walking paths, which
// must give the same as the fast one. For luma the selector gives nC (selector % 20, so the
// fixed 6-bit form is reached) and the capacity (bit 7: 15, else 16). Both
// widths decode from the same cursor, code after code, until the cursor
// passes the data. The stream is followed by as many bytes of ones as it has,
// plus 128: a level's escape suffix is no longer than its prefix of zeros, so
// a reader never needs more, and every prefix ends in the padding.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "h264/cavlc_decode.h"
#include "vekvc.h"

namespace {

[[noreturn]] void fail() { __builtin_trap(); }

struct Tables {
    std::array<const Vek32s*, 3> token{};
    const Vek32s* token420 = nullptr;
    const Vek32s* token422 = nullptr;
    std::array<std::array<const Vek32s*, 17>, 3> zeros{};
    std::array<const Vek32s*, 17> run{};
    bool ok = false;
};

struct Code {
    std::string bits;
    int key1, key2, value;
};

std::vector<std::vector<int>> read_rows(const char* name, std::vector<std::string>& codes) {
    const auto path = std::filesystem::path(__FILE__).parent_path() / ".." / "tests" / "data" / "vlc" / name;
    std::ifstream in(path);
    std::vector<std::vector<int>> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream f(line);
        std::string code;
        f >> code;
        std::vector<int> v;
        for (int x; f >> x;) v.push_back(x);
        codes.push_back(code);
        rows.push_back(v);
    }
    return rows;
}

// A table of (code, value) pairs, two levels of 6 and 10 bits.
const Vek32s* build(const std::vector<std::pair<std::string, Vek32s>>& codes) {
    std::vector<Vek32s> list = {0, 2, 6, 10};
    for (std::size_t length = 1; length <= 16; ++length) {
        const std::size_t count = list.size();
        list.push_back(0);
        for (const auto& [code, value] : codes)
            if (code.size() == length) {
                ++list[count];
                list.push_back(static_cast<Vek32s>(std::stoul(code, nullptr, 2)));
                list.push_back(value);
            }
    }
    list.push_back(-1);
    Vek32s* t = nullptr;
    if (vekiHuffmanTableInitAlloc_32s(list.data(), &t) != vekStsOk) fail();
    return t;  // kept for the whole run
}

Tables make_tables() {
    Tables t;
    std::vector<std::string> codes;
    const auto token_rows = read_rows("h264_coeff_token.txt", codes);
    if (token_rows.empty()) return t;
    const auto token_table = [&](int cls) {
        std::vector<std::pair<std::string, Vek32s>> list;
        for (std::size_t i = 0; i < token_rows.size(); ++i)
            if (token_rows[i][0] == cls) list.emplace_back(codes[i], token_rows[i][1] | token_rows[i][2] << 8);
        return build(list);
    };
    t.token = {token_table(0), token_table(2), token_table(4)};
    t.token420 = token_table(-1);
    t.token422 = token_table(-2);
    const char* zero_files[] = {"h264_total_zeros_4x4.txt", "h264_total_zeros_chroma_dc_420.txt",
                                "h264_total_zeros_chroma_dc_422.txt"};
    for (int kind = 0; kind < 3; ++kind) {
        codes.clear();
        const auto rows = read_rows(zero_files[kind], codes);
        for (int total = 1; total <= 15; ++total) {
            std::vector<std::pair<std::string, Vek32s>> list;
            for (std::size_t i = 0; i < rows.size(); ++i)
                if (rows[i][0] == total) list.emplace_back(codes[i], rows[i][1]);
            if (!list.empty()) t.zeros[kind][total] = build(list);
        }
    }
    codes.clear();
    const auto run_rows = read_rows("h264_run_before.txt", codes);
    for (int left = 1; left <= 7; ++left) {
        std::vector<std::pair<std::string, Vek32s>> list;
        for (std::size_t i = 0; i < run_rows.size(); ++i)
            if (run_rows[i][0] == left) list.emplace_back(codes[i], run_rows[i][1]);
        t.run[left] = build(list);
    }
    for (int left = 8; left <= 16; ++left) t.run[left] = t.run[7];
    t.ok = true;
    return t;
}

constexpr std::array<Vek32s, 17> kZigzag = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15, 0};

struct Cursor {
    Vek32u* word;
    Vek32s offset;
    bool operator==(const Cursor&) const = default;
};

// One block from cur on each decoding path: all results must agree.
template <class C>
void compare_paths(const Tables& t, int form, Vek32s nc, Vek32s capacity, const Cursor& cur) {
    using vek::h264::CavlcPath;
    const int size = form == 0 ? 16 : form == 1 ? 4 : 8;
    const Vek32s* token = form == 1 ? t.token420 : form == 2 ? t.token422 : nc >= 8 ? nullptr
                                                                                   : t.token[(nc >= 2) + (nc >= 4)];
    std::array<C, 16> out[3];
    Cursor c[3];
    Vek16s num[3];
    VekStatus st[3];
    C* dst[3];
    const CavlcPath paths[3] = {CavlcPath::kReference, CavlcPath::kWalk, CavlcPath::kFast};
    for (int p = 0; p < 3; ++p) {
        out[p].fill(C{0x3333});
        c[p] = cur;
        num[p] = -1;
        dst[p] = out[p].data();
        st[p] = vek::h264::decode_cavlc_block<C>(paths[p], size, &c[p].word, &c[p].offset, &num[p], &dst[p], token,
                                                 t.zeros[static_cast<std::size_t>(form)].data(), t.run.data(),
                                                 kZigzag.data(), form == 0 ? capacity : size, nc);
    }
    for (int p = 1; p < 3; ++p)
        if (st[p] != st[0] || num[p] != num[0] || !(c[p] == c[0]) || dst[p] - out[p].data() != dst[0] - out[0].data() ||
            out[p] != out[0])
            fail();
}

// Decodes one block in both widths from the same cursor. They must agree
// wherever no level reaches +-32768 (where the 16-bit form steers differently).
void decode_block(const Tables& t, int form, int selector, Cursor& cur) {
    const Vek32s nc = selector % 20, capacity = (selector & 0x80) ? 15 : 16;
    std::array<Vek16s, 16> out16;
    std::array<Vek32s, 16> out32;
    out16.fill(0x7777);
    out32.fill(0x7777);
    Vek16s* d16 = out16.data();
    Vek32s* d32 = out32.data();
    Vek16s n16 = -1, n32 = -1;
    Cursor c16 = cur, c32 = cur;
    VekStatus s16, s32;
    int size;
    if (form == 0) {
        size = 16;
        s16 = vekiDecodeCAVLCCoeffs_H264_1u16s(&c16.word, &c16.offset, &n16, &d16, nc, capacity, t.token.data(),
                                               t.zeros[0].data(), t.run.data(), kZigzag.data());
        s32 = vekiDecodeCAVLCCoeffs_H264_1u32s(&c32.word, &c32.offset, &n32, &d32, nc, capacity, t.token.data(),
                                               t.zeros[0].data(), t.run.data(), kZigzag.data());
    } else if (form == 1) {
        size = 4;
        s16 = vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(&c16.word, &c16.offset, &n16, &d16, t.token420,
                                                       t.zeros[1].data(), t.run.data());
        s32 = vekiDecodeCAVLCChromaDcCoeffs_H264_1u32s(&c32.word, &c32.offset, &n32, &d32, t.token420,
                                                       t.zeros[1].data(), t.run.data());
    } else {
        size = 8;
        s16 = vekiDecodeCAVLCChroma422DcCoeffs_H264_1u16s(&c16.word, &c16.offset, &n16, &d16, t.token422,
                                                          t.zeros[2].data(), t.run.data());
        s32 = vekiDecodeCAVLCChroma422DcCoeffs_H264_1u32s(&c32.word, &c32.offset, &n32, &d32, t.token422,
                                                          t.zeros[2].data(), t.run.data());
    }
    compare_paths<Vek16s>(t, form, nc, capacity, cur);
    compare_paths<Vek32s>(t, form, nc, capacity, cur);
    if (s32 != vekStsOk && s32 != vekStsVlcErr) fail();
    if (s32 == vekStsVlcErr && !(c32 == cur)) fail();
    if (s32 == vekStsOk && (n32 < 0 || n32 > size)) fail();
    if (s32 == vekStsOk && d32 != out32.data() + (n32 ? size : 0)) fail();
    bool extreme = false;
    for (int k = 0; k < size; ++k) extreme |= out32[k] == 32768 || out32[k] == -32768;
    if (!extreme) {
        if (s16 != s32 || n16 != n32 || !(c16 == c32)) fail();
        for (int k = 0; k < size; ++k)
            if (out16[k] != static_cast<Vek16s>(out32[k])) fail();
    }
    cur = c32;
}

void decode_exp_golomb(int selector, Cursor& cur) {
    Cursor c16 = cur, c32 = cur;
    Vek16s v16 = 0;
    Vek32s v32 = 0;
    const VekStatus s16 = vekiDecodeExpGolombOne_H264_1u16s(&c16.word, &c16.offset, &v16, selector);
    const VekStatus s32 = vekiDecodeExpGolombOne_H264_1u32s(&c32.word, &c32.offset, &v32, selector != 0);
    if (s16 != s32 || !(c16 == c32)) fail();
    if (s16 == vekStsOk && v16 != static_cast<Vek16s>(v32)) fail();
    if (s16 == vekStsVlcErr && !(c16 == cur)) fail();
    cur = c32;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Tables standard = make_tables();
    if (!standard.ok) fail();
    // Tokens of another nC class and runs of another count of zeros left: the
    // fast path's guesses are refuted, and nothing reads beyond the block.
    static const Tables other = [] {
        Tables t = standard;
        std::swap(t.token[0], t.token[2]);
        for (int left = 1; left <= 16; ++left) t.run[left] = standard.run[left % 7 + 1];
        return t;
    }();
    if (size < 2) return 0;
    const Tables& tables = (data[0] & 0x80) ? other : standard;
    const int form = data[0] % 8, selector = data[1];
    data += 2;
    size -= 2;
    const std::size_t data_words = (size + 3) / 4;
    std::vector<Vek32u> words(2 * data_words + 32, 0xFFFFFFFFu);
    if (size > 0) {
        std::fill(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(data_words), 0u);
        std::memcpy(words.data(), data, size);
    }
    Cursor cur{words.data(), 31};
    Vek32u* const end = words.data() + data_words;
    for (int steps = 0; cur.word < end && steps < 100000; ++steps) {
        const Cursor before = cur;
        if (form >= 6)
            decode_exp_golomb(selector, cur);
        else
            decode_block(tables, form / 2, selector, cur);
        if (cur == before && --cur.offset < 0) {  // an invalid code: step over one bit
            cur.offset = 31;
            ++cur.word;
        }
    }
    return 0;
}
