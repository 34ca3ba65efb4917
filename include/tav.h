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
TAV_API int32_t demosaicDataInit(const TavImage* src, const TavContext* context, uint32_t* format8,
                                 int32_t* normClass);

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
TAV_API void u8Tou8(const uint8_t* src, int32_t height, int32_t width, int32_t pitch, uint8_t* dst);
TAV_API void unpacked(const uint8_t* src, int32_t height, int32_t width, int32_t pitch,
                      uint8_t* dst);
TAV_API void unpacked_old(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
TAV_API void u16Tou8(const uint16_t* src, int32_t height, int32_t width, int32_t pitch,
                     int32_t shift, uint8_t* dst);
TAV_API void u16Tou8_old(const uint16_t* src, int32_t height, int32_t width, int32_t shift,
                         uint8_t* dst);

/* ---------------------------------------------------------------- 8-bit bilinear */

/* Bilinear demosaicing of a compact 8-bit mosaic, height and width at least 4.
 * Wrappers name the source phase; BGR8/BGRa8 write blue first (alpha 0),
 * planar kernels write the colour of the phase's red sites to `first`, green to
 * `second`, the blue-site colour to `third`; Mono8 weighs them by
 * weights[0..2] (luma = (w0 R + w1 G + w2 B + 128) >> 8). */
TAV_API int32_t rg8ToBgr8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
TAV_API int32_t gr8ToBgr8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
TAV_API int32_t gb8ToBgr8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
TAV_API int32_t bg8ToBgr8_bilinear(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst);
TAV_API int32_t rg8ToBgra8_bilinear(const uint8_t* src, int32_t height, int32_t width,
                                    uint8_t* dst);
TAV_API int32_t gr8ToBgra8_bilinear(const uint8_t* src, int32_t height, int32_t width,
                                    uint8_t* dst);
TAV_API int32_t gb8ToBgra8_bilinear(const uint8_t* src, int32_t height, int32_t width,
                                    uint8_t* dst);
TAV_API int32_t bg8ToBgra8_bilinear(const uint8_t* src, int32_t height, int32_t width,
                                    uint8_t* dst);
TAV_API int32_t rg8ToBgr8P_bilinear(const uint8_t* src, int32_t height, int32_t width,
                                    uint8_t* first, uint8_t* second, uint8_t* third);
TAV_API int32_t gr8ToBgr8P_bilinear(const uint8_t* src, int32_t height, int32_t width,
                                    uint8_t* first, uint8_t* second, uint8_t* third);
TAV_API int32_t rg8ToMono8_bilinear(const uint8_t* src, int32_t height, int32_t width,
                                    const uint32_t* weights, uint8_t* dst);
TAV_API int32_t gr8ToMono8_bilinear(const uint8_t* src, int32_t height, int32_t width,
                                    const uint32_t* weights, uint8_t* dst);

/* Passes of an RG mosaic. firstRows: row 0 (the gr8 forms: rows 0 and 1 of a GB
 * mosaic, or of a GR one with flag 1); firstCols: column 0 of rows 1..; body:
 * rows 1..R0-1 and columns 1..C0-1, returning R0 << 32 | C0 (R0, C0: the size
 * less 1 when even, less 2 when odd); lastRows: rows R0.. (R0, the high half of
 * `start`, a G B row), columns 1..C0-1; lastCols: columns C0.. of rows 1...
 * A flag of 1 exchanges red and blue (bytes, planes or weights); any other
 * value keeps the native order. */
TAV_API void rg8ToBgr8_bilinear_firstRows(const uint8_t* src, uint8_t* dst, int32_t height,
                                          int32_t width, uint32_t flag);
TAV_API void gr8ToBgr8_bilinear_firstRows(const uint8_t* src, uint8_t* dst, int32_t height,
                                          int32_t width, uint32_t flag);
TAV_API void rg8ToBgr8_bilinear_firstCols(const uint8_t* src, uint8_t* dst, int32_t height,
                                          int32_t width, uint32_t flag);
TAV_API uint64_t rg8ToBgr8_bilinear_body(const uint8_t* src, uint8_t* dst, int32_t height,
                                         int32_t width, uint32_t flag);
TAV_API void rg8ToBgr8_bilinear_lastRows(const uint8_t* src, uint8_t* dst, int32_t height,
                                         int32_t width, uint32_t flag, uint64_t start);
TAV_API void rg8ToBgr8_bilinear_lastCols(const uint8_t* src, uint8_t* dst, int32_t height,
                                         int32_t width, uint32_t flag, uint64_t start);

TAV_API void rg8ToBgra8_bilinear_firstRows(const uint8_t* src, uint8_t* dst, int32_t height,
                                           int32_t width, uint32_t flag);
TAV_API void gr8ToBgra8_bilinear_firstRows(const uint8_t* src, uint8_t* dst, int32_t height,
                                           int32_t width, uint32_t flag);
TAV_API void rg8ToBgra8_bilinear_firstCols(const uint8_t* src, uint8_t* dst, int32_t height,
                                           int32_t width, uint32_t flag);
TAV_API uint64_t rg8ToBgra8_bilinear_body(const uint8_t* src, uint8_t* dst, int32_t height,
                                          int32_t width, uint32_t flag);
TAV_API void rg8ToBgra8_bilinear_lastRows(const uint8_t* src, uint8_t* dst, int32_t height,
                                          int32_t width, uint32_t flag, uint64_t start);
TAV_API void rg8ToBgra8_bilinear_lastCols(const uint8_t* src, uint8_t* dst, int32_t height,
                                          int32_t width, uint32_t flag, uint64_t start);

TAV_API void rg8ToBgr8P_bilinear_firstCols(const uint8_t* src, uint8_t* first, uint8_t* second,
                                           uint8_t* third, int32_t height, int32_t width,
                                           uint32_t flag);
TAV_API uint64_t rg8ToBgr8P_bilinear_body(const uint8_t* src, uint8_t* first, uint8_t* second,
                                          uint8_t* third, int32_t height, int32_t width,
                                          uint32_t flag);
TAV_API void rg8ToBgr8P_bilinear_lastRows(const uint8_t* src, uint8_t* first, uint8_t* second,
                                          uint8_t* third, int32_t height, int32_t width,
                                          uint32_t flag, uint64_t start);
TAV_API void rg8ToBgr8P_bilinear_lastCols(const uint8_t* src, uint8_t* first, uint8_t* second,
                                          uint8_t* third, int32_t height, int32_t width,
                                          uint32_t flag, uint64_t start);

TAV_API void rg8ToMono8_bilinear_firstCols(const uint8_t* src, const uint32_t* weights,
                                           uint8_t* dst, int32_t height, int32_t width,
                                           uint32_t flag);
TAV_API uint64_t rg8ToMono8_bilinear_body(const uint8_t* src, const uint32_t* weights, uint8_t* dst,
                                          int32_t height, int32_t width, uint32_t flag);
TAV_API void rg8ToMono8_bilinear_lastRows(const uint8_t* src, const uint32_t* weights, uint8_t* dst,
                                          int32_t height, int32_t width, uint32_t flag,
                                          uint64_t start);
TAV_API void rg8ToMono8_bilinear_lastCols(const uint8_t* src, const uint32_t* weights, uint8_t* dst,
                                          int32_t height, int32_t width, uint32_t flag,
                                          uint64_t start);

/* ---------------------------------------------------------------- 8-bit nearest */

/* Nearest neighbour, RG and GB mosaics; BG and GR are served by exchanging red
 * and blue (any non-zero flag) or the first and third planes. The Mono8
 * kernels weigh red 77, green 150, blue 29; the flag exchanges the red and
 * blue weights. Frames are at least 4 x 4. */
TAV_API int32_t rg8ToBgr8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                  uint32_t flag);
TAV_API int32_t gb8ToBgr8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                  uint32_t flag);
TAV_API int32_t rg8ToBgra8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                   uint32_t flag);
TAV_API int32_t gb8ToBgra8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                   uint32_t flag);
TAV_API int32_t rg8ToMono8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                   uint32_t flag);
TAV_API int32_t gb8ToMono8_nearest(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                   uint32_t flag);
TAV_API int32_t rg8ToBgr8P_nearest(const uint8_t* src, int32_t height, int32_t width,
                                   uint8_t* first, uint8_t* second, uint8_t* third);
