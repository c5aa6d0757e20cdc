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

/* ---- MPEG-1/2 block reconstruction ------------------------------------- */

/* ---- MPEG-4 coefficient decoding --------------------------------------- */

/* ---- MPEG-4 global motion and sprite warping --------------------------- */

/* ---- H.263 filters, PB prediction and resampling ----------------------- */

/* ---- VC-1 -------------------------------------------------------------- */
/* Parameters of the plain quarter-sample interpolations. pSrc is the sample at
 * the integer part of the position; the caller guarantees one sample before and
 * two after it in each direction with a fraction. */
typedef struct VekVCInterpolate_8u {
    const Vek8u* pSrc;
    Vek32s srcStep;      /* bytes */
    Vek8u* pDst;
    Vek32s dstStep;      /* bytes */
    Vek32s dx;           /* quarter-sample fraction, 0 to 3 */
    Vek32s dy;
    VekRoi roi;          /* block size */
    Vek32s roundControl; /* 0 or 1 */
} VekVCInterpolate_8u;

/* Parameters of the interpolations that first build the block's neighbourhood,
 * clamped to the picture and mapped through the intensity tables. */
typedef struct VekVCInterpolateBlockIC_8u {
    const Vek8u* pSrc;        /* first sample of the reference plane or field */
    Vek32s srcStep;           /* bytes between frame rows */
    Vek8u* pDst;
    Vek32s dstStep;
    const Vek8u* pLUTTop;     /* 256 entries for top-field rows, or null */
    const Vek8u* pLUTBottom;  /* 256 entries for bottom-field rows, or null */
    VekRoi sizeFrame;         /* frame size in samples (pairs for C2R) */
    VekRoi sizeBlock;
    VekPoint pointBlockPos;   /* integer position in the plane or field */
    Vek32s dx;
    Vek32s dy;
    Vek32s oppositePadding;   /* 1: padding rows come from the other parity */
    Vek32s fieldPrediction;   /* 1: field reference, rows advance by 2 x srcStep */
    Vek32s roundControl;
    Vek32s isPredBottom;      /* 1: the reference field is the bottom one */
} VekVCInterpolateBlockIC_8u;

/* Bicubic luma prediction: 8x8, 16x8 (also for 8x16) or 16x16 by
 * (width >> 4) + (height >> 4). vekStsNullPtrErr for a null record, pSrc or pDst. */
VEKVC_API VekStatus vekiInterpolateQPBicubic_VC1_8u_C1R(const VekVCInterpolate_8u* pParams);
/* Bilinear prediction, 16x16, 8x8, 8x4 or 4x4 by width (and height for 8);
 * fractions are taken modulo 4 and roundControl & 1. Same checks. */
VEKVC_API VekStatus vekiInterpolateQPBilinear_VC1_8u_C1R(const VekVCInterpolate_8u* pParams);
/* Bilinear prediction of interleaved pairs, 8x8, 8x4 or 4x4 pairs; each channel on its own. */
VEKVC_API VekStatus vekiInterpolateQPBilinear_VC1_8u_C2R(const VekVCInterpolate_8u* pParams);
/* The same three predictions from a neighbourhood that is clamped to the picture
 * (rows by field and padding mode) and mapped by the table of each row's parity.
 * vekStsNullPtrErr for a null record, pSrc or pDst. */
VEKVC_API VekStatus vekiInterpolateICBicubicBlock_VC1_8u_C1R(const VekVCInterpolateBlockIC_8u* pParams);
VEKVC_API VekStatus vekiInterpolateICBilinearBlock_VC1_8u_C1R(const VekVCInterpolateBlockIC_8u* pParams);
VEKVC_API VekStatus vekiInterpolateICBilinearBlock_VC1_8u_C2R(const VekVCInterpolateBlockIC_8u* pParams);

/* Inverse transforms of width x height blocks of 16-bit coefficients, saturated
 * after each pass; srcSizeNZ bounds the top-left part that may be non-zero, and
 * below 2 in both directions takes the DC-only path. Steps in bytes.
 * vekStsNullPtrErr for a null pointer. */
