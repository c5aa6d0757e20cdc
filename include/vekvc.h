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
/* In place: pSrcDst is the block's top-left sample, and the row above, the column to the left
 * and the corner are read from the picture, only as far as the mode uses them. availability:
 * 1 top, 2 left, 32 top-left, 64 top-right (4x4 only), a set bit meaning usable. */

/* 4x4, modes 0 vertical .. 8 horizontal up. A missing neighbour that the mode needs reads as 128
 * and gives vekStsNeighbourFallbackWrn; DC adapts (128 with none) and a missing top-right repeats
 * the fourth sample above, neither warning. Checks: null, step below 4, mode above 8 (unsigned). */
VEKVC_API VekStatus vekiPredictIntra_4x4_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                      Vek32s predMode, Vek32s availability);
/* 16x16, modes 0 vertical, 1 horizontal, 2 DC, 3 plane (plane needs top, left and corner).
 * Checks: null; a missing neighbour (vekStsNeighbourUnavailableErr); mode above 3. The step
 * isn't checked. Nothing is written on failure. */
VEKVC_API VekStatus vekiPredictIntra_16x16_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                        Vek32s predMode, Vek32s availability);
/* One 8x8 chroma plane, modes 0 DC (per 4x4 quadrant), 1 horizontal, 2 vertical, 3 plane.
 * Checks: null; step below 8; vertical without top or horizontal without left; mode above 3;
 * plane without top, left and corner. Nothing is written on failure. */
VEKVC_API VekStatus vekiPredictIntraChroma8x8_H264_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                           Vek32s predMode, Vek32s availability);

/* ---- H.264 macroblock reconstruction ----------------------------------- */

/* A whole 4:2:0 8-bit macroblock from the coefficients the CAVLC functions left
 * one behind the other (Vek16s, raster order per 4x4 block). cbp4x4: bit 0 the
 * Intra 16x16 luma DC block, bits 1-16 the luma blocks in coded order, 17-18
 * the U and V DC blocks, 19-22 and 23-26 the U and V blocks; a set bit means
 * the block is in the buffer. *ppSrcCoeff moves behind the last block used.
 * edgeType: VEKVC_*_EDGE bits of the neighbours that are cut off. Steps in
 * bytes. QP 0..51, chromaQP (already mapped) 0..39. */
/* Adds the residual of the coded luma blocks to the prediction in pSrcDstY. */
VEKVC_API VekStatus vekiReconstructLumaInterMB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                              Vek32s srcDstStep, Vek32u cbp4x4, Vek32u QP);
/* Predicts (0 vertical, 1 horizontal, 2 DC, 3 plane; a missing neighbour gives
 * vekStsNeighbourUnavailableErr, nothing written), then the DC transform and the blocks. */
VEKVC_API VekStatus vekiReconstructLumaIntra16x16MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                                   Vek32s srcDstStep, Vek32u intra16x16PredMode,
                                                                   Vek32u cbp4x4, Vek32u QP, Vek8u edgeType);
/* Intra 4x4: each block predicted by pMBIntraTypes[coded number] (0..8, not
 * checked) and then reconstructed. A missing neighbour reads as 128 and the
 * result is the warning vekStsNeighbourFallbackWrn. */
VEKVC_API VekStatus vekiReconstructLumaIntraMB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                              Vek32s srcDstStep, const Vek32s* pMBIntraTypes,
                                                              Vek32u cbp4x4, Vek32u QP, Vek8u edgeType);
/* The same for coded blocks 0 to 7 only; step below 1: vekStsStepErr. */
VEKVC_API VekStatus vekiReconstructLumaIntraHalfMB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                                  Vek32s srcDstStep, const Vek32s* pMBIntraTypes,
                                                                  Vek32u cbp4x4, Vek32u QP, Vek8u edgeType);
/* Chroma residual: the DC blocks transformed in place, then all four blocks
 * of each plane. */
VEKVC_API VekStatus vekiReconstructChromaInterMB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU,
                                                                Vek8u* pSrcDstV, Vek32s srcDstStep,
                                                                Vek32u cbp4x4, Vek32u chromaQP);
/* Predicts both planes (0 DC, 1 horizontal, 2 vertical, 3 plane), then as above. */
VEKVC_API VekStatus vekiReconstructChromaIntraMB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU,
                                                                Vek8u* pSrcDstV, Vek32s srcDstStep,
                                                                Vek32u intraChromaPredMode, Vek32u cbp4x4,
                                                                Vek32u chromaQP, Vek8u edgeType);
/* Chroma intra whose upper and lower halves may have different left
 * neighbours (edgeTypeTop, edgeTypeBottom); DC and vertical only, any other
 * mode gives vekStsNeighbourUnavailableErr. chromaQP above 51 is refused at
 * once, 40 to 51 after the prediction is written. The Halves name is the same
 * function. */
VEKVC_API VekStatus vekiReconstructChromaIntraHalfsMB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU,
                                                                     Vek8u* pSrcDstV, Vek32s srcDstStep,
                                                                     Vek32u intraChromaPredMode, Vek32u cbp4x4,
                                                                     Vek32u chromaQP, Vek8u edgeTypeTop,
                                                                     Vek8u edgeTypeBottom);
VEKVC_API VekStatus vekiReconstructChromaIntraHalvesMB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU,
                                                                      Vek8u* pSrcDstV, Vek32s srcDstStep,
                                                                      Vek32u intraChromaPredMode, Vek32u cbp4x4,
                                                                      Vek32u chromaQP, Vek8u edgeTypeTop,
                                                                      Vek8u edgeTypeBottom);

/* ---- H.264 High macroblock reconstruction ------------------------------ */

/* The record of the 16-bit High functions, one per plane. srcDstStep counts
 * samples. pQuantTable is the level scale table (16 entries for 4x4 blocks,
 * 64 for 8x8, raster order, the caller's weights included). bypass non-zero
 * with QP 0 adds the levels as they stand (lossless). Residuals are limited
 * to -max..max and sums clipped to 0..max, max = 2^bitDepth - 1 (at most
 * 65535). *ppSrcDstCoeff moves behind the last block used. */
typedef struct VekH264HighMBParam {
    Vek32s** ppSrcDstCoeff;
    Vek16u* pSrcDstPlane;
    Vek32s srcDstStep;
    Vek32u cbp;
    Vek32s QP;
    const Vek16s* pQuantTable;
    Vek32u bypass;
    Vek32s bitDepth;
} VekH264HighMBParam;

/* The record of the 8-bit 4:2:2 chroma functions: the fields of
 * VekH264HighMBParam in the same places, with 16-bit levels and 8-bit
 * samples (srcDstStep in bytes). bitDepth is not read. */
typedef struct VekH264HighMBParam_8u {
    Vek16s** ppSrcDstCoeff;
    Vek8u* pSrcDstPlane;
    Vek32s srcDstStep;
    Vek32u cbp;
    Vek32s QP;
    const Vek16s* pQuantTable;
    Vek32u bypass;
    Vek32s bitDepth;
} VekH264HighMBParam_8u;

/* Luma residual added to the prediction in the plane. 4x4: cbp bits 1-16 are
 * the coded 4x4 blocks; 8x8: cbp bits 0-3 the 8x8 blocks (64 levels each).
 * Null pointer: vekStsNullPtrErr; step below 1: vekStsStepErr; QP outside
 * 0..(bitDepth - 8) * 6 + 51: vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiReconstructLumaInter4x4_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam);
VEKVC_API VekStatus vekiReconstructLumaInter8x8_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam);

/* The same on 8-bit samples with 16-bit levels, step in bytes: cbp4x4 as
 * above for each form, QP 0..51 (unsigned), bypass acting at QP 0 only. */
VEKVC_API VekStatus vekiReconstructLumaInter4x4MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                                 Vek32s srcDstStep, Vek32u cbp4x4, Vek32u QP,
                                                                 const Vek16s* pQuantTable, Vek8u bypass);
VEKVC_API VekStatus vekiReconstructLumaInter8x8MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                                 Vek32s srcDstStep, Vek32u cbp4x4, Vek32u QP,
                                                                 const Vek16s* pQuantTable, Vek8u bypass);

/* Intra 16x16: predicts (0 vertical, 1 horizontal, 2 DC, 3 plane; a missing
 * neighbour gives vekStsNeighbourUnavailableErr with nothing written, a mode
 * above 3 vekStsOutOfRangeErr), then cbp bit 0 brings 16 DC levels (raster
 * order of the 4x4 blocks, scaled with pQuantTable[0]) and bits 1-16 the
 * blocks' AC levels. Lossless, the levels are the residual, accumulated down
 * the columns (vertical) or along the rows (horizontal) of the macroblock.
 * DC with no neighbour fills 2^(bitDepth - 1). Checks as the inter forms. */
VEKVC_API VekStatus vekiReconstructLumaIntra16x16_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                                      Vek32u intra16x16PredMode, Vek8u edgeType);
VEKVC_API VekStatus vekiReconstructLumaIntra_16x16MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                                   Vek32s srcDstStep, Vek32u intra16x16PredMode,
                                                                   Vek32u cbp4x4, Vek32u QP, Vek8u edgeType,
                                                                   const Vek16s* pQuantTable, Vek8u bypass);

/* 4:2:0 chroma residual of both planes. The 16-bit form takes one record per
 * plane (U, V), each with its own cursor (the two may share one), step, QP
 * (0..(bitDepth - 8) * 6 + 39), table and depth; its cbp: bit 0 the plane's
 * 2x2 DC block, bits 1-4 its 4x4 blocks in raster order. Levels are read U DC,
 * V DC, U blocks, V blocks. The 8-bit form takes cbp4x4 bits 17-26 as the
 * 4:2:0 8-bit functions, a QP (0..39) and a table per plane. The DC block is
 * scaled with table[0]; the bypass acts on a plane whose QP is 0. */
VEKVC_API VekStatus vekiReconstructChromaInter4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2]);
VEKVC_API VekStatus vekiReconstructChromaInter4x4MB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU,
                                                                   Vek8u* pSrcDstV, Vek32s srcDstStep,
                                                                   Vek32u cbp4x4, Vek32u chromaQPU,
                                                                   Vek32u chromaQPV, const Vek16s* pQuantTableU,
                                                                   const Vek16s* pQuantTableV, Vek8u bypass);

