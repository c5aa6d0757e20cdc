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
/* Blocks of one H.264 CAVLC residual through a word cursor, against the caller's tables
 * (leaves: coeff_token trailing ones in bits 8-15, total in 16-23; total_zeros and run_before
 * values). The levels land at their places in a cleared block of *ppDstCoeffs, which then
 * moves on by the block's size; an empty block writes nothing there and leaves it. *pNumCoeff
 * gets the total. The invalid code 61681 restores the cursor: vekStsVlcErr. A null
 * ppTblTotalZeros or ppTblRunBefore entry at its use gives vekStsNullPtrErr with the cursor
 * moved. Levels are cut to 16 bits in the escape form in both widths. */
/* ppTblCoeffToken: 3 tables, for uVLCSelect 0-1, 2-3, 4-7; 8 and above reads 6 fixed bits.
 * uMaxNumCoeff (low 16 bits) 15 or 16, else vekStsOutOfRangeErr, as for a negative
 * uVLCSelect. ppTblTotalZeros and ppTblRunBefore are indexed by total and by zeros left
 * (entry 0 unused). pScanMatrix maps scan positions to places 0-15; a damaged stream in a
 * block of 15 can reach scan position 16, so give it 17 readable entries then. */
VEKVC_API VekStatus vekiDecodeCAVLCCoeffs_H264_1u16s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                     Vek16s* pNumCoeff, Vek16s** ppDstCoeffs,
                                                     Vek32s uVLCSelect, Vek32s uMaxNumCoeff,
                                                     const Vek32s* const* ppTblCoeffToken,
                                                     const Vek32s* const* ppTblTotalZeros,
                                                     const Vek32s* const* ppTblRunBefore,
                                                     const Vek32s* pScanMatrix);
VEKVC_API VekStatus vekiDecodeCAVLCCoeffs_H264_1u32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                     Vek16s* pNumCoeff, Vek32s** ppDstCoeffs,
                                                     Vek32s uVLCSelect, Vek32s uMaxNumCoeff,
                                                     const Vek32s* const* ppTblCoeffToken,
                                                     const Vek32s* const* ppTblTotalZeros,
                                                     const Vek32s* const* ppTblRunBefore,
                                                     const Vek32s* pScanMatrix);
/* 4:2:0 chroma DC: 4 coefficients in coding order. The 16-bit form decodes the tokens 1s
 * (one +-1) and 01 (empty) without tables; it tests the table pointers only on its general
 * path, and ppDstCoeffs only where it writes there. */
VEKVC_API VekStatus vekiDecodeCAVLCChromaDcCoeffs_H264_1u16s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                             Vek16s* pNumCoeff, Vek16s** ppDstCoeffs,
                                                             const Vek32s* pTblCoeffToken,
                                                             const Vek32s* const* ppTblTotalZeros,
                                                             const Vek32s* const* ppTblRunBefore);
VEKVC_API VekStatus vekiDecodeCAVLCChromaDcCoeffs_H264_1u32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                             Vek16s* pNumCoeff, Vek32s** ppDstCoeffs,
                                                             const Vek32s* pTblCoeffToken,
                                                             const Vek32s* const* ppTblTotalZeros,
                                                             const Vek32s* const* ppTblRunBefore);
/* 4:2:2 chroma DC: 8 coefficients placed in raster order of the 2x4 block. */
VEKVC_API VekStatus vekiDecodeCAVLCChroma422DcCoeffs_H264_1u16s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                                Vek16s* pNumCoeff, Vek16s** ppDstCoeffs,
                                                                const Vek32s* pTblCoeffToken,
                                                                const Vek32s* const* ppTblTotalZeros,
                                                                const Vek32s* const* ppTblRunBefore);
VEKVC_API VekStatus vekiDecodeCAVLCChroma422DcCoeffs_H264_1u32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                                Vek16s* pNumCoeff, Vek32s** ppDstCoeffs,
                                                                const Vek32s* pTblCoeffToken,
                                                                const Vek32s* const* ppTblTotalZeros,
                                                                const Vek32s* const* ppTblRunBefore);
/* One Exp-Golomb code, unsigned or signed (isSigned: low 8 bits in the 16-bit form, all 32
 * in the 32-bit form). *pOffset above 31 (unsigned): vekStsBadArgErr. A prefix of more than
 * 32 zeros restores the cursor: vekStsVlcErr; exactly 32 zeros give 0 after 65 bits. */
