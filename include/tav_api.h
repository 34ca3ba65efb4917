/*
 * tav: the frame API for new code. Valid C99 and C++.
 *
 * One call per job: demosaic, convert, estimate or apply lens shading.
 * Every call checks its arguments before it writes anything, returns
 * TAV_OK or a negative code that tavResultText turns into a plain reason,
 * and never prints. Pictures are right at every Bayer phase and bit depth.
 * The entry points of tav.h keep their historical behaviour for existing
 * callers; this header does not change them.
 */
#ifndef TAV_API_H
#define TAV_API_H

#include <stddef.h>
#include <stdint.h>

#include "tav.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------- result codes */

/* Besides TAV_OK and the TAV_E_* codes of tav.h, these calls return: */
enum {
    TAV_ERROR_NULL = -201,          /* a required pointer is null */
    TAV_ERROR_SOURCE_FORMAT = -202, /* the source format is not one this call reads */
    TAV_ERROR_TARGET_FORMAT = -203, /* the destination format is not one this call writes */
    TAV_ERROR_PAIR = -204,          /* this source cannot become this destination */
    TAV_ERROR_SIZE = -205,          /* width or height not positive, or too large */
    TAV_ERROR_ODD_WIDTH = -206,     /* the format needs an even width */
    TAV_ERROR_ODD_HEIGHT = -207,    /* the format needs an even height */
    TAV_ERROR_SIZE_MISMATCH = -208, /* source and destination sizes differ */
    TAV_ERROR_TOO_SMALL = -209,     /* the frame is smaller than the method needs */
    TAV_ERROR_STRIDE = -210,        /* a stride is shorter than its row */
    TAV_ERROR_METHOD = -211,        /* unknown method */
    TAV_ERROR_NEAREST_DEPTH = -212, /* nearest has no full-depth form */
    TAV_ERROR_BIT_DEPTH = -213,     /* bit depth outside what the format holds */
    TAV_ERROR_THREADS = -214,       /* negative thread count */
    TAV_ERROR_OVERLAP = -215,       /* source and destination overlap */
    TAV_ERROR_NO_MEMORY = -216,     /* work memory could not be allocated */
    TAV_ERROR_SHADING_TABLE = -217, /* table mode or size does not match the frame */
    TAV_ERROR_FLAT_FIELD = -218     /* flat field not brighter than the dark frame */
};

/* A plain reason for any result code of tav.h or this header ("width must be
 * even", "edge-directed needs at least 6x6"); a static string, never null. */
TAV_API const char* tavResultText(int32_t code);

/* The library's version, e.g. "0.2.0". */
TAV_API const char* tavVersion(void);

/* ---------------------------------------------------------------- frames */

/* Codes this header adds to the TAV_PF_* list (GenICam PFNC values). The
 * "p" formats are bit streams: each sample's bits follow the previous
 * sample's, least significant first (10p: four samples in five bytes). */
#define TAV_PF_BGR16 0x0230004Bu
#define TAV_PF_MONO10P 0x010A0046u
#define TAV_PF_MONO12P 0x010C0047u
#define TAV_PF_BAYER_BG10P 0x010A0052u
#define TAV_PF_BAYER_GB10P 0x010A0054u
#define TAV_PF_BAYER_GR10P 0x010A0056u
#define TAV_PF_BAYER_RG10P 0x010A0058u
#define TAV_PF_BAYER_BG12P 0x010C0053u
#define TAV_PF_BAYER_GB12P 0x010C0055u
#define TAV_PF_BAYER_GR12P 0x010C0057u
#define TAV_PF_BAYER_RG12P 0x010C0059u

/*
 * A frame: a format, a size and up to three planes. Rows of plane k start
 * stride[k] bytes apart (16-bit rows included); a stride of 0 means compact
 * rows for plane 0, and plane 0's stride (half of it for the two chroma planes
 * of TAV_PF_YUV420P) for planes 1 and 2. Only planar formats (RGB8_PLANAR,
 * BGR8_PLANAR, YUV420SP_NV12, YUV420P) use planes 1 and 2: a null plane
 * pointer means the plane follows the previous one's last row. 16-bit samples
 * are little-endian words holding `bitDepth` significant bits in the low bits
 * (0: the format's own depth, e.g. 12 for BayerRG12 and 16 for Mono16; else
 * 10 up to it). Word rows start on a word (even strides).
 */
typedef struct TavFrame {
    uint32_t format;
    int32_t width;
    int32_t height;
    uint32_t bitDepth;
    void* plane[3];
    ptrdiff_t stride[3];
} TavFrame;