/* Intra luma, each block predicted from its finished neighbours, then given
 * its residual. 4x4: cbp bits 1-16 the coded blocks, pMBIntraTypes[16] by
 * coded block number (modes 0..8); a mode needing a missing neighbour reads
 * 2^(bitDepth - 1) (128) for it and the call returns
 * vekStsNeighbourFallbackWrn. 8x8: cbp bits 0-3 (64 levels a block),
 * pMBIntraTypes[4] in raster order; the neighbours are filtered as the
 * standard's 8x8 prediction does (a missing top-right repeats the last
 * sample above), a missing side reads 2^(bitDepth - 1) and the status stays
 * vekStsOk. Lossless, a block predicted vertically (horizontally) sums its
 * levels down the columns (along the rows). The ...MB_H264_16s8u forms take
 * the arguments of the inter MB forms (cbp4x4 likewise). Checks: null
 * pointers, then as the inter forms, then a mode above 8:
 * vekStsOutOfRangeErr, nothing written. */
VEKVC_API VekStatus vekiReconstructLumaIntra4x4_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                                    const Vek32s* pMBIntraTypes, Vek8u edgeType);
VEKVC_API VekStatus vekiReconstructLumaIntra8x8_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                                    const Vek32s* pMBIntraTypes, Vek8u edgeType);
VEKVC_API VekStatus vekiReconstructLumaIntra4x4MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                                 Vek32s srcDstStep, const Vek32s* pMBIntraTypes,
                                                                 Vek32u cbp4x4, Vek32u QP, Vek8u edgeType,
                                                                 const Vek16s* pQuantTable, Vek8u bypass);
VEKVC_API VekStatus vekiReconstructLumaIntra8x8MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                                 Vek32s srcDstStep, const Vek32s* pMBIntraTypes,
                                                                 Vek32u cbp4x4, Vek32u QP, Vek8u edgeType,
                                                                 const Vek16s* pQuantTable, Vek8u bypass);

/* Intra 4:2:0 chroma: both planes predicted (0 DC, 1 horizontal, 2 vertical,
 * 3 plane), then the residual of the inter forms above. Checks: as the inter
 * forms, then a mode above 3: vekStsOutOfRangeErr, then a missing neighbour
 * of the mode: vekStsNeighbourUnavailableErr, nothing written. Lossless,
 * horizontal and vertical prediction sum the plane's levels along their
 * direction. */
VEKVC_API VekStatus vekiReconstructChromaIntra4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2],
                                                                      Vek32u intraChromaPredMode, Vek8u edgeType);
VEKVC_API VekStatus vekiReconstructChromaIntra4x4MB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU,
                                                                   Vek8u* pSrcDstV, Vek32s srcDstStep,
                                                                   Vek32u intraChromaPredMode, Vek32u cbp4x4,
                                                                   Vek32u chromaQPU, Vek32u chromaQPV,
                                                                   Vek8u edgeType, const Vek16s* pQuantTableU,
                                                                   const Vek16s* pQuantTableV, Vek8u bypass);

/* Half forms, for a macroblock whose upper and lower halves see different
 * left neighbours. Luma: the upper half only (4x4 blocks 0-7, 8x8 blocks
 * 0-1), arguments and results as the full forms; the 8-bit ones have no
 * bypass and refuse a step below 1 (vekStsStepErr) after the pointers.
 * Chroma: the left column of the upper half follows edgeTypeTop, of the
 * lower half edgeTypeBottom; only DC and vertical prediction (which needs
 * edgeTypeTop's top) are offered, other modes give
 * vekStsNeighbourUnavailableErr. The Halves name only calls the Halfs one. */
VEKVC_API VekStatus vekiReconstructLumaIntraHalf4x4_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                                        const Vek32s* pMBIntraTypes, Vek8u edgeType);
VEKVC_API VekStatus vekiReconstructLumaIntraHalf8x8_H264High_32s16u_IP1R(const VekH264HighMBParam* pParam,
                                                                        const Vek32s* pMBIntraTypes, Vek8u edgeType);
VEKVC_API VekStatus vekiReconstructLumaIntraHalf4x4MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                                     Vek32s srcDstStep, const Vek32s* pMBIntraTypes,
                                                                     Vek32u cbp4x4, Vek32u QP, Vek8u edgeType,
                                                                     const Vek16s* pQuantTable);
VEKVC_API VekStatus vekiReconstructLumaIntraHalf8x8MB_H264_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstY,
                                                                     Vek32s srcDstStep, const Vek32s* pMBIntraTypes,
                                                                     Vek32u cbp4x4, Vek32u QP, Vek8u edgeType,
                                                                     const Vek16s* pQuantTable);
VEKVC_API VekStatus vekiReconstructChromaIntraHalf4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2],
                                                                          Vek32u intraChromaPredMode,
                                                                          Vek8u edgeTypeTop, Vek8u edgeTypeBottom);
VEKVC_API VekStatus vekiReconstructChromaIntraHalfs4x4MB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU,
                                                                        Vek8u* pSrcDstV, Vek32s srcDstStep,
                                                                        Vek32u intraChromaPredMode, Vek32u cbp4x4,
                                                                        Vek32u chromaQPU, Vek32u chromaQPV,
                                                                        Vek8u edgeTypeTop, Vek8u edgeTypeBottom,
                                                                        const Vek16s* pQuantTableU,
                                                                        const Vek16s* pQuantTableV, Vek8u bypass);
VEKVC_API VekStatus vekiReconstructChromaIntraHalves4x4MB_H264_16s8u_P2R(Vek16s** ppSrcCoeff, Vek8u* pSrcDstU,
                                                                         Vek8u* pSrcDstV, Vek32s srcDstStep,
                                                                         Vek32u intraChromaPredMode, Vek32u cbp4x4,
                                                                         Vek32u chromaQPU, Vek32u chromaQPV,
                                                                         Vek8u edgeTypeTop, Vek8u edgeTypeBottom,
                                                                         const Vek16s* pQuantTableU,
                                                                         const Vek16s* pQuantTableV, Vek8u bypass);

/* 4:2:2 chroma, planes of 8 x 16 samples. pParams[0] is U, pParams[1] V,
 * each with its own cursor (the two may share one), plane, step, QP (the
 * plane's QP'c: 0..39 in the 8-bit record, 0..(bitDepth - 8) * 6 + 39 in
 * the 16-bit one), 4x4 level table for that QP, bypass (acting at QP 0). cbp
 * of each record: bit 0 the 2x4 DC block (8 levels), bits 1-8 the eight 4x4
 * blocks in raster order (block k at x = (k & 1) * 4, y = (k >> 1) * 4).
 * Levels are read U DC, V DC, U blocks, V blocks. The DC levels lie as
 * vekiDecodeCAVLCChroma422DcCoeffs_H264_* leaves them: raster order of two
 * columns by four rows, entry k the DC of block k. They go through the 2x4
 * inverse transform and are scaled at QP + 3 with levelScaleDC (the level
 * scale of QP + 3 at position 0): (f * ls + 2^(5 - s)) >> (6 - s) with s =
 * (QP + 3) / 6 below 6, else (f * ls) << (s - 6). Checks: null pointers,
 * step below 1, QP range, for U then V. Intra: modes and failures as the
 * 4:2:0 intra forms, DC per 4x4 block, plane with the 4:2:2 gradients; the
 * Half forms split the left column into rows 0-7 and 8-15. */
VEKVC_API VekStatus vekiReconstructChroma422Inter4x4_H264High_16s8u_IP2R(const VekH264HighMBParam_8u* const pParams[2],
                                                                        Vek32s levelScaleDCU, Vek32s levelScaleDCV);
VEKVC_API VekStatus vekiReconstructChroma422Inter4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2],
                                                                         Vek32s levelScaleDCU, Vek32s levelScaleDCV);
VEKVC_API VekStatus vekiReconstructChroma422Intra4x4_H264High_16s8u_IP2R(const VekH264HighMBParam_8u* const pParams[2],
                                                                        Vek32u intraChromaPredMode, Vek8u edgeType,
                                                                        Vek32s levelScaleDCU, Vek32s levelScaleDCV);
VEKVC_API VekStatus vekiReconstructChroma422Intra4x4_H264High_32s16u_IP2R(const VekH264HighMBParam* const pParams[2],
                                                                         Vek32u intraChromaPredMode, Vek8u edgeType,
                                                                         Vek32s levelScaleDCU, Vek32s levelScaleDCV);
VEKVC_API VekStatus vekiReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R(
    const VekH264HighMBParam_8u* const pParams[2], Vek32u intraChromaPredMode, Vek8u edgeTypeTop,
    Vek8u edgeTypeBottom, Vek32s levelScaleDCU, Vek32s levelScaleDCV);
VEKVC_API VekStatus vekiReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R(
    const VekH264HighMBParam* const pParams[2], Vek32u intraChromaPredMode, Vek8u edgeTypeTop,
    Vek8u edgeTypeBottom, Vek32s levelScaleDCU, Vek32s levelScaleDCV);

/* ---- H.264 forward transform, quantisation and CAVLC encoding ---------- */

/* Forward core of one packed 4x4 block (rows, then columns): s0 + s1, 2 d0 + d1, s0 - s1,
 * d0 - 2 d1, results cut to the destination's width. */