VEKVC_API VekStatus vekiDecodeExpGolombOne_H264_1u16s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                      Vek16s* pDst, Vek32s isSigned);
VEKVC_API VekStatus vekiDecodeExpGolombOne_H264_1u32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                      Vek32s* pDst, Vek32s isSigned);

/* ---- H.264 residual dequantisation and inverse transforms -------------- */
/* Levels of one 4x4 block (16 values, raster order) dequantised with the H.264 factors of QP
 * and inverse transformed: rows, then columns, then (x + 32) >> 6. The forms that return a
 * residual wrap every 16-bit intermediate; the form that adds the prediction saturates its
 * 16-bit additions (the rounding term too). QP outside 0-51: vekStsOutOfRangeErr. */
/* In place, rows step bytes apart (below 8: vekStsStepErr, checked after QP). The DC is *pDC
 * as it stands if pDC isn't null, else level 0 dequantised; with AC zero the block becomes
 * (DC + 32) >> 6 everywhere without reading the AC levels. */
VEKVC_API VekStatus vekiDequantTransformResidual_H264_16s_C1I(Vek16s* pSrcDst, Vek32s step,
                                                              const Vek16s* pDC, Vek32s AC, Vek32s QP);
/* The same added to the 4x4 prediction pPred, saturated to 16 bits and clipped to 0-255 into
 * pDst. With AC non-zero the residual is written back over pSrcDst, with AC zero pSrcDst is
 * not touched. A null pSrcDst means a DC-only block: pDC then required and AC zero, else
 * vekStsNullPtrErr (checked after QP). */
VEKVC_API VekStatus vekiDequantTransformResidualAndAdd_H264_16s_C1I(const Vek8u* pPred,
                                                                    Vek16s* pSrcDst,
                                                                    const Vek16s* pDC, Vek8u* pDst,
                                                                    Vek32s predStep, Vek32s dstStep,
                                                                    Vek32s QP, Vek32s AC);
/* SP/SI slices: the dequantised levels (QS if Switching, else QP; position 0 always, the
 * others only with AC non-zero) plus the transformed prediction pPredictCoeffs, requantised
 * and dequantised with QS, inverse transformed and clipped to 0-255 in place. A non-null
 * pDC is taken as DC as it stands. QP and QS are not checked: keep them in 0-51. */
VEKVC_API VekStatus vekiDequantTransformResidual_SISP_H264_16s_C1I(Vek16s* pSrcDst,
                                                                   const Vek16s* pPredictCoeffs,
                                                                   const Vek16s* pDC, Vek32s AC,
                                                                   Vek32s QP, Vek32s QS,
                                                                   Vek32s Switching);
/* The 2x2 chroma DC block: Hadamard sums cut to 16 bits, times the class-0 factor of QP, >> 1. */
VEKVC_API VekStatus vekiTransformDequantChromaDC_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP);
/* The 2x2 chroma DC block of SP/SI slices with its prediction pPredictDC (4 values), requantised
 * with QS; QP and QS are not checked. */
VEKVC_API VekStatus vekiTransformDequantChromaDC_SISP_H264_16s_C1I(Vek16s* pSrcDst,
                                                                   const Vek16s* pPredictDC,
                                                                   Vek32s QP, Vek32s QS,
                                                                   Vek32s Switching);
/* The 16 luma DC levels of an Intra 16x16 macroblock: 4x4 Hadamard in 16 bits, then
 * (y * factor + n) >> n with n 2 below QP 6, 1 below QP 12, else 0. */
VEKVC_API VekStatus vekiTransformDequantLumaDC_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP);
/* The forward core transform of a 4x4 8-bit prediction (rows step bytes apart, unchecked)
 * into 16 values, for the SP/SI forms. */
VEKVC_API VekStatus vekiTransformPrediction_H264_8u16s_C1(const Vek8u* pSrc, Vek32s step,
                                                          Vek16s* pDst);
/* The inverse core with rounding of a packed 4x4 block, no scaling and no clipping, wrapping
 * in 16 or in 32 bits. */
VEKVC_API VekStatus vekiTransformResidual4x4Inv_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst);
VEKVC_API VekStatus vekiTransformResidual4x4Inv_H264_32s_C1(const Vek32s* pSrc, Vek32s* pDst);

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

/* ---- AVS --------------------------------------------------------------- */

/* ---- DV ---------------------------------------------------------------- */

/* ---- Deinterlacing ----------------------------------------------------- */

#ifdef __cplusplus
}
#endif

#endif /* VEKVC_H */
