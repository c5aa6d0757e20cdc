/* vekvc: bit-exact video-coding primitives (libvekvcn8.so.6.1).
 *
 * Every function is a leaf call on buffers the caller owns. The library
 * holds no state, allocates nothing on a per-block path and is reentrant.
 * A negative status is an error, zero is success, a positive status is a
 * warning after which the result stands. Steps are in bytes unless a
 * function says otherwise. */
#ifndef VEKVC_H
#define VEKVC_H

#include <stdint.h>

#if defined(VEKVC_BUILDING_LIBRARY) && defined(__GNUC__)
#define VEKVC_API __attribute__((visibility("default")))
#else
#define VEKVC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Element types ---------------------------------------------------- */

typedef uint8_t  Vek8u;   /* a sample; a byte of a bit stream */
typedef int8_t   Vek8s;
typedef uint16_t Vek16u;  /* a high-bit-depth sample; a small metric */
typedef int16_t  Vek16s;  /* a coefficient or a residual */
typedef uint32_t Vek32u;  /* a word of a bit stream; a large metric */
typedef int32_t  Vek32s;  /* a high-bit-depth coefficient; a metric */

typedef Vek32s VekStatus;

/* ---- Status values ---------------------------------------------------- */

enum {
    vekStsOk                      = 0,
    vekStsNoOperationWrn          = 1,
    vekStsNeighbourFallbackWrn    = 11,
    vekStsDoubleSizeWrn           = 35,
    vekStsErr                     = -2,
    vekStsBadArgErr               = -5,
    vekStsSizeErr                 = -6,
    vekStsNullPtrErr              = -8,
    vekStsNoMemErr                = -9,
    vekStsDivByZeroErr            = -10,
    vekStsOutOfRangeErr           = -11,
    vekStsStepErr                 = -14,
    vekStsContextMismatchErr      = -17,
    vekStsResizeModeErr           = -22,
    vekStsResizeFactorErr         = -23,
    vekStsMaskSizeErr             = -33,
    vekStsVlcErr                  = -74,
    vekStsNeighbourUnavailableErr = -117,
    vekStsVlcCodeErr              = -191,
    vekStsQpRangeErr              = -192,
    vekStsBitOffsetErr            = -193
};

/* ---- Macroblock edge types (a set bit: that neighbour is cut off) ------ */

enum {
    VEKVC_LEFT_EDGE      = 1,
    VEKVC_TOP_EDGE       = 4,
    VEKVC_TOP_LEFT_EDGE  = 16,
    VEKVC_TOP_RIGHT_EDGE = 32
};

/* ---- Records ---------------------------------------------------------- */

typedef struct VekRoi {
    Vek32s width;   /* in elements */
    Vek32s height;  /* in rows */
} VekRoi;

typedef struct VekPoint {
    Vek32s x;
    Vek32s y;
} VekPoint;

typedef struct VekMotionVector {
    Vek16s dx;
    Vek16s dy;
} VekMotionVector;

typedef struct VekRect {
    Vek32s x;
    Vek32s y;
    Vek32s width;
    Vek32s height;
} VekRect;

typedef struct VekLibVersion {
    Vek32s major;
    Vek32s minor;
    Vek32s majorBuild;
    Vek32s build;
    char targetCpu[4];
    const char* Name;
    const char* Version;
    const char* BuildDate;
} VekLibVersion;

/* ---- Version ---------------------------------------------------------- */

/* The library's one constant version record; the same pointer on every call. */
VEKVC_API const VekLibVersion* vekvcGetLibVersion(void);

/* ---- Block metrics -----------------------------------------------------
 * mcType >> 2 selects the reference position: 0 FF (full sample), 1 FH
 * (vertical half), 2 HF (horizontal half), 3 HH (one four-sample sum, one
 * rounding); halves round up on a tie. FH reads one row more than the block,
 * HF one column more, HH both. mcType is not checked. */

/* SAD of a 16x16 block against the reference at mode mcType. */
VEKVC_API VekStatus vekiSAD16x16_8u32s(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                       Vek32s refStep, Vek32s* pSAD, Vek32s mcType);
/* SAD of a 16x8 block against the reference at mode mcType. */
VEKVC_API VekStatus vekiSAD16x8_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                          Vek32s refStep, Vek32s* pSAD, Vek32s mcType);
/* SAD of an 8x8 block against the reference at mode mcType. */
VEKVC_API VekStatus vekiSAD8x8_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                         Vek32s refStep, Vek32s* pSAD, Vek32s mcType);
/* SADs of the even and odd bytes of 8 interleaved pairs by 8 rows, each plane on its own;
 * steps below 1 give vekStsStepErr. */
