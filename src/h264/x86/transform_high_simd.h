// Butterflies of the High inverse transforms over vectors, shared by the
// SSE4.1 and AVX2 kernels: each vector lane carries one row (or column) of
// the block, so one call runs the 1-D transform on several rows at once.
// Ops supplies add, sub (wrapping 32-bit) and sra (arithmetic shift).
#pragma once

namespace vek::h264::x86 {

template <class Ops, class V>
inline void inv4_vectors(V* d) {
    const V e0 = Ops::add(d[0], d[2]), e1 = Ops::sub(d[0], d[2]);
    const V e2 = Ops::sub(Ops::template sra<1>(d[1]), d[3]), e3 = Ops::add(d[1], Ops::template sra<1>(d[3]));
    d[0] = Ops::add(e0, e3);
    d[1] = Ops::add(e1, e2);
    d[2] = Ops::sub(e1, e2);
    d[3] = Ops::sub(e0, e3);
}

template <class Ops, class V>
inline void inv8_vectors(V* d) {
    const V a0 = Ops::add(d[0], d[4]), a4 = Ops::sub(d[0], d[4]);
    const V a2 = Ops::sub(Ops::template sra<1>(d[2]), d[6]), a6 = Ops::add(d[2], Ops::template sra<1>(d[6]));
    const V b0 = Ops::add(a0, a6), b2 = Ops::add(a4, a2), b4 = Ops::sub(a4, a2), b6 = Ops::sub(a0, a6);
    const V a1 = Ops::sub(Ops::sub(Ops::sub(d[5], d[3]), d[7]), Ops::template sra<1>(d[7]));
    const V a3 = Ops::sub(Ops::sub(Ops::add(d[1], d[7]), d[3]), Ops::template sra<1>(d[3]));
    const V a5 = Ops::add(Ops::add(Ops::sub(d[7], d[1]), d[5]), Ops::template sra<1>(d[5]));
    const V a7 = Ops::add(Ops::add(Ops::add(d[3], d[5]), d[1]), Ops::template sra<1>(d[1]));
    const V b1 = Ops::add(a1, Ops::template sra<2>(a7)), b7 = Ops::sub(a7, Ops::template sra<2>(a1));
    const V b3 = Ops::add(a3, Ops::template sra<2>(a5)), b5 = Ops::sub(Ops::template sra<2>(a3), a5);
    d[0] = Ops::add(b0, b7);
    d[1] = Ops::add(b2, b5);
    d[2] = Ops::add(b4, b3);
    d[3] = Ops::add(b6, b1);
    d[4] = Ops::sub(b6, b1);
    d[5] = Ops::sub(b4, b3);
    d[6] = Ops::sub(b2, b5);
    d[7] = Ops::sub(b0, b7);
}

}  // namespace vek::h264::x86
