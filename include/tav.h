/*
 * tav: raw camera frame processing (demosaicing, lens shading, format conversion).
 *
 * One public header, valid C99 and C++. Every function returns a signed 32-bit
 * result code (TAV_OK on success) unless it is declared void. Failed argument
 * checks print "error line = [N]" (no newline) to standard output, N naming the
 * check site, and return a negative code.
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
enum { TAV_METHOD_NEAREST = 0, TAV_METHOD_BILINEAR = 1, TAV_METHOD_EDGE = 2 };

/* ---------------------------------------------------------------- context */

TAV_API int32_t tavCreate(TavContext** handle);
TAV_API void tavInit(TavContext* context);
TAV_API int32_t tavRelease(TavContext** handle);
TAV_API int32_t tavMemRealloc(TavScratch* scratch, int32_t size);
TAV_API int32_t tavDemosaicSetConfig(TavContext* context, const uint64_t* outputFormat);
TAV_API int32_t tavDemosaicGetConfig(const TavContext* context, uint64_t* outputFormat);

/* ---------------------------------------------------------------- 8-bit entry */

TAV_API int32_t tavDemosaicing(TavContext* context, TavImage* src, uint32_t method, TavImage* dst);
TAV_API int32_t demosaicDataInit(const TavImage* src, const TavContext* context,
                                 uint32_t* format8, int32_t* normClass);

/* Per-phase family entries: pick a kernel by output format and method. */
TAV_API int32_t rg8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                           uint64_t outputFormat, uint32_t method, uint8_t* work);
TAV_API int32_t gr8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                           uint64_t outputFormat, uint32_t method, uint8_t* work);
TAV_API int32_t gb8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                           uint64_t outputFormat, uint32_t method, uint8_t* work);
TAV_API int32_t bg8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                           uint64_t outputFormat, uint32_t method, uint8_t* work);
TAV_API int32_t mono8Convert(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                             uint64_t outputFormat);

/* ---------------------------------------------------------------- normalisation to 8 bits */

/* Keep the top 8 bits of every sample; no rounding. The packed routines write
 * one byte past each destination row when `width` is odd. */
TAV_API void u8Tou8(const uint8_t* src, int32_t height, int32_t width, int32_t pitch,
                    uint8_t* dst);
TAV_API void unpacked(const uint8_t* src, int32_t height, int32_t width, int32_t pitch,
                      uint8_t* dst);
TAV_API void unpacked_old(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
TAV_API void u16Tou8(const uint16_t* src, int32_t height, int32_t width, int32_t pitch,
                     int32_t shift, uint8_t* dst);
TAV_API void u16Tou8_old(const uint16_t* src, int32_t height, int32_t width, int32_t shift,
                         uint8_t* dst);

/* ---------------------------------------------------------------- 8-bit bilinear */

/* ---------------------------------------------------------------- 8-bit nearest */

/* ---------------------------------------------------------------- 8-bit edge-directed */

/* ---------------------------------------------------------------- 16-bit entry */

/* ---------------------------------------------------------------- 16-bit bilinear */

/* ---------------------------------------------------------------- 16-bit edge-directed */

/* ---------------------------------------------------------------- lens shading */

/* ---------------------------------------------------------------- conversion */

/* Converts a whole compact image from src->pixelFormat into `targetFormat`
 * (a 32-bit code, zero-extended). Only src's height, width, format and data and
 * dst's data are used; neither record is written. Alpha bytes are written 0. */
TAV_API int32_t tavImageTypeConvert(const TavImage* src, TavImage* dst, uint64_t targetFormat);

/* YUV decoding kernels over whole buffers. `target` only chooses the channel
 * order: the blue-first code (BGR8, or BGRa8 for the RGBA8 kernels) gives
 * blue first, any other code red first. A count that is not positive writes
 * nothing. Full-range BT.601, except YUV420PToRGB8 (studio range). */
TAV_API int32_t YUV411PToMono8(const uint8_t* src, uint8_t* dst, int32_t groups);
TAV_API int32_t YUV411PToRGB8(const uint8_t* src, uint8_t* dst, int32_t groups, uint64_t target);
TAV_API int32_t YUV411PToRGBA8(const uint8_t* src, uint8_t* dst, int32_t groups, uint64_t target);
TAV_API int32_t YUV422_UYVYToMono8(const uint8_t* src, uint8_t* dst, int32_t pairs);
TAV_API int32_t YUV422_UYVYToRGB8(const uint8_t* src, uint8_t* dst, int32_t pairs, uint64_t target);
TAV_API int32_t YUV422_UYVYToRGBA8(const uint8_t* src, uint8_t* dst, int32_t pairs,
                                   uint64_t target);
TAV_API int32_t YUV422_YUYVToMono8(const uint8_t* src, uint8_t* dst, int32_t pairs);
TAV_API int32_t YUV422_YUYVToRGB8(const uint8_t* src, uint8_t* dst, int32_t pairs, uint64_t target);
TAV_API int32_t YUV422_YUYVToRGBA8(const uint8_t* src, uint8_t* dst, int32_t pairs,
                                   uint64_t target);
TAV_API int32_t YUV444ToMono8(const uint8_t* src, uint8_t* dst, int32_t pixels);
/* Rounds each chroma term (+128 before its shift), unlike YUV444ToRGBA8. */
TAV_API int32_t YUV444ToRGB8(const uint8_t* src, uint8_t* dst, int32_t pixels, uint64_t target);
TAV_API int32_t YUV444ToRGBA8(const uint8_t* src, uint8_t* dst, int32_t pixels, uint64_t target);
TAV_API int32_t YUV420SP_NV12ToRGB8(const uint8_t* src, uint8_t* dst, int32_t height,
                                    int32_t width, uint64_t target);
TAV_API int32_t YUV420SP_NV12ToRGBA8(const uint8_t* src, uint8_t* dst, int32_t height,
                                     int32_t width, uint64_t target);
TAV_API int32_t YUV420PToRGB8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                              uint64_t target);

/* Packs n three-byte pixels (n even) into YUV 4:2:2: UYVY for the
 * YUV422_8_UYVY target, YUYV order for any other. */
TAV_API void BGRToYUV422(const uint8_t* src, uint8_t* dst, uint32_t n, uint64_t target);
TAV_API void RGBToYUV422(const uint8_t* src, uint8_t* dst, uint32_t n, uint64_t target);

/* BGR8 to BGRa8 (alpha 0); returns the source bytes consumed, 3 x width x height. */
TAV_API uint32_t bgrToBgra(const uint8_t* src, uint32_t width, int32_t height, uint8_t* dst);

/* Pads the rows of a compact three-byte image in place to a multiple of 4
 * bytes (zero bytes after each row), as a BMP file stores them. `handle` must
 * not be null and is not otherwise used; image->data must hold the padded rows. */
TAV_API int32_t tavBMPAdjust(const void* handle, TavImage* image);

#ifdef __cplusplus
}
#endif

#endif /* TAV_H */