VEKVC_API VekStatus vekiTransformResidual4x4Fwd_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst);
VEKVC_API VekStatus vekiTransformResidual4x4Fwd_H264_32s_C1(const Vek32s* pSrc, Vek32s* pDst);
/* Forward core into pDst, then each value quantised in raster order: sign times
 * (|c| * factor + round) >> shift, shift QP / 6 + 15 with the built-in factors of QP % 6, or
 * QP / 6 + 11 with pScaleLevels (16 factors, may be null); round is 2^shift / 3 for Intra
 * non-zero, else / 6. *pNumLevels counts the non-zero levels and is negated when level 0 is
 * non-zero; *pLastCoeff is the largest pScanMatrix[place] (place -> scan position) among them.
 * Products are exact (64 bits). Null: vekStsNullPtrErr; QP outside 0-51 (0-87 for 16s32s):
 * vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiTransformQuantFwd4x4_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst, Vek32s QP,
                                                         Vek32s* pNumLevels, Vek32s Intra,
                                                         const Vek16s* pScanMatrix, Vek32s* pLastCoeff,
                                                         const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantFwd4x4_H264_16s32s_C1(const Vek16s* pSrc, Vek32s* pDst, Vek32s QP,
                                                            Vek32s* pNumLevels, Vek32s Intra,
                                                            const Vek16s* pScanMatrix, Vek32s* pLastCoeff,
                                                            const Vek16s* pScaleLevels);
/* The quantisation alone, on coefficients already transformed; *pNumLevels is never negated.
 * QP taken as unsigned above 51 (above 87 for the 32s form): vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiQuantizeResidual4x4Fwd_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst,
                                                           Vek32s* pNumLevels, Vek32s* pLastCoeff,
                                                           const Vek16s* pScaleLevels,
                                                           const Vek16s* pScanMatrix, Vek32s QP,
                                                           Vek32s Intra);
VEKVC_API VekStatus vekiQuantizeResidual4x4Fwd_H264_16s32s_C1(const Vek16s* pSrc, Vek32s* pDst,
                                                              Vek32s* pNumLevels, Vek32s* pLastCoeff,
                                                              const Vek16s* pScaleLevels,
                                                              const Vek16s* pScanMatrix, Vek32s QP,
                                                              Vek32s Intra);
VEKVC_API VekStatus vekiQuantizeResidual4x4Fwd_H264_32s_C1(const Vek32s* pSrc, Vek32s* pDst,
                                                           Vek32s* pNumLevels, Vek32s* pLastCoeff,
                                                           const Vek16s* pScaleLevels,
                                                           const Vek16s* pScanMatrix, Vek32s QP,
                                                           Vek32s Intra);
/* Chroma DC: with NeedTransform non-zero the DC values of pSrcDst (2x2, or 2 wide by 4 tall in
 * raster order) are Hadamard transformed into pTBlock, else pTBlock comes filled; pTBlock is then
 * quantised into pSrcDst with the first factor, shift QP / 6 + 16 (QP / 6 + 12 with
 * pScaleLevels) and the rounding of the 4x4 form. The 2x4 block quantises with QP + 3, the
 * 4:2:2 DC QP. *pNumLevels is negated when level 0 is non-zero. QP outside 0-39 (0-75 for
 * 32s): vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiTransformQuantFwdChromaDC2x2_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP,
                                                                  Vek32s* pNumLevels, Vek32s Intra,
                                                                  Vek32s NeedTransform,
                                                                  const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantFwdChromaDC2x2_H264_32s_C1I(Vek32s* pSrcDst, Vek32s* pTBlock, Vek32s QP,
                                                                  Vek32s* pNumLevels, Vek32s Intra,
                                                                  Vek32s NeedTransform,
                                                                  const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantFwdChromaDC2x4_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP,
                                                                  Vek32s* pNumLevels, Vek32s Intra,
                                                                  Vek32s NeedTransform,
                                                                  const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantFwdChromaDC2x4_H264_32s_C1I(Vek32s* pSrcDst, Vek32s* pTBlock, Vek32s QP,
                                                                  Vek32s* pNumLevels, Vek32s Intra,
                                                                  Vek32s NeedTransform,
                                                                  const Vek16s* pScaleLevels);
/* Intra 16x16 luma DC: the 4x4 Hadamard (rows, columns) halved by an arithmetic shift into
 * pTBlock when NeedTransform is non-zero, then quantised as the chroma DC with intra rounding;
 * *pLastCoeff as in the 4x4 form. QP outside 0-51 (0-87 for 32s): vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiTransformQuantFwdLumaDC4x4_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP,
                                                                Vek32s* pNumLevels, Vek32s NeedTransform,
                                                                const Vek16s* pScanMatrix, Vek32s* pLastCoeff,
                                                                const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantFwdLumaDC4x4_H264_32s_C1I(Vek32s* pSrcDst, Vek32s* pTBlock, Vek32s QP,
                                                                Vek32s* pNumLevels, Vek32s NeedTransform,
                                                                const Vek16s* pScanMatrix, Vek32s* pLastCoeff,
                                                                const Vek16s* pScaleLevels);
/* The decoder's DC scaling, in place: the inverse Hadamard, then with LS = pScaleLevels[0]
 * (a weighted factor, as from vekiGenScaleLevel4x4_H264_8u16s_C1) or 16 times the built-in
 * class-0 factor: 2x2 ((f * LS) << QP / 6) >> 5; 2x4 (QP + 3) and 4x4 (f * LS) << (QP / 6 - 6)
 * from QP / 6 = 6 on, else (f * LS + 2^(5 - QP / 6)) >> (6 - QP / 6). QP outside 0-39 / 0-75
 * (chroma) or 0-51 / 0-87 (luma): vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiTransformQuantInvChromaDC2x2_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP,
                                                                  const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantInvChromaDC2x2_H264_32s_C1I(Vek32s* pSrcDst, Vek32s QP,
                                                                  const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantInvChromaDC2x4_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP,
                                                                  const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantInvChromaDC2x4_H264_32s_C1I(Vek32s* pSrcDst, Vek32s QP,
                                                                  const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantInvLumaDC4x4_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP,
                                                                const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantInvLumaDC4x4_H264_32s_C1I(Vek32s* pSrcDst, Vek32s QP,
                                                                const Vek16s* pScaleLevels);
/* The reconstruction of one 4x4 block: levels scaled with LS (pScaleLevels, weighted factors,
 * or 16 times the built-in ones) as (c * LS) << (QP / 6 - 4) from QP 24 on, else
 * (c * LS + 2^(3 - QP / 6)) >> (4 - QP / 6); the DC is *pDC as it stands when pDC isn't null;
 * with AC zero only the DC is used and pSrcDst is left alone, else the residual is written
 * back over it; inverse core, (x + 32) >> 6, added to pPred and clipped to 0-255 or
 * 0 - 2^bitDepth - 1. Steps count bytes (8-bit) or elements (16-bit); pPred may be pDst.
 * Null pPred, pSrcDst, pDst: vekStsNullPtrErr; QP outside 0-51, or outside 0-87 or bitDepth
 * outside 9-14 (one condition): vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiTransformQuantInvAddPred4x4_H264_16s_C1IR(const Vek8u* pPred, Vek32s predStep,
                                                                 Vek16s* pSrcDst, const Vek16s* pDC,
                                                                 Vek8u* pDst, Vek32s dstStep, Vek32s QP,
                                                                 Vek32s AC, const Vek16s* pScaleLevels);
VEKVC_API VekStatus vekiTransformQuantInvAddPred4x4_H264_32s_C1IR(const Vek16u* pPred, Vek32s predStep,
                                                                 Vek32s* pSrcDst, const Vek32s* pDC,
                                                                 Vek16u* pDst, Vek32s dstStep, Vek32s QP,
                                                                 Vek32s AC, Vek32s bitDepth,
                                                                 const Vek16s* pScaleLevels);
/* Older entry points with 8-bit results: the luma DC (built-in factors, NeedTransform),
 * the 2x2 chroma DC (low 8 bits of Intra and NeedTransform count) and the 4x4 block transformed
 * and quantised in place (low 8 bits of Intra count), each as the forms above; the signed
 * count is negated when level 0 is non-zero. Null: vekStsNullPtrErr; QP outside 0-51 (0-39
 * for chroma): vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiTransformQuantLumaDC_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP,
                                                          Vek8s* pNumLevels, Vek32s NeedTransform,
                                                          const Vek16s* pScanMatrix, Vek8u* pLastCoeff);
VEKVC_API VekStatus vekiTransformQuantChromaDC_H264_16s_C1I(Vek16s* pSrcDst, Vek16s* pTBlock, Vek32s QP,
                                                            Vek8s* pNumLevels, Vek32s Intra,
                                                            Vek32s NeedTransform);
VEKVC_API VekStatus vekiTransformQuantResidual_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QP, Vek8s* pNumLevels,
                                                            Vek32s Intra, const Vek16s* pScanMatrix,
                                                            Vek8u* pLastCoeff);
/* Scale tables of one QP % 6 from a 4x4 scaling list (16 weights, raster order): inverse
 * w * normalisation factor, forward (shift 4 lower) floor(built-in factor / w), 32767 for w 0.
 * QPRem outside 0-5: vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiGenScaleLevel4x4_H264_8u16s_C1(const Vek8u* pSrcScaleList, Vek16s* pDstInvScale,
                                                       Vek16s* pDstFwdScale, Vek32s QPRem);
/* CAVLC preparation of one block; no bits are written. Scan positions Count down to AC (low
 * 8 bits of each; pScanMatrix: scan position -> place in pSrc) are walked from the highest:
 * up to 3 trailing +-1 levels (signs a bit each, 1 for -1, the first met highest) until any
 * other level; pLevels gets the other levels, highest first (at most 16); pRuns the run of
 * zeros below each level but the last (at most 15); *pTotalZeros the zeros below the highest
 * level (the range's length for an empty block). pSrc and pScanMatrix hold 16 entries each and
 * pLevels and pRuns must have room for 16 and 15: entries past those the block uses may be
 * overwritten. Null: vekStsNullPtrErr; Count above 15 or below AC: vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiEncodeCoeffsCAVLC_H264_16s(const Vek16s* pSrc, Vek32s AC, const Vek32s* pScanMatrix,
                                                   Vek32s Count, Vek8u* pTrailingOnes,
                                                   Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                                   Vek8u* pTotalZeros, Vek16s* pLevels, Vek8u* pRuns);
VEKVC_API VekStatus vekiEncodeCoeffsCAVLC_H264_32s(const Vek32s* pSrc, Vek32s AC, const Vek32s* pScanMatrix,
                                                   Vek32s Count, Vek8u* pTrailingOnes,
                                                   Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                                   Vek8u* pTotalZeros, Vek32s* pLevels, Vek8u* pRuns);
/* The same for chroma DC blocks in their fixed order: 2x2 in raster order; the 2x4 block (2
 * wide, 4 tall, raster order) in the order 0, 2, 1, 4, 6, 3, 5, 7. Null: vekStsNullPtrErr. */
