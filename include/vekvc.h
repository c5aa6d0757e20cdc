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
