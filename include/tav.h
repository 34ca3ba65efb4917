/*
 * tav: raw camera frame processing (demosaicing, lens shading, format conversion).
 *
 * The entry points and their records; valid C99 and C++. Every function returns
 * a signed 32-bit result code (TAV_OK on success) unless it is declared void.
 * Failed argument checks print "error line = [N]" (no newline) to standard
 * output, N naming the check site, and return a negative code. The kernels the
 * entries are built from are declared in tav_kernels.h, included at the end.
 */
#ifndef TAV_H
#define TAV_H

#include <stdint.h>

#if defined(_WIN32)
#define TAV_API
#elif defined(__GNUC__)
#define TAV_API __attribute__((visibility("default")))
#else
#define TAV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------- records */

/* An image. Destinations are always written compact; `pitch` is read from
 * sources only. */
typedef struct TavImage {
    int32_t height;
    int32_t width;
    uint32_t pixelFormat;
    uint8_t* data;
    int32_t pitch;
} TavImage;

/* Reusable work buffer owned by a context. */
typedef struct TavScratch {
    uint8_t* buffer;
    int32_t capacity;
} TavScratch;

/* State of the 8-bit demosaicing entry. Create with tavCreate, free with
 * tavRelease; one context must not be used by two calls at once. */
typedef struct TavContext {
    uint64_t outputFormat;
    int32_t tuning[8];
    int32_t reserved32;
    int64_t reserved64;
    TavScratch scratch;
} TavContext;

/* ---------------------------------------------------------------- result codes */

enum {
    TAV_OK = 0,
    TAV_E_LSC_ESTIMATE = -101,
    TAV_E_PIXEL_FORMAT = -102,
    TAV_E_FORMAT_SIZE = -103,
    TAV_E_IMAGE_SIZE = -104,
    TAV_E_PARAMETER = -107,
    TAV_E_NULL_POINTER = -111,
    TAV_E_NO_MEMORY = -117
};

/* ---------------------------------------------------------------- pixel formats */

/* GenICam PFNC codes, plus four codes of the library's own (marked). */
#define TAV_PF_MONO1P 0x01010037u
#define TAV_PF_MONO4P 0x01040039u
#define TAV_PF_MONO8 0x01080001u
#define TAV_PF_BAYER_GR8 0x01080008u
#define TAV_PF_BAYER_RG8 0x01080009u
#define TAV_PF_BAYER_GB8 0x0108000Au
#define TAV_PF_BAYER_BG8 0x0108000Bu
#define TAV_PF_MONO10_PACKED 0x010C0004u
#define TAV_PF_MONO12_PACKED 0x010C0006u
#define TAV_PF_BAYER_GR10_PACKED 0x010C0026u
#define TAV_PF_BAYER_RG10_PACKED 0x010C0027u
#define TAV_PF_BAYER_GB10_PACKED 0x010C0028u
#define TAV_PF_BAYER_BG10_PACKED 0x010C0029u
#define TAV_PF_BAYER_GR12_PACKED 0x010C002Au
#define TAV_PF_BAYER_RG12_PACKED 0x010C002Bu
#define TAV_PF_BAYER_GB12_PACKED 0x010C002Cu
#define TAV_PF_BAYER_BG12_PACKED 0x010C002Du
#define TAV_PF_MONO10 0x01100003u
#define TAV_PF_MONO12 0x01100005u
#define TAV_PF_MONO16 0x01100007u
#define TAV_PF_MONO14 0x01100025u
#define TAV_PF_BAYER_GR10 0x0110000Cu
#define TAV_PF_BAYER_RG10 0x0110000Du
#define TAV_PF_BAYER_GB10 0x0110000Eu
#define TAV_PF_BAYER_BG10 0x0110000Fu
#define TAV_PF_BAYER_GR12 0x01100010u
#define TAV_PF_BAYER_RG12 0x01100011u
#define TAV_PF_BAYER_GB12 0x01100012u
#define TAV_PF_BAYER_BG12 0x01100013u
#define TAV_PF_BAYER_GR16 0x0110002Eu
#define TAV_PF_BAYER_RG16 0x0110002Fu
#define TAV_PF_BAYER_GB16 0x01100030u
#define TAV_PF_BAYER_BG16 0x01100031u
#define TAV_PF_MONO1C 0x012000FFu /* library's own: point list to Mono8 */
#define TAV_PF_YUV411_8_UYYVYY 0x020C001Eu
#define TAV_PF_YUV420SP_NV12 0x020C8001u /* library's own */
#define TAV_PF_YUV420P 0x800C0002u       /* library's own */
#define TAV_PF_YUV422_8_UYVY 0x0210001Fu
#define TAV_PF_YUV422_8 0x02100032u /* YUYV order */
#define TAV_PF_RGB8 0x02180014u
#define TAV_PF_BGR8 0x02180015u
#define TAV_PF_YUV8_UYV 0x02180020u
#define TAV_PF_RGB8_PLANAR 0x02180021u
#define TAV_PF_BGR8_PLANAR 0x02180025u /* library's own: blue plane first */
#define TAV_PF_RGBA8 0x02200016u
#define TAV_PF_BGRA8 0x02200017u
#define TAV_PF_RGB10 0x02300018u
#define TAV_PF_BGR10 0x02300019u
#define TAV_PF_RGB12 0x0230001Au
#define TAV_PF_BGR12 0x0230001Bu
#define TAV_PF_RGB16 0x02300033u

