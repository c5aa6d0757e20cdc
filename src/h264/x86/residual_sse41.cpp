// SSE4.1 residual kernels: two rows per register, a transpose before each
// transform pass (residual_128.h).
#include "h264/residual.h"
#include "h264/x86/residual_128.h"

namespace vek::h264 {

namespace {

VekStatus residual_no_dc_sse41(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek8u* dst, Vek32s dstStep,
                               Vek32s qp) {
    residual_no_dc_128(pred, predStep, coeffs, dst, dstStep, qp);
    return vekStsOk;
}

VekStatus residual_dc_ac_sse41(const Vek8u* pred, Vek32s predStep, Vek16s* coeffs, Vek16s dc, Vek8u* dst,
                               Vek32s dstStep, Vek32s qp) {
    residual_dc_ac_128(pred, predStep, coeffs, dc, dst, dstStep, qp);
    return vekStsOk;
}

VekStatus residual_no_ac_sse41(const Vek8u* pred, Vek32s predStep, Vek16s dc, Vek8u* dst, Vek32s dstStep) {
    residual_no_ac_128(pred, predStep, dc, dst, dstStep);
    return vekStsOk;
}

}  // namespace

void init_residual_table_sse41(ResidualTable& t) {
    t.no_dc = residual_no_dc_sse41;
    t.dc_ac = residual_dc_ac_sse41;
    t.no_ac = residual_no_ac_sse41;
    t.no_dc2 = &residual_no_dc_pair<residual_no_dc_sse41>;
    t.dc_ac2 = &residual_dc_ac_pair<residual_dc_ac_sse41>;
    t.no_ac2 = &residual_no_ac_pair<residual_no_ac_sse41>;
    t.luma_dc = transform_dequant_luma_dc_128;
}

}  // namespace vek::h264