VEKVC_API VekStatus vekiEncodeChromaDcCoeffsCAVLC_H264_16s(const Vek16s* pSrc, Vek8u* pTrailingOnes,
                                                           Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                                           Vek8u* pTotalZeros, Vek16s* pLevels,
                                                           Vek8u* pRuns);
VEKVC_API VekStatus vekiEncodeCoeffsCAVLCChromaDC2x2_H264_32s(const Vek32s* pSrc, Vek8u* pTrailingOnes,
                                                              Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                                              Vek8u* pTotalZeros, Vek32s* pLevels,
                                                              Vek8u* pRuns);
VEKVC_API VekStatus vekiEncodeCoeffsCAVLCChromaDC2x4_H264_16s(const Vek16s* pSrc, Vek8u* pTrailingOnes,
                                                              Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                                              Vek8u* pTotalZeros, Vek16s* pLevels,
                                                              Vek8u* pRuns);
VEKVC_API VekStatus vekiEncodeCoeffsCAVLCChromaDC2x4_H264_32s(const Vek32s* pSrc, Vek8u* pTrailingOnes,
                                                              Vek8u* pTrailingOneSigns, Vek8u* pNumOutCoeffs,
                                                              Vek8u* pTotalZeros, Vek32s* pLevels,
                                                              Vek8u* pRuns);
/* 8x8 scale tables of one QP % 6 from a scaling list (rows of 8 weights, srcStep bytes apart):
 * inverse w * normalisation factor; forward floor(factor / w) found through a reciprocal table
 * (16384 / w) and two 16-bit corrections, for the shift 4 lower. Null: vekStsNullPtrErr;
 * QPRem outside 0-5: vekStsQpRangeErr. */
VEKVC_API VekStatus vekiGenScaleLevel8x8_H264_8u16s_D2(const Vek8u* pSrcScaleList, Vek32s srcStep,
                                                       Vek16s* pDstInvScale, Vek16s* pDstFwdScale,
                                                       Vek32s QPRem);
/* Forward quantisation of 64 transformed values (raster order) with the forward scale table:
 * sign times (|c| * scale + round) >> (QPDiv6 + 12), round 682 (Intra) or 342 << (QPDiv6 + 1).
 * *pNumLevels counts the non-zero levels (never negated), *pLastCoeff the largest
 * pScanMatrix[place] among them. Null: vekStsNullPtrErr; QPDiv6 outside 0-8 (0-14 for 32s):
 * vekStsQpRangeErr. */
VEKVC_API VekStatus vekiQuantLuma8x8_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst, Vek32s QPDiv6,
                                                 Vek32s Intra, const Vek16s* pScaleLevels,
                                                 const Vek16s* pScanMatrix, Vek32s* pNumLevels,
                                                 Vek32s* pLastCoeff);
VEKVC_API VekStatus vekiQuantLuma8x8_H264_32s_C1(const Vek32s* pSrc, Vek32s* pDst, Vek32s QPDiv6,
                                                 Vek32s Intra, const Vek16s* pScaleLevels,
                                                 const Vek16s* pScanMatrix, Vek32s* pNumLevels,
                                                 Vek32s* pLastCoeff);
/* The decoder's 8x8 scaling in place with the inverse scale table LS: (c * LS) << (QPDiv6 - 6)
 * from 6 on, else (c * LS + 2^(5 - QPDiv6)) >> (6 - QPDiv6). Null: vekStsNullPtrErr; QPDiv6
 * outside 0-8 (0-14 for 32s): vekStsQpRangeErr. */
VEKVC_API VekStatus vekiQuantLuma8x8Inv_H264_16s_C1I(Vek16s* pSrcDst, Vek32s QPDiv6,
                                                     const Vek16s* pInvLevelScale);
VEKVC_API VekStatus vekiQuantInvLuma8x8_H264_32s_C1I(Vek32s* pSrcDst, Vek32s QPDiv6,
                                                     const Vek16s* pInvLevelScale);
/* Forward 8x8 transform of a packed block (rows, then columns; the butterfly whose inverse the
 * decoder runs), in place or into 16 or 32 bits. Null: vekStsNullPtrErr. */
VEKVC_API VekStatus vekiTransformLuma8x8Fwd_H264_16s_C1I(Vek16s* pSrcDst);
VEKVC_API VekStatus vekiTransformFwdLuma8x8_H264_16s_C1(const Vek16s* pSrc, Vek16s* pDst);
VEKVC_API VekStatus vekiTransformFwdLuma8x8_H264_16s32s_C1(const Vek16s* pSrc, Vek32s* pDst);
/* Inverse 8x8 transform of 64 scaled coefficients (rows, then columns, (x + 32) >> 6) added to
 * the 8x8 prediction and clipped to 0-255, or to 0 - 2^bitDepth - 1 (bitDepth 8-14, else
 * vekStsOutOfRangeErr). Steps count bytes for 8-bit samples, elements for 16-bit samples;
 * pPred and pDst may be one block; pSrcDst is not changed. Null: vekStsNullPtrErr. */
VEKVC_API VekStatus vekiTransformLuma8x8InvAddPred_H264_16s8u_C1R(const Vek8u* pPred, Vek32s predStep,
                                                                  Vek16s* pSrcDst, Vek8u* pDst,
                                                                  Vek32s dstStep);
VEKVC_API VekStatus vekiTransformInvAddPredLuma8x8_H264_32s16u_C1R(const Vek16u* pPred, Vek32s predStep,
                                                                   Vek32s* pSrcDst, Vek16u* pDst,
                                                                   Vek32s dstStep, Vek32s bitDepth);

/* ---- H.264 reference reading through picture boundaries and luma interpolation --- */

/* Working record of the inter-prediction paths and argument of the boundary
 * readers. One layout serves 8-bit, interleaved (NV12) and 16-bit samples;
 * steps count bytes for 8-bit and NV12, elements for 16-bit. */
typedef struct VekInterpolationParams {
    const void* pSrc;         /* origin of the reference plane (sample 0, 0) */
    int64_t srcStep;
    void* pDst;               /* start of the rectangle to fill */
    int64_t dstStep;
    Vek32s hFraction;
    Vek32s vFraction;
    Vek32s width;             /* finished block */
    Vek32s height;
    Vek32s interpolationType; /* kernel index for the interpolation step */
    Vek32s xPos;              /* rectangle's left column; may be pulled back by a reader */
    Vek32s yPos;              /* rectangle's top row; may be pulled back by a reader */
    Vek32s dataWidth;         /* samples (pairs for NV12) */
    Vek32s dataHeight;
    Vek32s frameWidth;
    Vek32s frameHeight;
    const void* pSrcSecond;   /* second chroma plane */
    void* pDstSecond;
    Vek32s bitDepth;
} VekInterpolationParams;

/* Argument of the Block interpolation functions. [0] is the luma plane, [1]
 * the second chroma plane. The motion vector is in quarter samples for luma. */
typedef struct VekInterpolationBlock_8u {
    const Vek8u* pSrc[2];
    Vek32s srcStep;
    Vek8u* pDst[2];
    Vek32s dstStep;
    VekRoi frameSize;
    VekRoi blockSize;
    VekPoint blockPos;
    VekPoint motionVector;
} VekInterpolationBlock_8u;

/* The same for 16-bit samples; steps in elements, samples clipped to bitDepth. */
typedef struct VekInterpolationBlock_16u {
    const Vek16u* pSrc[2];
    Vek32s srcStep;
    Vek16u* pDst[2];
    Vek32s dstStep;
    VekRoi frameSize;
    VekRoi blockSize;
    VekPoint blockPos;
    VekPoint motionVector;
    Vek32s bitDepth;
} VekInterpolationBlock_16u;

/* Argument of the plain, Top and Bottom 16-bit luma functions; pSrc is the
 * block's integer position, steps in elements, dx and dy quarter samples. */
typedef struct VekInterpolationLuma_16u {
    const Vek16u* pSrc;
    Vek32s srcStep;
    Vek16u* pDst;
    Vek32s dstStep;
    Vek32s dx;
    Vek32s dy;
    Vek32s width;
    Vek32s height;
    Vek32s bitDepth;
} VekInterpolationLuma_16u;

/* Fill the rectangle at (xPos, yPos), dataWidth x dataHeight, with reference
 * samples, positions outside the plane taking the nearest edge sample.
 * sideMask: 1 left, 2 right, 4 top, 8 bottom (0 writes nothing). Where both
 * sides of an axis are set, only the side given by the sign of the position is
 * treated. Pulled-back positions are written to xPos/yPos. Always vekStsOk. */
VEKVC_API VekStatus vekiReadDataBlockThroughBoundary_8u(Vek32s sideMask, VekInterpolationParams* pParams);
VEKVC_API VekStatus vekiReadDataBlockThroughBoundary_16u(Vek32s sideMask, VekInterpolationParams* pParams);
/* Interleaved pairs: xPos, dataWidth and frameWidth count pairs. */
VEKVC_API VekStatus vekiReadDataBlockThroughBoundary_NV12_8u(Vek32s sideMask, VekInterpolationParams* pParams);

/* Writes expandPels replicated rows and columns around the plane. fieldMode 0
 * frame, 1 top field (even rows), 2 bottom field (odd rows). NullPtr; BadArg
 * for an odd or < 2 height or a zero width; Ok when expandPels is 0; BadArg
 * for another fieldMode. */
VEKVC_API VekStatus vekiExpandPlane_H264_8u_C1R(Vek8u* pSrcDst, Vek32s frameWidth, Vek32s frameHeight,
                                                Vek32s srcDstStep, Vek32s expandPels, Vek32s fieldMode);