VEKVC_API VekStatus vekiSAD8x8_8u32s_C2R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                         Vek32s refStep, Vek32s* pSADFirst, Vek32s* pSADSecond,
                                         Vek32s mcType);
/* SAD of an 8x16 block, full-sample position. */
VEKVC_API VekStatus vekiSAD8x16_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                          Vek32s refStep, Vek32s* pSAD);
/* SAD of an 8x4 block, full-sample position. */
VEKVC_API VekStatus vekiSAD8x4_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                         Vek32s refStep, Vek32s* pSAD);
/* SAD of a 4x8 block, full-sample position. */
VEKVC_API VekStatus vekiSAD4x8_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                         Vek32s refStep, Vek32s* pSAD);
/* SAD of a 4x4 block, full-sample position. */
VEKVC_API VekStatus vekiSAD4x4_8u32s(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                     Vek32s refStep, Vek32s* pSAD);
/* SAD of 16-bit samples (steps in bytes): half positions clip their sum at 65535 before the
 * shift, and each |C - r| enters the total as a signed 16-bit number (defined to 15 bits). */
VEKVC_API VekStatus vekiSAD16x16_16u32s_C1R(const Vek16u* pSrc, Vek32s srcStep, const Vek16u* pRef,
                                            Vek32s refStep, Vek32s* pSAD, Vek32s mcType);
VEKVC_API VekStatus vekiSAD8x8_16u32s_C1R(const Vek16u* pSrc, Vek32s srcStep, const Vek16u* pRef,
                                          Vek32s refStep, Vek32s* pSAD, Vek32s mcType);
VEKVC_API VekStatus vekiSAD4x4_16u32s_C1R(const Vek16u* pSrc, Vek32s srcStep, const Vek16u* pRef,
                                          Vek32s refStep, Vek32s* pSAD, Vek32s mcType);
/* SSD of an 8x8 block against the reference at mode mcType. */
VEKVC_API VekStatus vekiSSD8x8_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                         Vek32s refStep, Vek32s* pSSD, Vek32s mcType);
/* SSD of a 4x4 block against the reference at mode mcType. */
VEKVC_API VekStatus vekiSSD4x4_8u32s_C1R(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                         Vek32s refStep, Vek32s* pSSD, Vek32s mcType);
/* The four 8x8 SADs of a 16x16 block: top-left, top-right, bottom-left, bottom-right. */
VEKVC_API VekStatus vekiSAD16x16Blocks8x8_8u16u(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                                Vek32s refStep, Vek16u* pDstSAD);
/* The sixteen 4x4 SADs of a 16x16 block in raster order of the blocks (not coding order). */
VEKVC_API VekStatus vekiSAD16x16Blocks4x4_8u16u(const Vek8u* pSrc, Vek32s srcStep, const Vek8u* pRef,
                                                Vek32s refStep, Vek16u* pDstSAD);
/* 16-bit forms of the per-block SADs: each difference wraps to 16 signed bits and its
 * magnitude is added in 32 bits; steps in bytes, rows advance by step >> 1 elements. */
VEKVC_API VekStatus vekiSAD16x16Blocks8x8_16u32u_C1R(const Vek16u* pSrc, Vek32s srcStep,
                                                     const Vek16u* pRef, Vek32s refStep,
                                                     Vek32u* pDstSAD);
VEKVC_API VekStatus vekiSAD16x16Blocks4x4_16u32u_C1R(const Vek16u* pSrc, Vek32s srcStep,
                                                     const Vek16u* pRef, Vek32s refStep,
                                                     Vek32u* pDstSAD);

/* ---- Variable-length code tables (32-bit word cursor) ------------------
 * A word cursor is (*ppBitStream, *pOffset): the word holding the next bit,
 * loaded in host order, and the index of that bit, 31 (first) down to 0.
 * A reader may touch one word beyond the last bit it uses. */

/* Builds a multi-level decoding table from a code list of (code, value) records.
 * vekStsNullPtrErr for null arguments, vekStsNoMemErr when an allocation fails. */