TAV_API int32_t gb8ToBgr8P_nearest(const uint8_t* src, int32_t height, int32_t width,
                                   uint8_t* first, uint8_t* second, uint8_t* third);

/* Two output rows from a row with blue sites (`upper`, G B G B ...), the row
 * below it (`lower`, R G R G ...) and the row above it; the second output row
 * follows the first. */
TAV_API void rg8ToBgr8_nearest_body(const uint8_t* above, const uint8_t* upper,
                                    const uint8_t* lower, int32_t width, uint8_t* dst,
                                    uint32_t flag);
TAV_API void rg8ToBgra8_nearest_body(const uint8_t* above, const uint8_t* upper,
                                     const uint8_t* lower, int32_t width, uint8_t* dst,
                                     uint32_t flag);
TAV_API void rg8ToBgr8P_nearest_body(const uint8_t* above, const uint8_t* upper,
                                     const uint8_t* lower, int32_t width, uint8_t* first,
                                     uint8_t* second, uint8_t* third);
TAV_API void rg8ToMono8_nearest_body(const uint8_t* above, const uint8_t* upper,
                                     const uint8_t* lower, int32_t width, uint8_t* dst,
                                     uint32_t flag);

/* The one row left below the bands: a row with blue sites under a row with red sites. */
TAV_API void rg8ToBgr8_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                        uint8_t* dst, uint32_t flag);
TAV_API void rg8ToBgra8_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                         uint8_t* dst, uint32_t flag);
TAV_API void rg8ToBgr8P_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                         uint8_t* first, uint8_t* second, uint8_t* third);
TAV_API void rg8ToMono8_nearest_lastRows(const uint8_t* above, const uint8_t* row, int32_t width,
                                         uint8_t* dst, uint32_t flag);