/* Quarter-sample luma prediction at (dx, dy). The source must be readable 2
 * rows above and 3 below when dy != 0, 2 columns left and 3 right when dx != 0.
 * NullPtr; BadArg for dx or dy above 3; SizeErr for a height not a multiple of
 * 4 or a width with a bit other than 4, 8, 16 (12 writes 8 columns, 20 to 28
 * write 16, 0 writes 4). */
VEKVC_API VekStatus vekiInterpolateLuma_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst,
                                                    Vek32s dstStep, Vek32s dx, Vek32s dy, VekRoi roi);
/* As above for a block leaving the picture at the top (bottom): row outPixels
 * (height - 1 - outPixels) relative to pSrc is the picture's first (last) row,
 * and rows beyond it repeat it. */
VEKVC_API VekStatus vekiInterpolateLumaTop_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst,
                                                       Vek32s dstStep, Vek32s dx, Vek32s dy,
                                                       Vek32s outPixels, VekRoi roi);
VEKVC_API VekStatus vekiInterpolateLumaBottom_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst,
                                                          Vek32s dstStep, Vek32s dx, Vek32s dy,
                                                          Vek32s outPixels, VekRoi roi);
/* 16-bit forms: NullPtr (record, pSrc, pDst); StepErr for a step below width;
 * BadArg for dx or dy outside 0..3; SizeErr unless width and height are 4, 8
 * or 16 and not 4x16 or 16x4. Samples are clipped to bitDepth. */
VEKVC_API VekStatus vekiInterpolateLuma_H264_16u_C1R(const VekInterpolationLuma_16u* pParams);
VEKVC_API VekStatus vekiInterpolateLumaTop_H264_16u_C1R(const VekInterpolationLuma_16u* pParams,
                                                        Vek32s outPixels);
VEKVC_API VekStatus vekiInterpolateLumaBottom_H264_16u_C1R(const VekInterpolationLuma_16u* pParams,
                                                           Vek32s outPixels);
/* Luma block at blockPos moved by motionVector, reading the picture as if it
 * were padded without limit by its edge samples. A zero vector copies from
 * blockPos without any edge check. NullPtr (record, pSrc[0], pDst[0]), then
 * SizeErr as for the 8-bit plain function; frameSize is not checked. */
VEKVC_API VekStatus vekiInterpolateLumaBlock_H264_8u_P1R(const VekInterpolationBlock_8u* pParams);
VEKVC_API VekStatus vekiInterpolateLumaBlock_H264_16u_P1R(const VekInterpolationBlock_16u* pParams);

/* ---- H.264 chroma interpolation ---------------------------------------- */

/* Eighth-sample chroma prediction by the bilinear formula; dx, dy 0 to 7. The
 * 8-bit kernels have fixed widths chosen by width & 12 (2; 4 for 4 and 6; 8 for
 * 8 to 14), heights must be even; 16-wide blocks are refused. The source must
 * be readable one column right when dx != 0 and one row below when dy != 0. */
VEKVC_API VekStatus vekiInterpolateChroma_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst,
                                                      Vek32s dstStep, Vek32s dx, Vek32s dy, VekRoi roi);
/* Interleaved (NV12) source pairs, split into two destination planes. */
VEKVC_API VekStatus vekiInterpolateChroma_H264_8u_C2P2R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDstFirst,
                                                        Vek8u* pDstSecond, Vek32s dstStep, Vek32s dx, Vek32s dy,
                                                        VekRoi roi);
/* Blocks leaving the picture at the top or bottom: rows are taken through a
 * temporary block; with dx != 0 each row copies width + 4 source samples.
 * Top: row i is source row max(i, outPixels) for outPixels > 0, else
 * i + outPixels (the block moves up). Bottom: min(i, height - 1 - outPixels). */
VEKVC_API VekStatus vekiInterpolateChromaTop_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst,
                                                         Vek32s dstStep, Vek32s dx, Vek32s dy, Vek32s outPixels,
                                                         VekRoi roi);
VEKVC_API VekStatus vekiInterpolateChromaBottom_H264_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst,
                                                            Vek32s dstStep, Vek32s dx, Vek32s dy, Vek32s outPixels,
                                                            VekRoi roi);
/* 16-bit, record with eighth-sample dx, dy: always the four-tap formula, so
 * the column right of and the row below the block are read. Steps (elements)
 * below 8: vekStsStepErr; sizes 2, 4, 8, 16. */
VEKVC_API VekStatus vekiInterpolateChroma_H264_16u_C1R(const VekInterpolationLuma_16u* pParams);
/* Top and Bottom in 16 bits copy the luma window and follow the luma row rules. */
VEKVC_API VekStatus vekiInterpolateChromaTop_H264_16u_C1R(const VekInterpolationLuma_16u* pParams,
                                                          Vek32s outPixels);
VEKVC_API VekStatus vekiInterpolateChromaBottom_H264_16u_C1R(const VekInterpolationLuma_16u* pParams,
                                                             Vek32s outPixels);
/* Both chroma planes of a block at blockPos moved by an eighth-sample vector,
 * reading through the picture's edges as if it were padded without limit. A
 * zero vector copies the block where it stands, without any edge check. */
VEKVC_API VekStatus vekiInterpolateChromaBlock_H264_8u_P2R(const VekInterpolationBlock_8u* pParams);
VEKVC_API VekStatus vekiInterpolateChromaBlock_H264_16u_P2R(const VekInterpolationBlock_16u* pParams);
/* Interleaved reference in pSrc[0] (positions and frame width in pairs), split
 * into pDst[0] (even bytes) and pDst[1] (odd bytes). */
VEKVC_API VekStatus vekiInterpolateChromaBlock_H264_8u_C2P2R(const VekInterpolationBlock_8u* pParams);

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
/* One 8x8 block per call from the word cursor: run-level codes through tables built by
 * vekiHuffmanRunLevelTableInitAlloc_32s (run 254 ends the block, run 255 is the escape),
 * placed at pDstBlock[pScan[i] & 63] and inverse quantised with pQPMatrix (raster order).
 * *pDstSize is the scan position of the last coefficient. A position beyond 63 or a bad
 * DC size code gives vekStsVlcErr, the partial block stays and the cursor is not moved.
 * MPEG-2: ((2L + sign L) W QP) / 32 (intra 2L W QP / 32), toward zero, stored with 16-bit
 * wrap, then mismatch control on entry 63. MPEG-1: the same over 16, made odd toward zero,
 * clipped to -2048..2047. QP and the scan's entries are not checked. */

/* Non-intra block; a first code '1s' is run 0, level +-1, others use pFirstTable.
 * pQPMatrix may be null here only (flat 16); *pDstSize is at least 1. */
VEKVC_API VekStatus vekiReconstructDCTBlock_MPEG2_32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                      const Vek32s* pFirstTable,
                                                      const Vek32s* pACTable, const Vek32s* pScan,
                                                      Vek32s QP, const Vek16s* pQPMatrix,
                                                      Vek16s* pDstBlock, Vek32s* pDstSize);
VEKVC_API VekStatus vekiReconstructDCTBlock_MPEG1_32s(Vek32u** ppBitStream, Vek32s* pOffset,
                                                      const Vek32s* pFirstTable,
                                                      const Vek32s* pACTable, const Vek32s* pScan,
                                                      Vek32s QP, const Vek16s* pQPMatrix,
                                                      Vek16s* pDstBlock, Vek32s* pDstSize);
/* Intra block: DC size by pDCSizeTable, then the difference. MPEG-2 keeps *pDCPred unscaled
 * and stores it << shiftDC; MPEG-1 adds 8 times the difference to *pDCPred and stores that. */
VEKVC_API VekStatus vekiReconstructDCTBlockIntra_MPEG2_32s(
    Vek32u** ppBitStream, Vek32s* pOffset, const Vek32s* pDCSizeTable, const Vek32s* pACTable,
    const Vek32s* pScan, Vek32s QP, const Vek16s* pQPMatrix, Vek16s* pDCPred, Vek32s shiftDC,
    Vek16s* pDstBlock, Vek32s* pDstSize);
VEKVC_API VekStatus vekiReconstructDCTBlockIntra_MPEG1_32s(
    Vek32u** ppBitStream, Vek32s* pOffset, const Vek32s* pDCSizeTable, const Vek32s* pACTable,
    const Vek32s* pScan, Vek32s QP, const Vek16s* pQPMatrix, Vek16s* pDCPred, Vek16s* pDstBlock,
    Vek32s* pDstSize);

/* ---- MPEG-4 coefficient decoding --------------------------------------- */
/* Inverse quantisation records, in caller memory of the size GetSize reports (any
 * alignment). Init writes a tag that each use checks (vekStsContextMismatchErr), the bit
 * depth (4..12, else vekStsOutOfRangeErr) and an optional 64-entry weight matrix by block
 * index (raster order); null selects the plain QP method. */
typedef struct VekQuantInvInterSpec_MPEG4 VekQuantInvInterSpec_MPEG4;
typedef struct VekQuantInvIntraSpec_MPEG4 VekQuantInvIntraSpec_MPEG4;

VEKVC_API VekStatus vekiQuantInvInterGetSize_MPEG4(Vek32s* pSpecSize);
VEKVC_API VekStatus vekiQuantInvInterInit_MPEG4(const Vek8u* pQuantMatrix,
                                                VekQuantInvInterSpec_MPEG4* pSpec,
                                                Vek32s bitsPerPixel);
VEKVC_API VekStatus vekiQuantInvIntraGetSize_MPEG4(Vek32s* pSpecSize);
VEKVC_API VekStatus vekiQuantInvIntraInit_MPEG4(const Vek8u* pQuantMatrix,
                                                VekQuantInvIntraSpec_MPEG4* pSpec,
                                                Vek32s bitsPerPixel);
/* In place on block indices 0..indxLastNonZero (the rest must be 0). Matrix method:
 * ((2L + sign L) W QP) / 16 toward zero, then mismatch control on entry 63; plain method:
 * (2|L| + 1) QP, less 1 for even QP, signed, 0 kept. Saturated to -2^(b+3)..2^(b+3)-1.
 * Checks: pointers, tag, QP in 1..2^(b-3)-1 (vekStsQpRangeErr), index in 0..63
 * (vekStsOutOfRangeErr). */