VEKVC_API VekStatus vekiHuffmanTableInitAlloc_32s(const Vek32s* pList, Vek32s** ppTable);
/* As above, from (code, run, level) records: leaves hold run in bits 8-15, level in 16-31. */
VEKVC_API VekStatus vekiHuffmanRunLevelTableInitAlloc_32s(const Vek32s* pList, Vek32s** ppTable);
/* Releases a table built by either builder; vekStsNullPtrErr for null. */
VEKVC_API VekStatus vekiHuffmanTableFree_32s(Vek32s* pTable);
/* Decodes one code into *pDst. An invalid code stores 61681, leaves the cursor where the
 * walk stopped and returns vekStsVlcErr. */
VEKVC_API VekStatus vekiDecodeHuffmanOne_1u32s(Vek32u** ppBitStream, Vek32s* pOffset, Vek32s* pDst,
                                               const Vek32s* pTable);
/* Decodes one code into two values (bits 8-15 and 16-31 of its leaf). An invalid code
 * restores the cursor, writes nothing and returns vekStsVlcErr. */
VEKVC_API VekStatus vekiDecodeHuffmanPair_1u16s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                const Vek32s* pTable, Vek8u* pFirst,
                                                Vek16s* pSecond);

/* ---- H.264 CAVLC coefficient decoding ---------------------------------- */

/* ---- H.264 residual dequantisation and inverse transforms -------------- */

/* ---- H.264 intra prediction -------------------------------------------- */

/* ---- H.264 macroblock reconstruction ----------------------------------- */

/* ---- H.264 High macroblock reconstruction ------------------------------ */

/* ---- H.264 forward transform, quantisation and CAVLC encoding ---------- */

/* ---- H.264 reference reading through picture boundaries and luma interpolation --- */

/* ---- H.264 chroma interpolation ---------------------------------------- */

/* ---- H.264 weighted prediction and block averaging --------------------- */

/* ---- H.264 deblocking -------------------------------------------------- */

/* One macroblock plane, one direction per call; the caller supplies bS (0 to 4), alpha, beta
 * and tc0 from the stream. pAlpha/pBeta: [0] the outer edge, [1] inner edges. Luma pBs and
 * pThresholds: entry 4 * e + i for edge e (samples 0, 4, 8, 12) and group i of 4 samples;
 * 4:2:0 chroma: pBs[8 * e + i], pThresholds[4 * e + i], edges at 0 and 4, groups of 2.
 * An edge whose bS are all 0 is not read. Null pointers give vekStsNullPtrErr. */
typedef struct VekDeblockingParams {
    Vek8u* pSrcDstPlane;       /* the macroblock's top-left sample (MBAFF: the edge's first) */
    Vek32s srcDstStep;         /* bytes */
    const Vek8u* pAlpha;
    const Vek8u* pBeta;
    const Vek8u* pThresholds;  /* tc0 */
    const Vek8u* pBs;
} VekDeblockingParams;

/* The 16-bit record: the step counts elements, thresholds are used as given (already scaled
 * for the bit depth), results clip to 0 .. (1 << bitDepth) - 1. */
typedef struct VekDeblockingParams_16u {
    Vek16u* pSrcDstPlane;
    Vek32s srcDstStep;         /* elements */
    const Vek16u* pAlpha;
    const Vek16u* pBeta;
    const Vek16u* pThresholds;
    const Vek8u* pBs;
    Vek32s bitDepth;
} VekDeblockingParams_16u;

/* 8-bit luma, four vertical edges; the strong filter runs on a half-edge of the outer edge
 * whose two bS are both 4, the weak filter (tc wrapping at 8 bits) everywhere else. */
VEKVC_API VekStatus vekiFilterDeblockingLuma_VerEdge_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                  const Vek8u* pAlpha, const Vek8u* pBeta,
                                                                  const Vek8u* pThresholds, const Vek8u* pBs);
/* 8-bit luma, four horizontal edges; strong only on the outer edge with all four bS 4. */
VEKVC_API VekStatus vekiFilterDeblockingLuma_HorEdge_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                  const Vek8u* pAlpha, const Vek8u* pBeta,
                                                                  const Vek8u* pThresholds, const Vek8u* pBs);
/* 8-bit 4:2:0 chroma, two edges; strong only on the outer edge with all four bS 4. */
VEKVC_API VekStatus vekiFilterDeblockingChroma_VerEdge_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                    const Vek8u* pAlpha, const Vek8u* pBeta,
                                                                    const Vek8u* pThresholds, const Vek8u* pBs);
VEKVC_API VekStatus vekiFilterDeblockingChroma_HorEdge_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                    const Vek8u* pAlpha, const Vek8u* pBeta,
                                                                    const Vek8u* pThresholds, const Vek8u* pBs);
