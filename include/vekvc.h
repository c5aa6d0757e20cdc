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

/* The two sources and the destination of the 16-bit two-source functions;
 * steps in elements, samples of bitDepth bits. */
typedef struct VekBidir_16u {
    const Vek16u* pSrc1;
    Vek32s srcStep1;
    const Vek16u* pSrc2;
    Vek32s srcStep2;
    Vek16u* pDst;
    Vek32s dstStep;
    Vek32s width;
    Vek32s height;
    Vek32s bitDepth;
} VekBidir_16u;

/* With a, b the samples of the first and second source, 32-bit signed sums and arithmetic
 * shifts: average (a + b + 1) >> 1; explicit clip(((a*w1 + b*w2 + (1 << logWD)) >> (logWD + 1))
 * + ((o1 + o2 + 1) >> 1)); implicit clip((a*w1 + b*w2 + 32) >> 6); uni-directional
 * clip(((a*w + r) >> logWD) + o), r = logWD ? 1 << (logWD - 1) : 0. logWD above 30 is
 * outside the contract. Sizes named 2..16 accept any size in that range; otherwise the
 * sides must be 2, 4, 8 or 16 (vekStsSizeErr). Step errors come before size errors. */

/* Average of a width x height block (2..16 each) with one step for all three blocks. */
VEKVC_API VekStatus vekiInterpolateBlock_H264_8u_P2P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst,
                                                       Vek32u width, Vek32u height, Vek32s step);
/* Average with three steps. An even size whose (width >> 2, height >> 2) matches that of 2x2, 2x4,
 * 4x2, 4x4, 4x8, 8x4, 8x8, 8x16, 16x8 or 16x16 writes that size (6x4 writes 4x4, 2x6 writes 2x4);
 * every other size, and every odd one, is written in full. */
VEKVC_API VekStatus vekiInterpolateBlock_H264_8u_P3P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst,
                                                       Vek32u width, Vek32u height, Vek32s srcStep1,
                                                       Vek32s srcStep2, Vek32s dstStep);
/* Explicit weighting; steps below roi.width as unsigned numbers give vekStsStepErr. */
VEKVC_API VekStatus vekiBiDirWeightBlock_H264_8u_P2P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst,
                                                       Vek32u srcStep, Vek32u dstStep, Vek32u logWD, Vek32s w1,
                                                       Vek32s o1, Vek32s w2, Vek32s o2, VekRoi roi);
VEKVC_API VekStatus vekiBiDirWeightBlock_H264_8u_P3P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst,
                                                       Vek32u srcStep1, Vek32u srcStep2, Vek32u dstStep,
                                                       Vek32u logWD, Vek32s w1, Vek32s o1, Vek32s w2, Vek32s o2,
                                                       VekRoi roi);
/* Implicit weighting, weights in 1/64 as given (no sum required); unsigned step checks. */
VEKVC_API VekStatus vekiBiDirWeightBlockImplicit_H264_8u_P2P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst,
                                                               Vek32u srcStep, Vek32u dstStep, Vek32s w1, Vek32s w2,
                                                               VekRoi roi);
/* Implicit weighting of any roi; checks only its pointers, writes nothing for a side below 1. */
VEKVC_API VekStatus vekiBiDirWeightBlockImplicit_H264_8u_P3P1R(const Vek8u* pSrc1, const Vek8u* pSrc2, Vek8u* pDst,
                                                               Vek32s srcStep1, Vek32s srcStep2, Vek32s dstStep,
                                                               Vek32s w1, Vek32s w2, VekRoi roi);
/* Uni-directional weighting in place; unsigned step check. The C1IR form is the same function. */
VEKVC_API VekStatus vekiUniDirWeightBlock_H264_8u_C1R(Vek8u* pSrcDst, Vek32u srcDstStep, Vek32u logWD, Vek32s w,
                                                      Vek32s o, VekRoi roi);
VEKVC_API VekStatus vekiUniDirWeightBlock_H264_8u_C1IR(Vek8u* pSrcDst, Vek32u srcDstStep, Vek32u logWD, Vek32s w,
                                                       Vek32s o, VekRoi roi);
/* pSrcDst = clip(((pSrc*w1 + pSrcDst*w2 + r) >> shift) + offset), r = shift ? 1 << (shift - 1) : 0;
 * values before the clip must lie in -256..511. Signed step check. */
VEKVC_API VekStatus vekiWeightedAverage_H264_8u_C1IR(const Vek8u* pSrc, Vek8u* pSrcDst, Vek32s srcDstStep,
                                                     Vek32s w1, Vek32s w2, Vek32u shift, Vek32s offset,
                                                     VekRoi roi);
/* 16-bit average of any size 2..16; steps are not checked. */
VEKVC_API VekStatus vekiBidir_H264_16u_P2P1R(const VekBidir_16u* pParams);
/* 16-bit explicit and implicit weighting, clipped to bitDepth; signed step checks. Offsets are
 * in sample units, not scaled by the bit depth. */
VEKVC_API VekStatus vekiBidirWeight_H264_16u_P2P1R(const VekBidir_16u* pParams, Vek32u logWD, Vek32s w1,
                                                   Vek32s o1, Vek32s w2, Vek32s o2);
VEKVC_API VekStatus vekiBidirWeightImplicit_H264_16u_P2P1R(const VekBidir_16u* pParams, Vek32s w1, Vek32s w2);
/* 16-bit uni-directional weighting in place, clipped to bitDepth; step in elements, unsigned check. */
VEKVC_API VekStatus vekiUnidirWeight_H264_16u_IP2P1R(Vek16u* pSrcDst, Vek32u srcDstStep, Vek32u logWD, Vek32s w,
                                                     Vek32s o, VekRoi roi, Vek32s bitDepth);

/* ---- H.264 deblocking -------------------------------------------------- */

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
