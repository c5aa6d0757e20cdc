#include "mpeg2/huffman.h"

#include <cstdint>

#include "frame/bitstream.h"
#include "frame/core.h"

namespace vek::mpeg2 {
namespace {

constexpr Vek32s kMaxLevelWidth = 28;              // 2^29 words exceed what the allocator takes
constexpr std::int64_t kMaxBytes = 0x7FFFFFFF;     // the allocator's length is a Vek32s
constexpr std::int64_t kMaxLinkTarget = 0x7FFFFF;  // a link keeps its index positive in bits 8..31

struct CodeList {
    const Vek32s* widths;  // one per level; widths[0] is the first level's
    Vek32s levels;
    std::int64_t total_width;
    const Vek32s* groups;  // count, records for length 1; count, records for length 2; ...
    int record_words;
};

struct CodeRecord {
    Vek32u code;  // right-aligned, bits above the length cleared
    Vek32s length;
};

bool read_code_list(const Vek32s* list, HuffmanLeafKind kind, CodeList& out) {
    out.levels = list[1];
    if (out.levels < 1) return false;
    out.widths = list + 2;
    out.total_width = 0;
    for (Vek32s j = 0; j < out.levels; ++j) {
        if (out.widths[j] < 0 || out.widths[j] > kMaxLevelWidth) return false;
        out.total_width += out.widths[j];
    }
    out.groups = out.widths + out.levels;
    out.record_words = kind == HuffmanLeafKind::kValue ? 2 : 3;
    return true;
}

// Calls visit(code, length, record) for each code the levels can hold, in list order.
template <class Visit>
void for_each_code(const CodeList& l, Visit&& visit) {
    const Vek32s* p = l.groups;
    for (std::int64_t length = 1;; ++length) {
        const Vek32s count = *p++;
        if (count < 0) return;
        for (Vek32s i = 0; i < count; ++i, p += l.record_words) {
            if (length > l.total_width) continue;
            const Vek32s len = static_cast<Vek32s>(length);
            visit(static_cast<Vek32u>(p[0]) & low_mask(len), len, p);
        }
    }
}

// The first s bits of a code of the given length (s < length).
constexpr Vek32u code_prefix(Vek32u code, std::int64_t length, std::int64_t s) {
    const std::int64_t drop = length - s;
    return drop >= 32 ? 0u : code >> drop;
}

constexpr std::int64_t level_words(Vek32s width) { return 1 + (std::int64_t{1} << width); }

// Size pass: the first level, plus one sub-table per level boundary inside a
// code unless an earlier, longer code with the same prefix opened it already.
// Returns the size in words, or -1 when no table can hold the list.
std::int64_t table_words(const CodeList& l, const CodeRecord* codes, std::int64_t count) {
    std::int64_t size = level_words(l.widths[0]);
    if (size * 4 > kMaxBytes) return -1;
    for (std::int64_t i = 0; i < count; ++i) {
        const CodeRecord& c = codes[i];
        std::int64_t s = 0;
        for (Vek32s j = 0;; ++j) {
            s += l.widths[j];
            if (s >= c.length) break;
            const Vek32u prefix = code_prefix(c.code, c.length, s);
            bool opened = false;
            for (std::int64_t k = 0; k < i && !opened; ++k) {
                opened =
                    codes[k].length > s && code_prefix(codes[k].code, codes[k].length, s) == prefix;
            }
            if (opened) continue;
            if (size > kMaxLinkTarget) return -1;
            size += level_words(l.widths[j + 1]);
            if (size * 4 > kMaxBytes) return -1;
        }
    }
    return size;
}

// Fill pass for one code. A slot already taken by an earlier code on the way
// (a leaf where a link is wanted, or any of the leaf's slots) leaves this
// code out, so a bad list can open no more sub-tables than the size pass
// counted.
void place_code(const CodeList& l, Vek32s* table, Vek32s& next_free, Vek32u code, Vek32s length,
                Vek32u leaf) {
    Vek32s level = 0;  // index of the current level's width word
    std::int64_t s = 0;
    for (Vek32s j = 0;; ++j) {
        const Vek32s width = l.widths[j];
        s += width;
        if (s < length) {
            const Vek32u index = code_prefix(code, length, s) & low_mask(width);
            Vek32s& slot = table[level + 1 + index];
            if (slot == kVlcUnusedEntry) {
                slot = static_cast<Vek32s>((static_cast<Vek32u>(next_free) << 8) | kVlcLinkFlag);
                table[next_free] = l.widths[j + 1];
                level = next_free;
                next_free += static_cast<Vek32s>(level_words(l.widths[j + 1]));
            } else if (slot & kVlcLinkFlag) {
                level = slot >> 8;
            } else {
                return;
            }
            continue;
        }
        // Last level: the code ends u bits before the level does, so it
        // stands in 2^u slots and gives those u bits back.
        const Vek32s u = static_cast<Vek32s>(s - length);
        const Vek32u first = (code & low_mask(width - u)) << u;
        Vek32s* slots = table + level + 1 + first;
        const Vek32u n = Vek32u{1} << u;
        for (Vek32u k = 0; k < n; ++k) {
            if (slots[k] != kVlcUnusedEntry) return;
        }
        const Vek32s entry = static_cast<Vek32s>(leaf | static_cast<Vek32u>(u));
        for (Vek32u k = 0; k < n; ++k) slots[k] = entry;
        return;
    }
}

Vek32u leaf_payload(HuffmanLeafKind kind, const Vek32s* record) {
    if (kind == HuffmanLeafKind::kValue) return static_cast<Vek32u>(record[1]) << 8;
    return (static_cast<Vek32u>(record[2]) << 16) | ((static_cast<Vek32u>(record[1]) & 255u) << 8);
}

}  // namespace

VekStatus build_huffman_table(const Vek32s* pList, HuffmanLeafKind kind,
                              const HuffmanAllocator& allocator, Vek32s** ppTable) {
    CodeList list{};
    if (!read_code_list(pList, kind, list)) return vekStsNoMemErr;

    std::int64_t count = 0;
    for_each_code(list, [&](Vek32u, Vek32s, const Vek32s*) { ++count; });
    if (count * static_cast<std::int64_t>(sizeof(CodeRecord)) > kMaxBytes) return vekStsNoMemErr;

    // Size pass over a compact copy of the codes.
    CodeRecord* codes = nullptr;
    if (count > 0) {
        codes = static_cast<CodeRecord*>(allocator.alloc(
            allocator.ctx,
            static_cast<Vek32s>(count * static_cast<std::int64_t>(sizeof(CodeRecord)))));
        if (!codes) return vekStsNoMemErr;
        std::int64_t i = 0;
        for_each_code(list, [&](Vek32u code, Vek32s length, const Vek32s*) {
            codes[i++] = CodeRecord{code, length};
        });
    }
    const std::int64_t words = table_words(list, codes, count);
    if (codes) allocator.release(allocator.ctx, codes);
    if (words < 0) return vekStsNoMemErr;

    // Fill pass.
    Vek32s* table =
        static_cast<Vek32s*>(allocator.alloc(allocator.ctx, static_cast<Vek32s>(words * 4)));
    if (!table) return vekStsNoMemErr;
    for (std::int64_t i = 0; i < words; ++i) table[i] = kVlcUnusedEntry;
    table[0] = list.widths[0];
    Vek32s next_free = static_cast<Vek32s>(level_words(list.widths[0]));
    for_each_code(list, [&](Vek32u code, Vek32s length, const Vek32s* record) {
        place_code(list, table, next_free, code, length, leaf_payload(kind, record));
    });
    *ppTable = table;
    return vekStsOk;
}

}  // namespace vek::mpeg2