VEKVC_API VekStatus vekiQuantInvInter_MPEG4_16s_C1I(Vek16s* pCoeffs, Vek32s indxLastNonZero,
                                                    const VekQuantInvInterSpec_MPEG4* pSpec,
                                                    Vek32s QP);
/* As the inter form with 2 L W QP / 16 for the matrix method; the DC (entry 0) is multiplied
 * by the DC scaler of QP, of luminance for blockType 0 and chrominance otherwise. */
VEKVC_API VekStatus vekiQuantInvIntra_MPEG4_16s_C1I(Vek16s* pCoeffs, Vek32s indxLastNonZero,
                                                    const VekQuantInvIntraSpec_MPEG4* pSpec,
                                                    Vek32s QP, Vek32s blockType);

/* Decoders of one 8x8 block from the byte cursor (*ppBitStream, *pBitOffset 0..7, most
 * significant bit first). They load four bytes at a time, forward from the byte of the
 * current bit or backward ending at it: keep 3 readable bytes after the stream and, for
 * backward reading, before it. Checks: pointers (*ppBitStream too), then
 * the offset (vekStsBitOffsetErr). A bad code gives vekStsVlcCodeErr with the cursor as on
 * entry, the coefficients so far kept and *pIndxLastNonZero at the position reached.
 * Otherwise *pIndxLastNonZero is the scan position of the last coefficient. */

/* Intra coefficients, B-16 codes with three escapes (rvlcFlag 0) or reversible codes read
 * forward. scan: 0 zigzag, 1 alternate vertical, 2 alternate horizontal, other natural
 * order. noDCFlag keeps pCoef[0] and starts after it. */
VEKVC_API VekStatus vekiDecodeCoeffsIntra_MPEG4_1u16s(Vek8u** ppBitStream, Vek32s* pBitOffset,
                                                      Vek16s* pCoef, Vek32s* pIndxLastNonZero,
                                                      Vek32s rvlcFlag, Vek32s noDCFlag,
                                                      Vek32s scan);
/* Inter coefficients, B-17 codes or reversible codes read forward. scan: 0 zigzag,
 * 1 alternate vertical, other natural order. */
VEKVC_API VekStatus vekiDecodeCoeffsInter_MPEG4_1u16s(Vek8u** ppBitStream, Vek32s* pBitOffset,
                                                      Vek16s* pCoef, Vek32s* pIndxLastNonZero,
                                                      Vek32s rvlcFlag, Vek32s scan);
/* Reversible codes read backward: the cursor names the block's last bit (the sign of its
 * final code) and ends on the last bit of the block before. Coefficients stay in scan
 * order. A run overshooting the start at the final step is not caught: the index then
 * exceeds 63. */
VEKVC_API VekStatus vekiDecodeCoeffsIntraRVLCBack_MPEG4_1u16s(Vek8u** ppBitStream,
                                                              Vek32s* pBitOffset, Vek16s* pCoef,
                                                              Vek32s* pIndxLastNonZero,
                                                              Vek32s noDCFlag);
VEKVC_API VekStatus vekiDecodeCoeffsInterRVLCBack_MPEG4_1u16s(Vek8u** ppBitStream,
                                                              Vek32s* pBitOffset, Vek16s* pCoef,
                                                              Vek32s* pIndxLastNonZero);
/* Inter decoding with dequantisation. scan: 1 alternate vertical, other zigzag. B-17 codes:
 * the record (null, tag, QP) is checked first, each level is dequantised as it is stored
 * (a type-3 level of 0 counts as positive) and a matrix adds mismatch control. Reversible
 * codes: decoded, then vekiQuantInvInter_MPEG4_16s_C1I on the whole block, its status returned. */
VEKVC_API VekStatus vekiReconstructCoeffsInter_MPEG4_1u16s(
    Vek8u** ppBitStream, Vek32s* pBitOffset, Vek16s* pCoef, Vek32s* pIndxLastNonZero,
    Vek32s rvlcFlag, Vek32s scan, const VekQuantInvInterSpec_MPEG4* pQuantInvInterSpec, Vek32s QP);
/* Intra DC differential: size code of luminance (blockType 0) or chrominance, the bits and,
 * above size 8, a marker; a marker of 0 fails after *pDC is written. */
VEKVC_API VekStatus vekiDecodeDCIntra_MPEG4_1u16s(Vek8u** ppBitStream, Vek32s* pBitOffset,
                                                  Vek16s* pDC, Vek32s blockType);

/* ---- MPEG-4 global motion and sprite warping --------------------------- */
/* Block copies of 8x8 and 16x16 samples. The HP forms take acc (bit 0: half a sample to the
 * right, bit 1: half a sample down) and rounding (0 or 1): two samples give (a + b + 1 - rounding)
 * >> 1, four give (a + b + c + d + 2 - rounding) >> 2; they read one more column or row. Null
 * pointers give vekStsNullPtrErr; acc and rounding are not checked. */
VEKVC_API VekStatus vekiCopy8x8_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep);
VEKVC_API VekStatus vekiCopy16x16_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep);
VEKVC_API VekStatus vekiCopy8x8HP_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst, Vek32s dstStep,
                                         Vek32s acc, Vek32s rounding);
VEKVC_API VekStatus vekiCopy16x16HP_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst,
                                           Vek32s dstStep, Vek32s acc, Vek32s rounding);

/* Private warp record, placed in caller memory of the reported size (used from its first
 * 16-byte aligned address) and set up once per plane by vekiWarpInit_MPEG4. */
typedef struct VekiWarpSpec_MPEG4 VekiWarpSpec_MPEG4;
/* Reports the record size in *pSize; vekStsNullPtrErr for null. */
VEKVC_API VekStatus vekiWarpGetSize_MPEG4(Vek32s* pSize);
/* Sets up the record from the differential trajectories pDU, pDV (half samples). Checks: pSpec
 * null; numWarpingPoints outside 0..4, 4 points without spriteType 1, warpingAccuracy outside
 * 0..3 or fcode outside 1..7 (vekStsOutOfRangeErr); a rectangle side below 1 (vekStsSizeErr).
 * With points but a null pDU or pDV: vekStsNullPtrErr, the record tagged but half filled. */
VEKVC_API VekStatus vekiWarpInit_MPEG4(VekiWarpSpec_MPEG4* pSpec, const Vek32s* pDU, const Vek32s* pDV,
                                       Vek32s numWarpingPoints, Vek32s spriteType,
                                       Vek32s warpingAccuracy, Vek32s roundingType,
                                       Vek32s quarterSample, Vek32s fcode,
                                       const VekRect* pSpriteRect, const VekRect* pVopRect);
/* Warped block at pDstRect (plane coordinates) from the sprite whose origin sample is pSrc;
 * positions outside the sprite take its edge samples. vekStsNullPtrErr, then
 * vekStsContextMismatchErr for a record that was not set up. */
VEKVC_API VekStatus vekiWarpLuma_MPEG4_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, Vek8u* pDst,
                                              Vek32s dstStep, const VekRect* pDstRect,
                                              const VekiWarpSpec_MPEG4* pSpec);
VEKVC_API VekStatus vekiWarpChroma_MPEG4_8u_P2R(const Vek8u* pSrcCb, Vek32s srcStepCb,
                                                const Vek8u* pSrcCr, Vek32s srcStepCr,
                                                Vek8u* pDstCb, Vek32s dstStepCb, Vek8u* pDstCr,
                                                Vek32s dstStepCr, const VekRect* pDstRect,
                                                const VekiWarpSpec_MPEG4* pSpec);
/* Global motion vector of the 16x16 macroblock at (xOffset, yOffset), clipped to the fcode
 * range. vekStsNullPtrErr, then vekStsContextMismatchErr. */
VEKVC_API VekStatus vekiCalcGlobalMV_MPEG4(Vek32s xOffset, Vek32s yOffset, VekMotionVector* pGMV,
                                           const VekiWarpSpec_MPEG4* pSpec);
/* Scales every sample by (1 + brightnessChange / 100), clipped to 0..255. vekStsNullPtrErr,
 * then vekStsOutOfRangeErr outside -112..1648; 0 changes nothing. */
VEKVC_API VekStatus vekiChangeSpriteBrightness_MPEG4_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                             Vek32s width, Vek32s height,
                                                             Vek32s brightnessChange);

/* ---- H.263 filters, PB prediction and resampling ----------------------- */
/* Edge filters, in place. pSrcDst is the first sample after the edge (the row below a
 * horizontal edge, the column right of a vertical one). The 8x8 forms filter 8 positions with the
 * strength of QP (vekStsNullPtrErr, then vekStsQpRangeErr outside 1..31); the 16x16 forms filter
 * 16 positions without a strength; the block boundary forms smooth the two nearest samples. */
VEKVC_API VekStatus vekiFilterDeblocking8x8HorEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                Vek32s QP);
VEKVC_API VekStatus vekiFilterDeblocking8x8VerEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep,
                                                                Vek32s QP);
VEKVC_API VekStatus vekiFilterDeblocking16x16HorEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep);
VEKVC_API VekStatus vekiFilterDeblocking16x16VerEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep);
VEKVC_API VekStatus vekiFilterBlockBoundaryHorEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep);
VEKVC_API VekStatus vekiFilterBlockBoundaryVerEdge_H263_8u_C1IR(Vek8u* pSrcDst, Vek32s srcDstStep);
/* PB frames: averages the backward prediction from pSrc (mcType 0..3, bit 0 half a sample right,
 * bit 1 half down; not checked) into the forward prediction at pSrcDst, truncating.
 * vekStsNullPtrErr, then vekStsSizeErr for a side below 1. */
VEKVC_API VekStatus vekiAddBackPredPB_H263_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, VekRoi roi,
                                                  Vek8u* pSrcDst, Vek32s srcDstStep, Vek32s mcType);
/* Reference picture resampling of three planes (chroma half the luma sizes) by eight warp
 * parameters in half samples; wda non-zero selects 1/16 accuracy. fillMode 0 takes three colours
 * from pFillColor, 1 and 2 fixed colours, others repeat the edges. Checks: seven pointers
 * (vekStsNullPtrErr), sizes below 4 or odd (vekStsSizeErr), fillMode 0 with no colours. */