VEKVC_API VekStatus vekiTransform8x8Inv_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep, VekRoi srcSizeNZ);
VEKVC_API VekStatus vekiTransform4x8Inv_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep, VekRoi srcSizeNZ);
VEKVC_API VekStatus vekiTransform8x4Inv_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep, VekRoi srcSizeNZ);
VEKVC_API VekStatus vekiTransform4x4Inv_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep, VekRoi srcSizeNZ);
VEKVC_API VekStatus vekiTransform8x8Inv_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                                    Vek32s dstStep, VekRoi srcSizeNZ);
VEKVC_API VekStatus vekiTransform4x8Inv_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                                    Vek32s dstStep, VekRoi srcSizeNZ);
VEKVC_API VekStatus vekiTransform8x4Inv_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                                    Vek32s dstStep, VekRoi srcSizeNZ);
VEKVC_API VekStatus vekiTransform4x4Inv_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                                    Vek32s dstStep, VekRoi srcSizeNZ);
/* Forward transforms for encoders: fixed-point row then column passes, each
 * saturated to 16 bits. vekStsNullPtrErr for a null pointer. */
VEKVC_API VekStatus vekiTransform8x8Fwd_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep);
VEKVC_API VekStatus vekiTransform4x8Fwd_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep);
VEKVC_API VekStatus vekiTransform8x4Fwd_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep);
VEKVC_API VekStatus vekiTransform4x4Fwd_VC1_16s_C1IR(Vek16s* pSrcDst, Vek32s srcDstStep);
VEKVC_API VekStatus vekiTransform8x8Fwd_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                                    Vek32s dstStep);
VEKVC_API VekStatus vekiTransform4x8Fwd_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                                    Vek32s dstStep);
VEKVC_API VekStatus vekiTransform8x4Fwd_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                                    Vek32s dstStep);
VEKVC_API VekStatus vekiTransform4x4Fwd_VC1_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                                    Vek32s dstStep);

/* In-loop deblocking of one edge; pSrcDst is the first sample after the edge.
 * Luma edges are 16 lines (edgeDisabledFlag bits 0 to 3 each cut out 4 lines),
 * chroma edges 8 lines (bit 1 cuts the first 4, bit 2 the last 4). Lines are
 * filtered in groups of four whose third line decides. vekStsNullPtrErr for null. */
VEKVC_API VekStatus vekiFilterDeblockingLuma_HorEdge_VC1_8u_C1IR(Vek8u* pSrcDst, Vek32s pQuant, Vek32s srcDstStep,
                                                                 Vek32u edgeDisabledFlag);
VEKVC_API VekStatus vekiFilterDeblockingLuma_VerEdge_VC1_8u_C1IR(Vek8u* pSrcDst, Vek32s pQuant, Vek32s srcDstStep,
                                                                 Vek32u edgeDisabledFlag);
VEKVC_API VekStatus vekiFilterDeblockingChroma_HorEdge_VC1_8u_C1IR(Vek8u* pSrcDst, Vek32s pQuant,
                                                                   Vek32s srcDstStep, Vek32u edgeDisabledFlag);
VEKVC_API VekStatus vekiFilterDeblockingChroma_VerEdge_VC1_8u_C1IR(Vek8u* pSrcDst, Vek32s pQuant,
                                                                   Vek32s srcDstStep, Vek32u edgeDisabledFlag);
/* Interleaved U/V chroma edges of 8 pairs; bit 1 of a channel's flag leaves that channel alone. */
VEKVC_API VekStatus vekiFilterDeblockingChroma_HorEdge_VC1_8u_C2IR(Vek8u* pSrcDst, Vek32s pQuant,
                                                                   Vek32s srcDstStep, Vek32u uEdgeDisabledFlag,
                                                                   Vek32u vEdgeDisabledFlag);
VEKVC_API VekStatus vekiFilterDeblockingChroma_VerEdge_VC1_8u_C2IR(Vek8u* pSrcDst, Vek32s pQuant,
                                                                   Vek32s srcDstStep, Vek32u uEdgeDisabledFlag,
                                                                   Vek32u vEdgeDisabledFlag);