/* ---------------------------------------------------------------- 8-bit edge-directed */

/* Green is estimated along the smaller of the horizontal and vertical
 * gradients, red and blue by interpolating colour differences. rg8 kernels
 * take frames whose row 0 starts with a red site, gb8 kernels frames whose row
 * 0 is a green/blue row and row 1 a red row; BG and GR frames use them with the
 * exchange flag. Flag 0 writes the colour of the red sites as red (byte 2,
 * luma weight 77), non-zero as blue (byte 0, weight 29). Planar kernels write
 * the red-site colour, green and the blue-site colour to the three planes.
 * `line` is a work line of `width` bytes. Frames need width and height >= 6;
 * smaller ones are refused with TAV_E_IMAGE_SIZE. The 4-byte form writes alpha
 * 0 only where its vector body runs and otherwise leaves the alpha byte as it
 * was. */
TAV_API int32_t rg8ToMono8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                uint32_t exchange, uint8_t* line);
TAV_API int32_t gb8ToMono8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                uint32_t exchange, uint8_t* line);
TAV_API int32_t rg8ToBgr8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                               uint32_t exchange, uint8_t* line);
TAV_API int32_t gb8ToBgr8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                               uint32_t exchange, uint8_t* line);
TAV_API int32_t rg8ToBgra8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                uint32_t exchange, uint8_t* line);
TAV_API int32_t gb8ToBgra8_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* dst,
                                uint32_t exchange, uint8_t* line);
TAV_API int32_t rg8ToBgr8P_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                                uint8_t* second, uint8_t* third, uint8_t* line);
TAV_API int32_t gb8ToBgr8P_edge(const uint8_t* src, int32_t height, int32_t width, uint8_t* first,
                                uint8_t* second, uint8_t* third, uint8_t* line);

/* Passes of a red-first frame. `rows` are source rows r-2 .. r+3, r a red
 * row; `line` holds the green estimates of rows r-2 (even entries) and r-1
 * (odd entries) and is left holding those of rows r and r+1. The output
 * pointers address row r. A body pass writes rows r-1 and r; last2Rows (row
 * r+1 is the last) writes rows r-1 .. r+1; last3Rows (row r+2 is the last)
 * writes rows r-1 .. r+2. All return 0. */
