// Caller-built DV lookup tables. The segment decoders never read them; the
// builder exists for callers that walk their own tables.
//
// List format (Vek32s): the index width w (1 to 16), the code count n, then n
// triples (length, code, value) with 1 <= length <= w and code < 2^length.
// Table: the two widths, then 2^w1 entries for the first list and 2^w2 for
// the second; an entry is value << 8 | length, 0 where no code starts.
#include "frame/core.h"
#include "vekvc.h"

namespace vek::dv {

namespace {

// Entries a valid list needs, or -1 when the list is malformed.
Vek32s list_entries(const Vek32s* list) {
    const Vek32s width = list[0], count = list[1];
    if (width < 1 || width > 16 || count < 0 || count > (1 << width)) return -1;
    for (Vek32s i = 0; i < count; ++i) {
        const Vek32s length = list[2 + 3 * i], code = list[3 + 3 * i];
        if (length < 1 || length > width || code < 0 || code >= (1 << length)) return -1;
    }
    return 1 << width;
}

void fill(const Vek32s* list, Vek32u* out) {
    const Vek32s width = list[0];
    for (Vek32s i = 0; i < (1 << width); ++i) out[i] = 0;
    for (Vek32s i = 0; i < list[1]; ++i) {
        const Vek32s length = list[2 + 3 * i], code = list[3 + 3 * i];
        const Vek32u entry = static_cast<Vek32u>(list[4 + 3 * i]) << 8 | static_cast<Vek32u>(length);
        const int shift = width - length;
        for (Vek32s k = 0; k < (1 << shift); ++k) out[(code << shift) | k] = entry;
    }
}

}  // namespace

}  // namespace vek::dv

extern "C" {

VEKVC_API VekStatus vekiInitAllocHuffmanTable_DV_32u(const Vek32s* pSrcTable1, const Vek32s* pSrcTable2,
                                                     Vek32u** ppHuffTable) {
    if (!pSrcTable1 || !pSrcTable2 || !ppHuffTable) return vekStsNullPtrErr;
    const Vek32s n1 = vek::dv::list_entries(pSrcTable1), n2 = vek::dv::list_entries(pSrcTable2);
    if (n1 < 0 || n2 < 0) return vekStsBadArgErr;
    auto* table = reinterpret_cast<Vek32u*>(veksMalloc_8s(4 * (2 + n1 + n2)));
    if (!table) return vekStsNoMemErr;
    table[0] = static_cast<Vek32u>(pSrcTable1[0]);
    table[1] = static_cast<Vek32u>(pSrcTable2[0]);
    vek::dv::fill(pSrcTable1, table + 2);
    vek::dv::fill(pSrcTable2, table + 2 + n1);
    *ppHuffTable = table;
    return vekStsOk;
}

VEKVC_API VekStatus vekiFreeHuffmanTable_DV_32u(Vek32u* pHuffTable) {
    if (!pHuffTable) return vekStsNullPtrErr;
    vekiFree(pHuffTable);
    return vekStsOk;
}

}  // extern "C"