/* Interleaved chroma pairs sharing all thresholds; strong on a half-edge (four pairs) of the
 * outer edge whose two bS are both 4. */
VEKVC_API VekStatus vekiFilterDeblockingChroma_VerEdge_H264_8u_C2IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                    const Vek8u* pAlpha, const Vek8u* pBeta,
                                                                    const Vek8u* pThresholds, const Vek8u* pBs);
VEKVC_API VekStatus vekiFilterDeblockingChroma_HorEdge_H264_8u_C2IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                    const Vek8u* pAlpha, const Vek8u* pBeta,
                                                                    const Vek8u* pThresholds, const Vek8u* pBs);
/* MBAFF: one vertical edge piece at pSrcDst, 8 luma rows (groups of 2) or 4 chroma rows (groups
 * of 1), pBs[i] and pThresholds[i]; strong where bS is 4. alpha 0 or all bS 0: nothing done. */
VEKVC_API VekStatus vekiFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                        Vek32u alpha, Vek32u beta,
                                                                        const Vek8u* pThresholds,
                                                                        const Vek8u* pBs);
VEKVC_API VekStatus vekiFilterDeblockingChroma_VerEdge_MBAFF_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                          Vek32u alpha, Vek32u beta,
                                                                          const Vek8u* pThresholds,
                                                                          const Vek8u* pBs);
/* 4:2:2 chroma. Vertical: 16 rows, edges 0 and 4, groups of 4 rows, pBs[8 * e + i], strong
 * where bS is 4. Horizontal: edges 0, 4, 8, 12, groups of 2, pBs[4 * e + i], pAlpha[min(e, 1)];
 * an edge whose first bS is 4 is strong at every position. */
VEKVC_API VekStatus vekiFilterDeblockingChroma422VerEdge_H264_8u_C1IR(const VekDeblockingParams* pParams);
VEKVC_API VekStatus vekiFilterDeblockingChroma422HorEdge_H264_8u_C1IR(const VekDeblockingParams* pParams);
/* 16-bit luma, luma-layout thresholds; strong wherever a group's bS is 4. */
VEKVC_API VekStatus vekiFilterDeblockingLumaVerEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams);
VEKVC_API VekStatus vekiFilterDeblockingLumaHorEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams);
/* 16-bit 4:2:0 chroma. Vertical: strong wherever bS is 4. Horizontal: strong at every position
 * of the outer edge when its first bS is 4, weak elsewhere. */
VEKVC_API VekStatus vekiFilterDeblockingChromaVerEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams);
VEKVC_API VekStatus vekiFilterDeblockingChromaHorEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams);
/* 16-bit 4:2:2 chroma, the layouts and rules of the 8-bit 4:2:2 pair. */
VEKVC_API VekStatus vekiFilterDeblockingChroma422VerEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams);
VEKVC_API VekStatus vekiFilterDeblockingChroma422HorEdge_H264_16u_C1IR(const VekDeblockingParams_16u* pParams);
/* 16-bit MBAFF edge pieces, as the 8-bit ones with pAlpha[0] and pBeta[0]. */
VEKVC_API VekStatus vekiFilterDeblockingLumaVerEdgeMBAFF_H264_16u_C1IR(const VekDeblockingParams_16u* pParams);
VEKVC_API VekStatus vekiFilterDeblockingChromaVerEdgeMBAFF_H264_16u_C1IR(const VekDeblockingParams_16u* pParams);
/* 4:2:2 MBAFF filtering is not provided: both return vekStsErr without reading pParams. */
VEKVC_API VekStatus vekiFilterDeblockingChroma422VerEdgeMBAFF_H264_8u_C1IR(const VekDeblockingParams* pParams);
VEKVC_API VekStatus vekiFilterDeblockingChroma422VerEdgeMBAFF_H264_16u_C1IR(
    const VekDeblockingParams_16u* pParams);

/* ---- MPEG-1/2 block reconstruction ------------------------------------- */

/* ---- MPEG-4 coefficient decoding --------------------------------------- */

/* ---- MPEG-4 global motion and sprite warping --------------------------- */

/* ---- H.263 filters, PB prediction and resampling ----------------------- */

/* ---- VC-1 -------------------------------------------------------------- */

/* ---- AVS --------------------------------------------------------------- */

/* ---- DV ---------------------------------------------------------------- */

/* ---- Deinterlacing ----------------------------------------------------- */

#ifdef __cplusplus
}
#endif

#endif /* VEKVC_H */