TAV_API int32_t rg8ToMono8_edge_body(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                     uint8_t* line, uint32_t exchange);
TAV_API int32_t rg8ToBgr8_edge_body(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                    uint8_t* line, uint32_t exchange);
TAV_API int32_t rg8ToBgra8_edge_body(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                     uint8_t* line, uint32_t exchange);
TAV_API int32_t rg8ToBgr8P_edge_body(const uint8_t* const rows[6], int32_t width, uint8_t* first,
                                     uint8_t* second, uint8_t* third, uint8_t* line);
TAV_API int32_t rg8ToMono8_edge_last2Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                          uint8_t* line, uint32_t exchange);
TAV_API int32_t rg8ToMono8_edge_last3Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                          uint8_t* line, uint32_t exchange);
TAV_API int32_t rg8ToBgr8_edge_last2Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                         uint8_t* line, uint32_t exchange);
TAV_API int32_t rg8ToBgr8_edge_last3Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                         uint8_t* line, uint32_t exchange);
TAV_API int32_t rg8ToBgra8_edge_last2Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                          uint8_t* line, uint32_t exchange);
TAV_API int32_t rg8ToBgra8_edge_last3Rows(const uint8_t* const rows[6], int32_t width, uint8_t* dst,
                                          uint8_t* line, uint32_t exchange);
TAV_API int32_t rg8ToBgr8P_edge_last2Rows(const uint8_t* const rows[6], int32_t width,
                                          uint8_t* first, uint8_t* second, uint8_t* third,
                                          uint8_t* line);
TAV_API int32_t rg8ToBgr8P_edge_last3Rows(const uint8_t* const rows[6], int32_t width,
                                          uint8_t* first, uint8_t* second, uint8_t* third,
                                          uint8_t* line);

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

/* Per-phase converters: pick a kernel by method and output format. */
TAV_API int32_t rg16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                            int64_t outputFormat, uint32_t method, uint32_t bitDepth);
TAV_API int32_t gr16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                            int64_t outputFormat, uint32_t method, uint32_t bitDepth);
TAV_API int32_t gb16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                            int64_t outputFormat, uint32_t method, uint32_t bitDepth);
TAV_API int32_t bg16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                            int64_t outputFormat, uint32_t method, uint32_t bitDepth);
TAV_API int32_t mono16Convert(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                              int64_t outputFormat, uint32_t bitDepth);

/* Shifts height x width x channels words left by 16 - bitDepth, in place.
 * Depth 16 leaves them; depths other than 10, 12 and 16 are refused. */
TAV_API int32_t shiftTo16(uint16_t* words, int32_t height, int32_t width, uint32_t bitDepth,
                          int32_t channels);

/* ---------------------------------------------------------------- 16-bit bilinear */

/* Interleaved output: b, g, r words a pixel, or r, g, b with exchange 1.
 * gr16ToBgr16_bilinear leaves the row after its body (the last row for an even
 * height, the second-last for an odd one) as the buffer held it. */
TAV_API int32_t rg16ToBgr16_bilinear(const uint16_t* src, int32_t height, int32_t width,
                                     uint16_t* dst, uint32_t exchange);
TAV_API int32_t gr16ToBgr16_bilinear(const uint16_t* src, int32_t height, int32_t width,
                                     uint16_t* dst, uint32_t exchange);

/* RG phase, checked: b, g, r words a pixel, or three planes. */
TAV_API int32_t tavDemosaicingBilinearU16(const uint16_t* src, int32_t height, int32_t width,
                                          uint16_t* dst);
TAV_API int32_t tavDemosaicingBilinearU16P(const uint16_t* src, int32_t height, int32_t width,
                                           uint16_t* blue, uint16_t* green, uint16_t* red);
TAV_API int32_t demosaicingBilinearRGGBU16(const uint16_t* src, int32_t height, int32_t width,
                                           uint16_t* dst, uint32_t exchange);