/* Overlap smoothing of 16-bit blocks into 8-bit samples at rows or columns -2..+1
 * around pDst. Horizontal edges: two rows above (a, b) and two below (c, d).
 * Luma: the first 8 columns when edgeDisabledFlag & 3, the second 8 when & 12 (a
 * set bit means processed). vekStsNullPtrErr for a null pointer. */
VEKVC_API VekStatus vekiSmoothingLuma_HorEdge_VC1_16s8u_C1R(const Vek16s* pSrcUpper, Vek32s srcUpperStep,
                                                            const Vek16s* pSrcBottom, Vek32s srcBottomStep,
                                                            Vek8u* pDst, Vek32s dstStep, Vek32u edgeDisabledFlag);
/* Vertical edges also write the unclipped 16-bit results back to both sources.
 * fieldNeighbourFlag 1 to 3 pairs the rows of field neighbours in two passes (both
 * halves, whatever the flag bits); any other value means frame neighbours. */
VEKVC_API VekStatus vekiSmoothingLuma_VerEdge_VC1_16s8u_C1R(Vek16s* pSrcLeft, Vek32s srcLeftStep,
                                                            Vek16s* pSrcRight, Vek32s srcRightStep, Vek8u* pDst,
                                                            Vek32s dstStep, Vek32u fieldNeighbourFlag,
                                                            Vek32u edgeDisabledFlag);
VEKVC_API VekStatus vekiSmoothingChroma_HorEdge_VC1_16s8u_C1R(const Vek16s* pSrcUpper, Vek32s srcUpperStep,
                                                              const Vek16s* pSrcBottom, Vek32s srcBottomStep,
                                                              Vek8u* pDst, Vek32s dstStep);
VEKVC_API VekStatus vekiSmoothingChroma_VerEdge_VC1_16s8u_C1R(Vek16s* pSrcLeft, Vek32s srcLeftStep,
                                                              Vek16s* pSrcRight, Vek32s srcRightStep, Vek8u* pDst,
                                                              Vek32s dstStep);
/* The chroma forms over a U and a V source pair into interleaved output; a
 * channel is processed when its flag is non-zero. */
VEKVC_API VekStatus vekiSmoothingChroma_HorEdge_VC1_16s8u_P2C2R(
    const Vek16s* pSrcUpperU, Vek32s srcUpperStepU, const Vek16s* pSrcBottomU, Vek32s srcBottomStepU,
    const Vek16s* pSrcUpperV, Vek32s srcUpperStepV, const Vek16s* pSrcBottomV, Vek32s srcBottomStepV, Vek8u* pDst,
    Vek32s dstStep, Vek32u uEdgeDisabledFlag, Vek32u vEdgeDisabledFlag);
VEKVC_API VekStatus vekiSmoothingChroma_VerEdge_VC1_16s8u_P2C2R(
    Vek16s* pSrcLeftU, Vek32s srcLeftStepU, Vek16s* pSrcRightU, Vek32s srcRightStepU, Vek16s* pSrcLeftV,
    Vek32s srcLeftStepV, Vek16s* pSrcRightV, Vek32s srcRightStepV, Vek8u* pDst, Vek32s dstStep,
    Vek32u uEdgeDisabledFlag, Vek32u vEdgeDisabledFlag);

/* Range mapping of a plane: ((p - 128) x (rangeMapParam + 9) + 4) >> 3, plus 128,
 * clipped. vekStsNullPtrErr, then vekStsOutOfRangeErr for rangeMapParam outside
 * 0..7; an empty roi does nothing. */
VEKVC_API VekStatus vekiRangeMapping_VC1_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                                VekRoi roi, Vek32s rangeMapParam);


/* ---- AVS --------------------------------------------------------------- */

/* ---- DV ---------------------------------------------------------------- */

/* ---- Deinterlacing ----------------------------------------------------- */

#ifdef __cplusplus
}
#endif

#endif /* VEKVC_H */