VEKVC_API VekStatus vekiResample_H263_8u_P3R(const Vek8u* pSrcY, Vek32s srcYStep, VekRoi srcRoi,
                                             const Vek8u* pSrcCb, Vek32s srcCbStep,
                                             const Vek8u* pSrcCr, Vek32s srcCrStep, Vek8u* pDstY,
                                             Vek32s dstYStep, VekRoi dstRoi, Vek8u* pDstCb,
                                             Vek32s dstCbStep, Vek8u* pDstCr, Vek32s dstCrStep,
                                             const Vek16s* pWarpParams, Vek32s wda, Vek32s rounding,
                                             Vek32s fillMode, const Vek32s* pFillColor);
/* Doubles width and height with 9-3-3-1 weights; outside the source, fillColor (0 or more) or
 * the repeated edge (negative). vekStsNullPtrErr, then vekStsSizeErr below 4 or odd. */
VEKVC_API VekStatus vekiUpsampleFour_H263_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, VekRoi srcRoi,
                                                 Vek8u* pDst, Vek32s dstStep, Vek32s rounding,
                                                 Vek32s fillColor);
/* Halves width and height by 2x2 means; an odd height reads one row below the region.
 * vekStsNullPtrErr, then vekStsSizeErr below 1. */
VEKVC_API VekStatus vekiDownsampleFour_H263_8u_C1R(const Vek8u* pSrc, Vek32s srcStep, VekRoi srcRoi,
                                                   Vek8u* pDst, Vek32s dstStep, Vek32s rounding);
/* 16-bit blocks, steps in bytes: 8x8 up to 16x16 and 16x16 down to 8x8. vekStsNullPtrErr. */
VEKVC_API VekStatus vekiUpsampleFour8x8_H263_16s_C1R(const Vek16s* pSrc, Vek32s srcStep, Vek16s* pDst,
                                                     Vek32s dstStep);
VEKVC_API VekStatus vekiDownsampleFour16x16_H263_16s_C1R(const Vek16s* pSrc, Vek32s srcStep,
                                                         Vek16s* pDst, Vek32s dstStep);
/* Scalable layers: interpolation 3 doubles both directions (as upsampling with rounding 1 and
 * repeated edges), 2 only vertically, any other value only horizontally. vekStsNullPtrErr, then
 * vekStsSizeErr below 4 or odd. */
VEKVC_API VekStatus vekiSpatialInterpolation_H263_8u_C1R(const Vek8u* pSrc, Vek32s srcStep,
                                                         VekRoi srcRoi, Vek8u* pDst, Vek32s dstStep,
                                                         Vek32s interpolation);

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
/* One 8x8 block of run/level codes from the word cursor (offset 31 = fresh word), levels
 * placed in raster order into pDstCoeffs, highest frequency first in the stream. *pNumCoeff
 * is the count of scan positions used, or 63 whenever scanType is not 0. Luma takes the
 * frame or field scan from bit 0 of scanType, chroma from scanType != 0. No end-of-buffer
 * check. vekStsNullPtrErr for any null pointer or a null *ppBitStream; nothing else fails. */
VEKVC_API VekStatus vekiDecodeLumaBlockIntra_AVS_1u16s(Vek32u** ppBitStream, Vek32s* pBitOffset,
                                                       Vek32s* pNumCoeff, Vek16s* pDstCoeffs,
                                                       Vek32s scanType);
VEKVC_API VekStatus vekiDecodeLumaBlockInter_AVS_1u16s(Vek32u** ppBitStream, Vek32s* pBitOffset,
                                                       Vek32s* pNumCoeff, Vek16s* pDstCoeffs,
                                                       Vek32s scanType);
VEKVC_API VekStatus vekiDecodeChromaBlock_AVS_1u16s(Vek32u** ppBitStream, Vek32s* pBitOffset,
                                                    Vek32s* pNumCoeff, Vek16s* pDstCoeffs,
                                                    Vek32s scanType);
/* Macroblock reconstruction from packed coded blocks (64 levels each, *ppSrcCoeff moved past
 * the blocks used). Intra blocks are predicted first (luma mode & 7, modes 5-7 fill with 128;
 * chroma mode & 3: DC, horizontal, vertical, plane); a mode lacking neighbours leaves the
 * picture as it was. Edge bits mark missing neighbours: 1 left, 4 above, 32 above right,
 * 64 below left. pNumCoeff (by block) picks the inverse route: 1 DC only, 2-10 top left 4x4,
 * else full. vekStsNullPtrErr, then vekStsOutOfRangeErr for QP above 63 (luma) or 51 (chroma). */
VEKVC_API VekStatus vekiReconstructLumaIntra_AVS_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pDst,
                                                           Vek32s dstStep, const Vek32u* pPredModes,
                                                           const Vek32u* pNumCoeff, Vek32u cbp,
                                                           Vek32u QP, Vek32u edges);
VEKVC_API VekStatus vekiReconstructChromaIntra_AVS_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pDstU,
                                                             Vek8u* pDstV, Vek32s dstStep,
                                                             Vek32u predMode, const Vek32u* pNumCoeff,
                                                             Vek32u cbp, Vek32u QP, Vek32u edges);
VEKVC_API VekStatus vekiReconstructLumaInter_AVS_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pDst,
                                                           Vek32s dstStep, const Vek32u* pNumCoeff,
                                                           Vek32u cbp, Vek32u QP);
/* cbp bits 0-3: U, V, U 8 rows down, V 8 rows down (the lower two for 4:2:2). */
VEKVC_API VekStatus vekiReconstructChromaInter_AVS_16s8u_C1R(Vek16s** ppSrcCoeff, Vek8u* pDstU,
                                                             Vek8u* pDstV, Vek32s dstStep,
                                                             const Vek32u* pNumCoeff, Vek32u cbp,
                                                             Vek32u QP);
/* Difference pSrc1 - pSrc2 of two 8x8 blocks into pDst (dstStep in bytes) and its sum of
 * absolute values into *pSAD. vekStsNullPtrErr. */
VEKVC_API VekStatus vekiSubSAD8x8_8u16s_C1R(const Vek8u* pSrc1, Vek32s src1Step, const Vek8u* pSrc2,
                                            Vek32s src2Step, Vek16s* pDst, Vek32s dstStep,
                                            Vek32s* pSAD);
/* Forward 8x8 transform and quantisation of 64 residuals (in place allowed); *pNumCoeffs is the
 * count of non-zero levels. roundMode non-zero rounds up from 10/31 of a step (intra), zero
 * from 10/62 (inter). vekStsNullPtrErr, then vekStsOutOfRangeErr for QP above 63. */
VEKVC_API VekStatus vekiTransformQuant8x8Fwd_AVS_16s_C1(const Vek16s* pSrc, Vek16s* pDst,
                                                        Vek32u* pNumCoeffs, Vek32u QP,
                                                        Vek32s roundMode);
/* Intra disassembly: per 8x8 block (luma) or per U/V pair (chroma) the mode of least SAD over
 * luma modes 0-4 / chroma modes 0-3, ties to the lower mode, is predicted into pDst, its
 * residual quantised into the packed coefficient blocks and reconstructed as the decoder
 * will (route by frame-scan count). *ppDstCoeff moves past the coded blocks only when the
 * pattern is non-zero; *pCbp is always written. Null checks in argument order, then QP above
 * 63 (luma) or 51 (chroma): vekStsNullPtrErr, vekStsOutOfRangeErr. */
VEKVC_API VekStatus vekiDisassembleLumaIntra_AVS_16s8u_C1R(const Vek8u* pSrc, Vek32s srcStep,
                                                           Vek8u* pDst, Vek32s dstStep,
                                                           Vek16s** ppDstCoeff, Vek32u* pPredModes,
                                                           Vek32u* pCbp, Vek32u QP, Vek32u edges);
VEKVC_API VekStatus vekiDisassembleChroma420Intra_AVS_16s8u_C1R(const Vek8u** ppSrc, Vek32s srcStep,
                                                                Vek8u** ppDst, Vek32s dstStep,
                                                                Vek16s** ppDstCoeff,
                                                                Vek32u* pPredMode, Vek32u* pCbp,
                                                                Vek32u QP, Vek32u edges);

/* ---- DV ---------------------------------------------------------------- */
/* A segment is 400 bytes: five compressed macroblocks of 80 bytes, the low 4 bits
 * of each macroblock's byte 3 its quantisation number. Blocks that overflow their
 * space continue in spare bits of their macroblock, then of the segment. Decoding
 * writes the DC (9 bits times 128) and each decoded AC level (times 64) at its
 * raster place; the caller clears pDst. Parameter word of a block: bit 0 end of
 * block seen, bits 4-6 DCT mode and class as in the stream, bits 8-15 the final
 * position less 64 (8 bits), bits 16-19 the quantisation number. The table
 * arguments are ignored (null is fine); only pStream, pDst, pParam are checked. */

/* 30 blocks of 64 coefficients and 30 parameter words. A corrupt stream still
 * returns vekStsOk: its unfinished blocks lack the end-of-block bit. */
VEKVC_API VekStatus vekiHuffmanDecodeSegment_DV_8u16s(const Vek8u* pStream, const Vek32u* pZigzagTables,
                                                      const Vek32u* pHuffTable, Vek16s* pDst,
                                                      Vek32u* pParam);
/* As above with no lending: each block decodes in its own space only. */
VEKVC_API VekStatus vekiHuffmanDecodeSegmentOnePass_DV_8u16s(const Vek8u* pStream,
                                                             const Vek32u* pZigzagTables,
                                                             const Vek32u* pHuffTable, Vek16s* pDst,
                                                             Vek32u* pParam);
/* 100 Mbit/s segments: eight blocks a macroblock (four luma, two Cr, two Cb) at bytes
 * 4, 14, ..., 54 (80 bits each), 64 and 72 (64 bits each); 40 blocks, 40 words. */