TAV_API int32_t demosaicingBilinearRGGBU16P(const uint16_t* src, int32_t height, int32_t width,
                                            uint16_t* blue, uint16_t* green, uint16_t* red);

/* Passes, run in this order: first row; column 0 below it; body, returning
 * (first row not reached << 32) | first column not reached; the rows from
 * that row on; the columns from that column on. */
TAV_API void bilinearFirstRowsRGGBU16(const uint16_t* src, int32_t height, int32_t width,
                                      uint16_t* dst, uint32_t exchange);
TAV_API void bilinearFirstColsRGGBU16(const uint16_t* src, int32_t height, int32_t width,
                                      uint16_t* dst, uint32_t exchange);
TAV_API uint64_t bilinearBodyRGGBU16(const uint16_t* src, int32_t height, int32_t width,
                                     uint16_t* dst, uint32_t exchange);
TAV_API void bilinearLastRowsRGGBU16(const uint16_t* src, int32_t height, int32_t width,
                                     uint16_t* dst, uint32_t exchange, int32_t firstRow);
TAV_API void bilinearLastColsRGGBU16(const uint16_t* src, int32_t height, int32_t width,
                                     uint16_t* dst, uint32_t exchange, int32_t firstCol);
TAV_API void bilinearFirstRowsGRBGU16(const uint16_t* src, int32_t height, int32_t width,
                                      uint16_t* dst, uint32_t exchange);
TAV_API void bilinearFirstColsGRBGU16(const uint16_t* src, int32_t height, int32_t width,
                                      uint16_t* dst, uint32_t exchange);
TAV_API uint64_t bilinearBodyGRBGU16(const uint16_t* src, int32_t height, int32_t width,
                                     uint16_t* dst, uint32_t exchange);
TAV_API void bilinearLastRowsGRBGU16(const uint16_t* src, int32_t height, int32_t width,
                                     uint16_t* dst, uint32_t exchange, int32_t firstRow);
TAV_API void bilinearLastColsGRBGU16(const uint16_t* src, int32_t height, int32_t width,
                                     uint16_t* dst, uint32_t exchange, int32_t firstCol);
TAV_API void bilinearFirstRowsRGGBU16P(const uint16_t* src, int32_t height, int32_t width,
                                       uint16_t* blue, uint16_t* green, uint16_t* red);
TAV_API void bilinearFirstColsRGGBU16P(const uint16_t* src, int32_t height, int32_t width,
                                       uint16_t* blue, uint16_t* green, uint16_t* red);
TAV_API uint64_t bilinearBodyRGGBU16P(const uint16_t* src, int32_t height, int32_t width,
                                      uint16_t* blue, uint16_t* green, uint16_t* red);
TAV_API void bilinearLastRowsRGGBU16P(const uint16_t* src, int32_t height, int32_t width,
                                      uint16_t* blue, uint16_t* green, uint16_t* red,
                                      int32_t firstRow);
TAV_API void bilinearLastColsRGGBU16P(const uint16_t* src, int32_t height, int32_t width,
                                      uint16_t* blue, uint16_t* green, uint16_t* red,
                                      int32_t firstCol);

/* Luma of the RG bilinear colours: (w[0] r + w[1] g + w[2] b + 128) >> 8 in
 * 32-bit arithmetic, low 16 bits stored. */
TAV_API int32_t rg16ToMono16_bilinear(const uint16_t* src, uint32_t height, uint32_t width,
                                      const uint32_t* weights, uint16_t* dst);

/* ---------------------------------------------------------------- 16-bit edge-directed */

/* Three words a pixel: b, g, r, or r, g, b with exchange 1 (the red-site sample
 * first). Values are clamped to 2^bitDepth - 1; in the interior of rows of 20
 * pixels and more the clamp is a signed 16-bit minimum after unsigned
 * narrowing, so at depth 16 values under 32768 there come out as 65535.
 * Frames under 6 x 6 are refused. The last `width` words of the destination
 * serve as the green line while the frame is processed. */
TAV_API int32_t rg16ToBgr16_edge(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                                 uint32_t exchange, uint32_t bitDepth);
TAV_API int32_t gb16ToBgr16_edge(const uint16_t* src, int32_t height, int32_t width, uint16_t* dst,
                                 uint32_t exchange, uint32_t bitDepth);

