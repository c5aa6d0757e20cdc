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

/* ---- AVS --------------------------------------------------------------- */

/* ---- DV ---------------------------------------------------------------- */

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
