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