/* Interpolation methods. */
enum {
    TAV_METHOD_NEAREST = 0,
    TAV_METHOD_BILINEAR = 1,
    TAV_METHOD_EDGE = 2,
    TAV_METHOD_HQ = 3 /* gradient-weighted colour differences */
};

/* ---------------------------------------------------------------- context */

TAV_API int32_t tavCreate(TavContext** handle);
TAV_API void tavInit(TavContext* context);
TAV_API int32_t tavRelease(TavContext** handle);
TAV_API int32_t tavMemRealloc(TavScratch* scratch, int32_t size);
TAV_API int32_t tavDemosaicSetConfig(TavContext* context, const uint64_t* outputFormat);
TAV_API int32_t tavDemosaicGetConfig(const TavContext* context, uint64_t* outputFormat);

/* ---------------------------------------------------------------- 8-bit entry */

TAV_API int32_t tavDemosaicing(TavContext* context, TavImage* src, uint32_t method, TavImage* dst);

/* ---------------------------------------------------------------- 16-bit entry */

/* Configuration of tavDemosaicingU16 (no context: the entry needs no scratch). */
typedef struct TavDemosaicU16Config {
    int64_t outputFormat; /* low 32 bits read, sign-extended */
    uint32_t method;      /* 1 bilinear, 2 edge-directed */
    uint32_t bitDepth;    /* significant bits per sample: 10, 12, 14 or 16 */
} TavDemosaicU16Config;

/* Keeps the source bit depth; rows are read and written tightly packed and the
 * destination record is not written. Only RGB16 and Mono16 outputs move the
 * samples to the top of the word. */
TAV_API int32_t tavDemosaicingU16(const TavDemosaicU16Config* config, const TavImage* src,
                                  const TavImage* dst);

/* RG phase, checked: b, g, r words a pixel, or three planes. */
TAV_API int32_t tavDemosaicingBilinearU16(const uint16_t* src, int32_t height, int32_t width,
                                          uint16_t* dst);
TAV_API int32_t tavDemosaicingBilinearU16P(const uint16_t* src, int32_t height, int32_t width,
                                           uint16_t* blue, uint16_t* green, uint16_t* red);

/* ---------------------------------------------------------------- lens shading */

/* Input of tavGetLSCParameter: a flat-field (grey) and a dark capture, both
 * height x width floats. mode 0: one coefficient per 2x2 Bayer cell; 1: one per
 * pixel. bits: depth of the frames the table will correct (8, 10 or 12). */
typedef struct TavLscInput {
    uint32_t mode;
    uint32_t bits;
    int32_t width;
    int32_t height;
    const float* grey;
    const float* dark;
} TavLscInput;

/* Input of tavGetBasicLSCParameter: one dark level for the whole image, gains
 * per block of blockHeight (16) x blockWidth (16 or 32) pixels. */
typedef struct TavBasicLscInput {
    uint32_t mode;
    int32_t bits;
    int32_t regionCount;
    int32_t width;
    int32_t height;
    int32_t blockWidth;
    int32_t blockHeight;
    const float* grey;
    float darkLevel;
} TavBasicLscInput;

/* Coefficient table; the caller allocates it with room for height x width words
 * (mode 1) or (height/2) x (width/2) words (mode 0), row by row. Each word holds
 * the dark offset on a 12-bit scale in bits 0..11 and the gain in bits 12..31
 * (17 fractional bits: 131072 is 1.0). */
typedef struct TavLscParameter {
    uint32_t mode;
    uint32_t height;
    uint32_t width;
    uint32_t coefficients[];
} TavLscParameter;

TAV_API int32_t tavGetLSCParameter(const TavLscInput* input, TavLscParameter* parameter);
/* Writes 3 bytes per block: (height >> 4) x (width / blockWidth) blocks. */
TAV_API int32_t tavGetBasicLSCParameter(const TavBasicLscInput* input, uint8_t* table);

/* Corrects an 8-, 10- or 12-bit Mono or Bayer frame; src and dst may share data.
 * Other formats are left alone (TAV_OK). In mode 0 an odd last row or column is
 * not written. */
TAV_API int32_t tavLSCorrection(const TavImage* src, const TavImage* dst,
                                const TavLscParameter* parameter);

/* ---------------------------------------------------------------- conversion */

/* Converts a whole compact image from src->pixelFormat into `targetFormat`
 * (a 32-bit code, zero-extended). Only src's height, width, format and data and
 * dst's data are used; neither record is written. Alpha bytes are written 0. */
TAV_API int32_t tavImageTypeConvert(const TavImage* src, TavImage* dst, uint64_t targetFormat);

/* Pads the rows of a compact three-byte image in place to a multiple of 4
 * bytes (zero bytes after each row), as a BMP file stores them. `handle` must
 * not be null and is not otherwise used; image->data must hold the padded rows. */
TAV_API int32_t tavBMPAdjust(const void* handle, TavImage* image);

/* ---------------------------------------------------------------- threads */

/* Threads every entry may use for one frame, process-wide; large frames are
 * cut into row bands run on a shared pool of workers, with the same bytes at
 * every count. 0 means every online core; a negative count is refused. The
 * count starts from the environment variable TAV_NUM_THREADS, else 1: at 1
 * every entry runs on the caller's thread alone. */
TAV_API int32_t tavSetNumThreads(int32_t n);
TAV_API int32_t tavGetNumThreads(void);

#ifdef __cplusplus
}
#endif

/* The building blocks behind these entries (per-phase kernels and passes). */
#include "tav_kernels.h"

#endif /* TAV_H */