/* One row pair: band = six source rows y-2 .. y+3 (row y red-first), out =
 * output row y-1; finishes rows y-1 and y, updates the green line and uses
 * output row y+1 as its next line. */
TAV_API void rg16ToBgr16_edge_body(const uint16_t* const* band, int32_t width, uint16_t* out,
                                   uint16_t* greenLine, uint32_t exchange, uint32_t bitDepth);
/* Closing rows: band = rows y-2 .. last (4 or 5 rows), out = output row y-1. */
TAV_API void rg16ToBgr16_edge_last2Rows(const uint16_t* const* band, int32_t width, uint16_t* out,
                                        uint16_t* greenLine, uint32_t exchange, uint32_t bitDepth);
TAV_API void rg16ToBgr16_edge_last3Rows(const uint16_t* const* band, int32_t width, uint16_t* out,
                                        uint16_t* greenLine, uint32_t exchange, uint32_t bitDepth);

/* Building blocks: b, g, r words a pixel, clamped to `ceiling` (RGGB driver
 * 4095, the others 65535), greens read back from the destination. Unchecked:
 * frames must be at least 6 x 6. Start column 2 when the red-first rows begin
 * with red, 3 when they begin with green. */
TAV_API int32_t demosaicingEdgeRGGBU16(const uint16_t* src, int32_t height, int32_t width,
                                       uint16_t* dst);
TAV_API int32_t demosaicingEdgeGRBGU16(const uint16_t* src, int32_t height, int32_t width,
                                       uint16_t* dst);
TAV_API int32_t demosaicingEdgeGBRGU16(const uint16_t* src, int32_t height, int32_t width,
                                       uint16_t* dst);
TAV_API int32_t demosaicingEdgeBGGRU16(const uint16_t* src, int32_t height, int32_t width,
                                       uint16_t* dst);
TAV_API void edgeFirstRowsRGGBU16(const uint16_t* src, uint16_t* dst, int32_t width,
                                  int32_t startCol, int32_t ceiling);
TAV_API void edgeFirstRowsGBRGU16(const uint16_t* src, uint16_t* dst, int32_t width,
                                  int32_t startCol, int32_t ceiling);
TAV_API void edgeFirstColsRGGBU16(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                                  int32_t ceiling);
TAV_API void edgeFirstColsGRBGU16(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                                  int32_t ceiling);
/* src and dst at row 2; returns (rows done << 32) | first column not reached. */
TAV_API uint64_t edgeSecRGGBU16(const uint16_t* src, uint16_t* dst, int32_t rows, int32_t width,
                                int32_t startCol, int32_t ceiling);
/* Finishes rows firstRow-1 .. height-1 (row firstRow red-first) over the
 * interior's columns. */
TAV_API void edgeLastRowsRGGBU16(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                                 int32_t firstRow, int32_t startCol, int32_t ceiling);
/* Finishes the columns from the one before the interior's end, rows 2 .. height-1. */
TAV_API void edgeLastColsRGGBU16(const uint16_t* src, uint16_t* dst, int32_t height, int32_t width,
                                 uint64_t interior, int32_t ceiling);

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
/* 8, 10 or 12 for the Mono and Bayer formats of that depth, else TAV_E_PIXEL_FORMAT. */
TAV_API int32_t getBits(uint32_t pixelFormat);
TAV_API int32_t LSCcorrect8_2x2(const uint8_t* src, uint8_t* dst, uint32_t mode,
                                const uint32_t* coefficients, int32_t height, int32_t width);
/* Samples in the low bits of 16-bit words; bits 1..12. */
TAV_API int32_t LSCcorrect16_2x2(const uint16_t* src, uint16_t* dst, uint32_t mode,
                                 const uint32_t* coefficients, int32_t height, int32_t width,
                                 int32_t bits);

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
TAV_API int32_t YUV420SP_NV12ToRGB8(const uint8_t* src, uint8_t* dst, int32_t height, int32_t width,
                                    uint64_t target);
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
