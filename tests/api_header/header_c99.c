/* The public header on its own, compiled as strict C99. */
#include "vekvc.h"

int vek_header_c99_probe(void);

int vek_header_c99_probe(void) {
    const VekLibVersion* v = vekvcGetLibVersion();
    VekRoi roi = {16, 16};
    VekMotionVector mv = {-1, 1};
    return (v->major == 6 && roi.width == 16 && mv.dx == -1 && vekStsOk == 0) ? 1 : 0;
}
