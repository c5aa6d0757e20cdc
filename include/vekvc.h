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

/* ---- AVS --------------------------------------------------------------- */

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
