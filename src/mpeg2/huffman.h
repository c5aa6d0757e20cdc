// Builder of the multi-level variable-length code tables behind the
// vekiHuffman...InitAlloc_32s functions, open to tests through an allocator
// argument.
#pragma once

#include "vekvc.h"

namespace vek::mpeg2 {

// Where the builder gets its two blocks (the temporary code array and the
// table). The exported builders pass vekMalloc/vekFree.
struct HuffmanAllocator {
    void* (*alloc)(void* ctx, Vek32s bytes);
    void (*release)(void* ctx, void* ptr);
    void* ctx;
};

enum class HuffmanLeafKind {
    kValue,     // records (code, value): leaf = value << 8 | u
    kRunLevel,  // records (code, first, second): leaf = second << 16 | (first & 255) << 8 | u
};

// Builds the table of the code list pList (non-null) into *ppTable, which is
// set only on success. vekStsNoMemErr when an allocation fails or the list
// asks for a table no allocation can hold (fewer than one level, a level
// wider than 28 bits, more than 2^31 - 1 bytes, or a level beyond word
// 2^23 - 1 where a link cannot reach it).
//
// Caller errors within that domain are built safely: bits of a code above
// its length are ignored; a code longer than all levels together is left
// out; a code that collides with an earlier one (a duplicate, or one a prefix
// of the other) is left out and the earlier code stands. An empty list gives
// a table of unused slots only.
VekStatus build_huffman_table(const Vek32s* pList, HuffmanLeafKind kind,
                              const HuffmanAllocator& allocator, Vek32s** ppTable);

}  // namespace vek::mpeg2