/* A compact frame of one plane (others follow it): sets every field. */
TAV_API void tavFrameInit(TavFrame* frame, uint32_t format, int32_t width, int32_t height,
                          void* data);

/* Bytes a frame of this format and size needs with the strides it holds
 * (all planes); 0 for a format or size no call accepts. */
TAV_API size_t tavFrameSize(const TavFrame* frame);

/* Per-call options; a null pointer means tavOptionsInit's values. */
typedef struct TavOptions {
    uint32_t method; /* TAV_METHOD_*; default TAV_METHOD_BILINEAR */
    int32_t threads; /* 0: the process setting (tavSetNumThreads); default 0 */
    uint32_t reserved[6];
} TavOptions;

TAV_API void tavOptionsInit(TavOptions* options);

/* ---------------------------------------------------------------- demosaicing */

/*
 * Demosaics any Bayer or Mono source of tavDemosaicing or tavDemosaicingU16
 * (8-bit, 10/12-bit packed, 10..16-bit words) or a 10p/12p bit stream into:
 *   8-bit: BGR8, RGB8, BGRA8, RGBA8 (alpha 255), MONO8, RGB8_PLANAR,
 *          BGR8_PLANAR; deeper sources are reduced to their top 8 bits
 *          (a word with bits set above bitDepth gives 255);
 *   full depth (16-bit words, from every source deeper than 8 bits): RGB10, BGR10,
 *          RGB12, BGR12, RGB16, BGR16, MONO10, MONO12, MONO14, MONO16;
 *          samples are scaled from the source depth to the destination's.
 * The destination's format picks the path. Nearest has no full-depth form.
 * Sizes: even width and height for Bayer sources, even width for packed ones
 * (a multiple of 4 for 10p);
 * Bayer frames of at least 4x4 (bilinear, nearest), 6x6 (edge-directed) or
 * 8x8 (TAV_METHOD_HQ). A destination's bitDepth (0: its format's) sets the depth
 * it is scaled to: down by dropping low bits, up by repeating the top bits.
 */
TAV_API int32_t tavDemosaic(const TavFrame* src, const TavFrame* dst, const TavOptions* options);

/* ---------------------------------------------------------------- conversion */

/*
 * Converts between the formats tavImageTypeConvert knows (YUV 4:1:1, 4:2:0
 * NV12 and planar, 4:2:2 UYVY and YUYV, 4:4:4, RGB8, BGR8, RGBA8, BGRA8,
 * Mono1p, Mono4p, Mono8), with strides. Four-byte outputs get alpha 255.
 * Mono1p bits become 0 or 255 and Mono4p nibbles n become n x 17, in Mono8,
 * RGB8, BGR8, RGBA8 and BGRA8. RGB8/BGR8 to YUV420P is written as BT.601
 * studio range, the matrix YUV420P is read with.
 * Widths: a multiple of 8 for Mono1p, of 4 for YUV 4:1:1, even for Mono4p and
 * 4:2:2; 4:2:0 frames have even widths and heights.
 */
TAV_API int32_t tavConvert(const TavFrame* src, const TavFrame* dst, const TavOptions* options);

/* ---------------------------------------------------------------- lens shading */

/* A correction table: one word per 2x2 Bayer cell (mode 0) or per pixel
 * (mode 1), in the word layout of TavLscParameter. */
typedef struct TavShadingTable {
    uint32_t mode;
    int32_t width; /* of the frames it corrects */
    int32_t height;
    uint32_t* words;
} TavShadingTable;

/* Words a table needs: (height/2)*(width/2) in mode 0, height*width in mode 1. */
TAV_API size_t tavShadingTableWords(uint32_t mode, int32_t width, int32_t height);

/* Estimates a table from a flat-field frame and a dark frame of the same
 * format and size (Mono or Bayer, 8, 10 or 12 bits, 8-bit or 16-bit words);
 * a null dark frame means zeros. table->mode, width, height and words are
 * read; the words are written. */
TAV_API int32_t tavShadingEstimate(const TavFrame* flat, const TavFrame* dark,
                                   const TavShadingTable* table);

/* Corrects a Mono or Bayer frame (8, 10 or 12 bits); src and dst may be the
 * same frame. Every pixel is written, odd last rows and columns included. */
TAV_API int32_t tavShadingApply(const TavFrame* src, const TavFrame* dst,
                                const TavShadingTable* table, const TavOptions* options);

#ifdef __cplusplus
}
#endif

#endif /* TAV_API_H */
