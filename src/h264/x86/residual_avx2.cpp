// AVX2 residual kernels: the 128-bit forms of residual_128.h, VEX-encoded.
// One 4x4 block leaves a 256-bit register half idle: a form that kept the
// block in one such register (cross-lane gathers for the transposes) ran
// about a tenth slower than these on this machine class.
#include "h264/residual.h"
#include "h264/x86/residual_128.h"

namespace vek::h264 {

namespace {

void residual_no_dc_avx2(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek8u* dst, Vek32s dstStep,
                          Vek32s qp) {
    residual_no_dc_128(pred, predStep, coeffs, dst, dstStep, qp);
}

void residual_dc_ac_avx2(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek16s dc, Vek8u* dst,
                          Vek32s dstStep, Vek32s qp) {
    residual_dc_ac_128(pred, predStep, coeffs, dc, dst, dstStep, qp);
}

void residual_no_ac_avx2(const Vek8u* pred, Vek32s predStep, Vek16s dc, Vek8u* dst, Vek32s dstStep) {
    residual_no_ac_128(pred, predStep, dc, dst, dstStep);
}

}  // namespace

void init_residual_table_avx2(ResidualTable& t) {
    t.no_dc = residual_no_dc_avx2;
    t.dc_ac = residual_dc_ac_avx2;
    t.no_ac = residual_no_ac_avx2;
    t.chroma = &residual_chroma<residual_no_dc_avx2, residual_dc_ac_avx2, residual_no_ac_avx2>;
}

}  // namespace vek::h264