namespace {

void* library_alloc(void*, Vek32s bytes) { return vekMalloc(bytes); }
void library_release(void*, void* ptr) { vekFree(ptr); }
constexpr vek::mpeg2::HuffmanAllocator kLibraryAllocator{library_alloc, library_release, nullptr};

}  // namespace

VekStatus vekiHuffmanTableInitAlloc_32s(const Vek32s* pList, Vek32s** ppTable) {
    if (!pList) return vekStsNullPtrErr;
    if (!ppTable) return vekStsNullPtrErr;
    return vek::mpeg2::build_huffman_table(pList, vek::mpeg2::HuffmanLeafKind::kValue,
                                           kLibraryAllocator, ppTable);
}

VekStatus vekiHuffmanRunLevelTableInitAlloc_32s(const Vek32s* pList, Vek32s** ppTable) {
    if (!pList) return vekStsNullPtrErr;
    if (!ppTable) return vekStsNullPtrErr;
    return vek::mpeg2::build_huffman_table(pList, vek::mpeg2::HuffmanLeafKind::kRunLevel,
                                           kLibraryAllocator, ppTable);
}

VekStatus vekiHuffmanTableFree_32s(Vek32s* pTable) {
    if (!pTable) return vekStsNullPtrErr;
    vekFree(pTable);
    return vekStsOk;
}

VekStatus vekiDecodeHuffmanOne_1u32s(Vek32u** ppBitStream, Vek32s* pOffset, Vek32s* pDst,
                                     const Vek32s* pTable) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pOffset) return vekStsNullPtrErr;
    if (!pTable) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    if (!pDst) return vekStsNullPtrErr;
    vek::WordReader c = vek::load_word_reader(ppBitStream, pOffset);
    const Vek32s leaf = vek::vlc_walk(c, pTable);
    // An invalid code still reports the marker and keeps the cursor where
    // the walk stopped, so the caller can see how far it read.
    if (vek::vlc_leaf_is_invalid(leaf)) {
        *pDst = vek::vlc_leaf_value(leaf);
        vek::store_word_reader(c, ppBitStream, pOffset);
        return vekStsVlcErr;
    }
    *pDst = vek::vlc_give_back(c, leaf);
    vek::store_word_reader(c, ppBitStream, pOffset);
    return vekStsOk;
}

VekStatus vekiDecodeHuffmanPair_1u16s(Vek32u** ppBitStream, Vek32s* pOffset, const Vek32s* pTable,
                                      Vek8u* pFirst, Vek16s* pSecond) {
    if (!ppBitStream) return vekStsNullPtrErr;
    if (!pOffset) return vekStsNullPtrErr;
    if (!pTable) return vekStsNullPtrErr;
    if (!pFirst) return vekStsNullPtrErr;
    if (!pSecond) return vekStsNullPtrErr;
    if (!*ppBitStream) return vekStsNullPtrErr;
    vek::WordReader c = vek::load_word_reader(ppBitStream, pOffset);
    const Vek32s leaf = vek::vlc_walk(c, pTable);
    // Unlike the single decoder, an invalid code leaves the cursor as it was.
    if (vek::vlc_leaf_is_invalid(leaf)) return vekStsVlcErr;
    vek::give_back_bits(c, vek::vlc_leaf_excess(leaf));
    *pFirst = static_cast<Vek8u>(leaf >> 8);
    *pSecond = static_cast<Vek16s>(leaf >> 16);
    vek::store_word_reader(c, ppBitStream, pOffset);
    return vekStsOk;
}