VEKVC_API VekStatus vekiHuffmanDecodeSegment_DV100_8u16s(const Vek8u* pStream, const Vek32u* pZigzagTables,
                                                         const Vek32u* pHuffTable, Vek16s* pDst,
                                                         Vek32u* pParam);
/* Two lookup tables from lists [width 1..16, count, (length, code, value) x count]:
 * result [w1, w2, 2^w1 entries, 2^w2 entries], entry value << 8 | length, 0 where no
 * code starts. vekStsNullPtrErr, vekStsBadArgErr for a malformed list, vekStsNoMemErr. */
VEKVC_API VekStatus vekiInitAllocHuffmanTable_DV_32u(const Vek32s* pSrcTable1, const Vek32s* pSrcTable2,
                                                     Vek32u** ppHuffTable);
/* Releases such a table; vekStsNullPtrErr for null. */
VEKVC_API VekStatus vekiFreeHuffmanTable_DV_32u(Vek32u* pHuffTable);

/* Output conversion to interleaved 4:2:2, bytes Y Cb Y Cr, dstStep in bytes. Source
 * blocks are 64 Vek16s in raster order, samples less 128, consecutive in a macroblock:
 * luma 0-3, Cr 4, Cb 5 (4:2:2: luma 0 and 2; blocks 1 and 3 are not read). A byte is
 * the sample saturated to -128..127 plus 128. Segment forms take five macroblock and
 * five destination pointers, single (Edge, 8x8MB) forms one macroblock. Sizes below
 * are one macroblock's output in pixels. Null pSrc or pDst: vekStsNullPtrErr, except
 * for the 4:2:2 _5MBDV and ZoomOut forms, which take their arrays as given. */

/* 4:1:1. Chroma is spread 8 -> 16: odd samples are (c[i] + c[i+1]) >> 1, saturating,
 * the last repeated (Edge: within each group of four; elements 0-3 of a chroma row
 * serve the upper half, 4-7 the lower). Luma reductions sum 2x2 with saturating
 * 16-bit additions then >> 2, or 4x4 then >> 4; chroma halves two rows (>> 1) or sums
 * four rows by two columns (>> 3). _5MBDV, ZoomOut2 and ZoomOut4: a null source entry
 * ends the work with vekStsOk. ZoomOut8 _5MBDV: a null destination entry is skipped. */
/* 32x8. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                             Vek32s dstStep);
/* 16x16: blocks 0 1 above 2 3. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst,
                                                              Vek32s dstStep);
/* 16x4. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                      Vek32s dstStep);
/* 8x8. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut2_EdgeDV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst,
                                                                       Vek32s dstStep);
/* 8x2. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                      Vek32s dstStep);
/* 4x4. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut4_EdgeDV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst,
                                                                       Vek32s dstStep);
/* 4x1 from element 0 of each block: Y0 Cb Y1 Cr Y2 Cb Y3 Cr. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                      Vek32s dstStep);
/* 2x2 from element 0 of each block. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_ZoomOut8_EdgeDV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst,
                                                                       Vek32s dstStep);

/* 4:2:0, 16x16: chroma row 2 (y / 4) + y % 2 serves output row y, not interpolated.
 * ZoomOut2 and ZoomOut4 as 4:1:1 for luma; chroma 2x2 (>> 2) or 4x4 (>> 4), each
 * chroma result serving two output rows. Entries of the arrays are not tested. */
/* 16x16. */
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                             Vek32s dstStep);
/* 8x8. */
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                      Vek32s dstStep);
/* 4x4. */
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                      Vek32s dstStep);
/* 2x2 from element 0 of each block. */
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                      Vek32s dstStep);

/* 4:2:2, luma blocks 0 | 2, chroma element i to pixel pair i. Reductions sum 2x2 or
 * 4x4 in 32 bits and divide with truncation toward zero (unlike 4:1:1 and 4:2:0, whose
 * shifts round negative sums down). A null source or destination entry ends the work
 * with vekStsNullPtrErr; macroblocks before it stay written. */
/* 16x8. */
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                             Vek32s dstStep);
/* 8x4. */
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                      Vek32s dstStep);
/* 4x2. */
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                      Vek32s dstStep);
/* 2x1: block 0, Cb, block 2, Cr. */
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                      Vek32s dstStep);

/* Blocks reduced to 4x4 (the first 16 elements, four rows of four); chroma repeated,
 * not interpolated. 16x4x5MB: a null source entry ends the work with vekStsOk; the
 * 8x8x5MB and 8x4x5MB entries are not tested. */
/* 16x4: blocks 0-3 side by side, each chroma sample two pairs. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_16x4x5MB_DV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                   Vek32s dstStep);
/* 8x8: chroma columns 0-1 serve rows 0-3, columns 2-3 rows 4-7. */
VEKVC_API VekStatus vekiYCrCb411ToYCbCr422_8x8MB_DV_16s8u_P3C2R(const Vek16s* pSrc, Vek8u* pDst,
                                                                Vek32s dstStep);
/* 8x8: chroma row i serves output rows 2i and 2i + 1. */
VEKVC_API VekStatus vekiYCrCb420ToYCbCr422_8x8x5MB_DV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                  Vek32s dstStep);
/* 8x4: blocks 0 | 2, chroma row r to output row r. */
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_8x4x5MB_DV_16s8u_P3C2R(const Vek16s* const* pSrc, Vek8u* const* pDst,
                                                                  Vek32s dstStep);

/* 100 Mbit/s: pSrc holds five macroblocks of eight blocks (luma 0-3, Cr 4-5, Cb 6-7);
 * pDst ten pointers, two 16x8 halves a macroblock: blocks 0 | 1 with Cb 6, Cr 4, then
 * blocks 2 | 3 with Cb 7, Cr 5. Entries are not tested. */
VEKVC_API VekStatus vekiYCrCb422ToYCbCr422_10HalvesMB16x8_DV100_16s8u_P3C2R(const Vek16s* pSrc,
                                                                           Vek8u* const* pDst,
                                                                           Vek32s dstStep);

/* ---- Deinterlacing ----------------------------------------------------- */
/* Planes of 8-bit samples. One row parity is kept, the other is computed; the
 * functions read the rows above and below the computed rows, so a caller who
 * asks for rows at the picture's border must give rows there. */

/* State of the motion-weighted blend: pTable holds 512 entries, entry m the
 * weight (0..256) of the spatial value at motion m, entry 256 + m its
 * complement. slope and offset are in 1/256 steps. */
typedef struct DeinterlaceBlendState {
    Vek16u* pTable;
    Vek32s slope;       /* weight per motion step */
    Vek32s offset;      /* weight at motion 0 */
    Vek32s upperLimit;  /* motion from which the weight is 256; -1: every motion */
    Vek32s lowerLimit;  /* motion up to which the weight is 0; 256: every motion */
} DeinterlaceBlendState;

/* Builds the blend state from two motion levels and the weights at them (1.0 =
 * spatial only). Sorts both pairs in place and limits the weights to -32768..32767.
 * NullPtr, SizeErr below 3x3, NoMemErr; a failed table leaves the record in *ppState. */
VEKVC_API VekStatus vekiDeinterlaceBlendInitAlloc_8u_C1(VekRoi roi, Vek32s pThreshold[2],
                                                        double pConstant[2],
                                                        DeinterlaceBlendState** ppState);
/* Frees the table, then the record. */
VEKVC_API VekStatus vekiDeinterlaceBlendFree_8u_C1(DeinterlaceBlendState* pState);
/* Three frames (previous, current, next): the current frame's odd rows are kept for
 * topField non-zero, its even rows for 0; the others blend an edge-directed and a median
 * value by motion, measured against the previous frame if firstField == topField. */
VEKVC_API VekStatus vekiDeinterlaceBlend_8u_C1(const Vek8u* const pSrc[3], Vek32s srcStep,
                                               Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                                               Vek32s firstField, Vek32s topField,
                                               Vek32s copyField, DeinterlaceBlendState* pState);
/* Edge-directed interpolation of every row from the source rows around it; steps
 * are taken as given (double them to work on one field). fieldNum 0 or 1. */
VEKVC_API VekStatus vekiDeinterlaceEdgeDetect_8u_C1R(const Vek8u* pSrc, Vek32s srcStep,
                                                     Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                                                     Vek32s fieldNum, Vek32s copyBorder);
/* Vertical median of three where it differs from the sample by threshold (0..255; whole
 * 16-sample runs compare its low byte) or more. fieldNum 1 computes the odd rows, 0 the
 * even rows; a kept odd field lands at pDst + srcStep and border rows copy srcStep
 * bytes: use equal steps. */
VEKVC_API VekStatus vekiDeinterlaceMedianThreshold_8u_C1R(const Vek8u* pSrc, Vek32s srcStep,
                                                          Vek8u* pDst, Vek32s dstStep,
                                                          VekRoi roi, Vek32s threshold,
                                                          Vek32s fieldNum, Vek32s copyBorder);
/* Four successive frames: rows of parity topField (0 or 1) are kept; a computed sample is
 * the neighbouring field's, or the average of the kept samples above and below where it
 * lies beyond both by more than 6 (moving) or 30 (still, with artifactProtection). */
VEKVC_API VekStatus vekiDeinterlaceMotionAdaptive_8u_C1(const Vek8u* const pSrc[4], Vek32s srcStep,
                                                        Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                                                        Vek32s threshold, Vek32s firstField,
                                                        Vek32s topField, Vek32s copyField,
                                                        Vek32s artifactProtection);
/* Vertical [s c s] / 256 filter, c = min(centerWeight, 256), s = (256 - c) >> 1. layout 1
 * first stripe, 4 inner stripe, 16 last stripe (4 and 16 read row -2 and write row -1),
 * anything else the whole picture. */
VEKVC_API VekStatus vekiDeinterlaceFilterTriangle_8u_C1R(const Vek8u* pSrc, Vek32s srcStep,
                                                         Vek8u* pDst, Vek32s dstStep, VekRoi roi,
                                                         Vek32u centerWeight, Vek32s layout);

#ifdef __cplusplus
}
#endif

#endif /* VEKVC_H */
