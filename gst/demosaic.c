/* tavdemosaic: Bayer mosaics (8-bit, 16-bit words, GigE Vision packed) to RGB,
 * BGR, four-byte, grey and 16-bit frames through tavDemosaic. */
#include <tmmintrin.h>
#include <string.h>

#include "gsttav.h"

GST_DEBUG_CATEGORY_STATIC(gst_tav_demosaic_debug);
#define GST_CAT_DEFAULT gst_tav_demosaic_debug

typedef struct {
    const char* name;
    uint32_t format;
    uint32_t depth; /* significant bits of a word; 0: the format's own */
    guint bits;     /* bits a pixel takes in a row */
} BayerForm;

/* GStreamer's names for 8-bit mosaics and, from 1.24, little-endian words;
 * "10packed" and "12packed" are GigE Vision's two pixels in three bytes
 * (PFNC BayerXX10Packed 0x010C0026..29, BayerXX12Packed 0x010C002A..2D). */
// clang-format off
#define BAYER_PHASES(suffix, gr, rg, gb, bg, depth, bits) \
    {"bggr" suffix, bg, depth, bits}, {"gbrg" suffix, gb, depth, bits}, \
    {"grbg" suffix, gr, depth, bits}, {"rggb" suffix, rg, depth, bits}
// clang-format on
static const BayerForm kBayer[] = {
    BAYER_PHASES("", TAV_PF_BAYER_GR8, TAV_PF_BAYER_RG8, TAV_PF_BAYER_GB8, TAV_PF_BAYER_BG8, 0, 8),
    BAYER_PHASES("10le", TAV_PF_BAYER_GR10, TAV_PF_BAYER_RG10, TAV_PF_BAYER_GB10, TAV_PF_BAYER_BG10,
                 0, 16),
    BAYER_PHASES("12le", TAV_PF_BAYER_GR12, TAV_PF_BAYER_RG12, TAV_PF_BAYER_GB12, TAV_PF_BAYER_BG12,
                 0, 16),
    BAYER_PHASES("14le", TAV_PF_BAYER_GR16, TAV_PF_BAYER_RG16, TAV_PF_BAYER_GB16, TAV_PF_BAYER_BG16,
                 14, 16),
    BAYER_PHASES("16le", TAV_PF_BAYER_GR16, TAV_PF_BAYER_RG16, TAV_PF_BAYER_GB16, TAV_PF_BAYER_BG16,
                 0, 16),
    BAYER_PHASES("10packed", TAV_PF_BAYER_GR10_PACKED, TAV_PF_BAYER_RG10_PACKED,
                 TAV_PF_BAYER_GB10_PACKED, TAV_PF_BAYER_BG10_PACKED, 0, 12),
    BAYER_PHASES("12packed", TAV_PF_BAYER_GR12_PACKED, TAV_PF_BAYER_RG12_PACKED,
                 TAV_PF_BAYER_GB12_PACKED, TAV_PF_BAYER_BG12_PACKED, 0, 12),
};
#define N_BAYER G_N_ELEMENTS(kBayer)

typedef struct {
    const char* name;
    uint32_t format;
    gboolean widen; /* three words from the library, spread to four */
} RawForm;

/* 8-bit forms first: fixation picks the first one downstream accepts. */
static const RawForm kRaw[] = {
    {"RGB", TAV_PF_RGB8, FALSE},       {"BGR", TAV_PF_BGR8, FALSE},
    {"RGBx", TAV_PF_RGBA8, FALSE},     {"BGRx", TAV_PF_BGRA8, FALSE},
    {"RGBA", TAV_PF_RGBA8, FALSE},     {"BGRA", TAV_PF_BGRA8, FALSE},
    {"GRAY8", TAV_PF_MONO8, FALSE},    {"GRAY16_LE", TAV_PF_MONO16, FALSE},
    {"RGBA64_LE", TAV_PF_RGB16, TRUE}, {"BGRA64_LE", TAV_PF_BGR16, TRUE},
};
#define N_RAW G_N_ELEMENTS(kRaw)
#define N_METHODS 4

static const char* bayer_names[N_BAYER];
static const char* raw_names[N_RAW];

struct _GstTavDemosaic {
    GstBaseTransform parent;
    guint method; /* properties, under the object lock */
    gint threads;
    const BayerForm* in; /* negotiated */
    const RawForm* out;
    GstVideoInfo out_info;
    guint16* words; /* three words a pixel, for the four-word outputs */
    gsize words_size;
};

G_DEFINE_TYPE(GstTavDemosaic, gst_tav_demosaic, GST_TYPE_BASE_TRANSFORM);
GST_ELEMENT_REGISTER_DEFINE(tavdemosaic, "tavdemosaic", GST_RANK_NONE, GST_TYPE_TAV_DEMOSAIC);

enum { PROP_0, PROP_METHOD, PROP_N_THREADS };

#define GST_TYPE_TAV_METHOD (gst_tav_method_get_type())
static GType gst_tav_method_get_type(void) {
    static gsize type = 0;
    static const GEnumValue values[] = {
        {TAV_METHOD_NEAREST, "Nearest neighbour", "nearest"},
        {TAV_METHOD_BILINEAR, "Bilinear", "bilinear"},
        {TAV_METHOD_EDGE, "Edge-directed", "edge"},
        {TAV_METHOD_HQ, "Gradient-weighted colour differences", "hq"},
        {0, NULL, NULL}};
    if (g_once_init_enter(&type)) {
        g_once_init_leave(&type, g_enum_register_static("GstTavMethod", values));
    }
    return type;
}

static const char* method_nick(guint method) {
    GEnumClass* c = g_type_class_ref(GST_TYPE_TAV_METHOD);
    GEnumValue* v = g_enum_get_value(c, (gint)method);
    const char* nick = v ? v->value_nick : "?";
    g_type_class_unref(c);
    return nick;
}

/* Which pairs the library takes, per method, asked once. */
static gboolean pair_ok(guint method, guint bayer, guint raw) {
    static gsize done = 0;
    static gboolean table[N_METHODS][N_BAYER][N_RAW];
    if (g_once_init_enter(&done)) {
        for (guint m = 0; m < N_METHODS; m++) {
            for (guint b = 0; b < N_BAYER; b++) {
                for (guint r = 0; r < N_RAW; r++) {
                    table[m][b][r] = gst_tav_probe(TRUE, kBayer[b].format, kBayer[b].depth,
                                                   kRaw[r].format, 8, 8, m) == TAV_OK;
                }
            }
        }
        g_once_init_leave(&done, 1);
    }
    return method < N_METHODS && table[method][bayer][raw];
}

static guint current_method(GstTavDemosaic* self) {
    GST_OBJECT_LOCK(self);
    const guint m = self->method;
    GST_OBJECT_UNLOCK(self);
    return m;
}

static gboolean pair_forward(gpointer self, guint from, guint to) {
    return pair_ok(current_method(self), from, to);
}
static gboolean pair_backward(gpointer self, guint from, guint to) {
    return pair_ok(current_method(self), to, from);
}

static const BayerForm* bayer_from_caps(GstCaps* caps, gint* width, gint* height) {
    const GstStructure* s = gst_caps_get_structure(caps, 0);
    const char* name = gst_structure_get_string(s, "format");
    if (!gst_structure_has_name(s, "video/x-bayer") || !name ||
        !gst_structure_get_int(s, "width", width) || !gst_structure_get_int(s, "height", height)) {
        return NULL;
    }
    for (guint b = 0; b < N_BAYER; b++) {
        if (strcmp(kBayer[b].name, name) == 0) return &kBayer[b];
    }
    return NULL;
}

static gsize bayer_row(const BayerForm* form, gint width) {
    return ((gsize)width * form->bits + 7) / 8;
}
/* Without GstVideoMeta, GStreamer's Bayer elements start rows 4-byte aligned. */
static gsize bayer_stride(const BayerForm* form, gint width) {
    return GST_ROUND_UP_4(bayer_row(form, width));
}

static GstCaps* transform_caps(GstBaseTransform* bt, GstPadDirection direction, GstCaps* caps,
                               GstCaps* filter) {
    if (direction == GST_PAD_SINK) {
        return gst_tav_transform_caps(bt, caps, filter, bayer_names, N_BAYER, "video/x-raw",
                                      raw_names, N_RAW, pair_forward);
    }
    return gst_tav_transform_caps(bt, caps, filter, raw_names, N_RAW, "video/x-bayer", bayer_names,
                                  N_BAYER, pair_backward);
}

static gboolean transform_size(GstBaseTransform* bt, GstPadDirection direction, GstCaps* caps,
                               gsize size, GstCaps* othercaps, gsize* othersize) {
    (void)bt, (void)caps, (void)size;
    if (direction == GST_PAD_SINK) {
        GstVideoInfo info;
        if (!gst_video_info_from_caps(&info, othercaps)) return FALSE;
        *othersize = GST_VIDEO_INFO_SIZE(&info);
        return TRUE;
    }
    gint w, h;
    const BayerForm* form = bayer_from_caps(othercaps, &w, &h);
    if (!form) return FALSE;
    *othersize = bayer_stride(form, w) * (gsize)h;
    return TRUE;
}

static gboolean set_caps(GstBaseTransform* bt, GstCaps* incaps, GstCaps* outcaps) {
    GstTavDemosaic* self = GST_TAV_DEMOSAIC(bt);
    gint w, h;
    GstVideoInfo info;
    const BayerForm* in = bayer_from_caps(incaps, &w, &h);
    if (!in || !gst_video_info_from_caps(&info, outcaps)) return FALSE;
    const char* out_name = gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info));
    const RawForm* out = NULL;
    for (guint r = 0; r < N_RAW; r++) {
        if (strcmp(kRaw[r].name, out_name) == 0) out = &kRaw[r];
    }
    if (!out) return FALSE;
    const guint method = current_method(self);
    int32_t code = TAV_ERROR_SIZE_MISMATCH;
    if (GST_VIDEO_INFO_WIDTH(&info) == w && GST_VIDEO_INFO_HEIGHT(&info) == h) {
        code = gst_tav_probe(TRUE, in->format, in->depth, out->format, w, h, method);
    }
    if (code != TAV_OK) {
        GST_ELEMENT_ERROR(self, CORE, NEGOTIATION,
                          ("tavdemosaic cannot turn %dx%d %s into %s with method %s: %s", w, h,
                           in->name, out->name, method_nick(method), tavResultText(code)),
                          (NULL));
        return FALSE;
    }
    const gsize words = out->widen ? 3 * (gsize)w * (gsize)h : 0;
    if (words > self->words_size) {
        g_free(self->words);
        self->words = g_try_new(guint16, words);
        self->words_size = self->words ? words : 0;
        if (!self->words) {
            GST_ELEMENT_ERROR(self, RESOURCE, NO_SPACE_LEFT, ("No memory for a %dx%d frame", w, h),
                              (NULL));
            return FALSE;
        }
    }
    self->in = in;
    self->out = out;
    self->out_info = info;
    return TRUE;
}

/* Three words a pixel (compact rows, from the library) to four with an opaque
 * alpha. */
/* Three words a pixel to four, the fourth opaque: eight pixels a step, each
 * pair of pixels shuffled out of the 16 bytes that hold it. */
static void widen_rows(const guint16* restrict words, guint8* data, gint stride, gint width,
                       gint height) {
    const __m128i pick = _mm_setr_epi8(0, 1, 2, 3, 4, 5, -1, -1, 6, 7, 8, 9, 10, 11, -1, -1);
    const __m128i alpha = _mm_setr_epi16(0, 0, 0, -1, 0, 0, 0, -1);
    for (gint y = 0; y < height; y++, words += 3 * (gsize)width) {
        guint16* restrict row = (guint16*)(data + (gsize)y * stride);
        gint x = 0;
        for (; x + 8 <= width; x += 8) {
            const __m128i* in = (const __m128i*)(words + 3 * x);
            const __m128i a = _mm_loadu_si128(in), b = _mm_loadu_si128(in + 1),
                          c = _mm_loadu_si128(in + 2);
            const __m128i pairs[4] = {a, _mm_alignr_epi8(b, a, 12), _mm_alignr_epi8(c, b, 8),
                                      _mm_srli_si128(c, 4)};
            for (int k = 0; k < 4; k++) {
                _mm_storeu_si128((__m128i*)(row + 4 * x) + k,
                                 _mm_or_si128(_mm_shuffle_epi8(pairs[k], pick), alpha));
            }
        }
        for (; x < width; x++) {
            row[4 * x] = words[3 * x];
            row[4 * x + 1] = words[3 * x + 1];
            row[4 * x + 2] = words[3 * x + 2];
            row[4 * x + 3] = 0xFFFF;
        }
    }
}

static GstFlowReturn transform(GstBaseTransform* bt, GstBuffer* inbuf, GstBuffer* outbuf) {
    GstTavDemosaic* self = GST_TAV_DEMOSAIC(bt);
    const BayerForm* in = self->in;
    const gint w = GST_VIDEO_INFO_WIDTH(&self->out_info);
    const gint h = GST_VIDEO_INFO_HEIGHT(&self->out_info);
    if (!in) return GST_FLOW_NOT_NEGOTIATED;

    const GstVideoMeta* meta = gst_buffer_get_video_meta(inbuf);
    const gsize row = bayer_row(in, w);
    const gsize offset = meta ? meta->offset[0] : 0;
    const gssize stride = meta ? meta->stride[0] : (gssize)bayer_stride(in, w);
    GstMapInfo map;
    if (!gst_buffer_map(inbuf, &map, GST_MAP_READ)) {
        GST_ELEMENT_ERROR(self, RESOURCE, READ, ("Cannot read the input buffer"), (NULL));
        return GST_FLOW_ERROR;
    }
    if (stride < (gssize)row || map.size < offset + (gsize)stride * (gsize)(h - 1) + row) {
        GST_ELEMENT_ERROR(self, STREAM, FORMAT,
                          ("Input buffer too small for a %dx%d %s frame", w, h, in->name),
                          ("%" G_GSIZE_FORMAT " bytes, rows of %" G_GSIZE_FORMAT
                           " bytes %" G_GSSIZE_FORMAT " apart from byte %" G_GSIZE_FORMAT,
                           map.size, row, stride, offset));
        gst_buffer_unmap(inbuf, &map);
        return GST_FLOW_ERROR;
    }
    GstVideoFrame frame;
    if (!gst_video_frame_map(&frame, &self->out_info, outbuf, GST_MAP_WRITE)) {
        gst_buffer_unmap(inbuf, &map);
        GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("Output buffer too small for its caps"), (NULL));
        return GST_FLOW_ERROR;
    }
    guint8* out = GST_VIDEO_FRAME_PLANE_DATA(&frame, 0);
    const gint out_stride = GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0);
    TavFrame src, dst;
    tavFrameInit(&src, in->format, w, h, map.data + offset);
    src.bitDepth = in->depth;
    src.stride[0] = stride;
    tavFrameInit(&dst, self->out->format, w, h, self->out->widen ? (void*)self->words : out);
    if (!self->out->widen) dst.stride[0] = out_stride;
    TavOptions options;
    tavOptionsInit(&options);
    GST_OBJECT_LOCK(self);
    options.method = self->method;
    options.threads = self->threads;
    GST_OBJECT_UNLOCK(self);

    const int32_t code = tavDemosaic(&src, &dst, &options);
    if (code == TAV_OK && self->out->widen) widen_rows(self->words, out, out_stride, w, h);
    gst_video_frame_unmap(&frame);
    gst_buffer_unmap(inbuf, &map);
    if (code != TAV_OK) {
        GST_ELEMENT_ERROR(self, STREAM, FAILED, ("Demosaicing failed: %s", tavResultText(code)),
                          (NULL));
        return GST_FLOW_ERROR;
    }
    return GST_FLOW_OK;
}

/* Upstream may send rows of any stride. */
static gboolean propose_allocation(GstBaseTransform* bt, GstQuery* decide_query, GstQuery* query) {
    (void)bt, (void)decide_query;
    gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, NULL);
    return TRUE;
}

/* Output buffers from a pool, downstream's or our own: a fresh frame-sized
 * allocation each frame costs more than demosaicing it. */
static gboolean decide_allocation(GstBaseTransform* bt, GstQuery* query) {
    GstTavDemosaic* self = GST_TAV_DEMOSAIC(bt);
    GstCaps* caps;
    gst_query_parse_allocation(query, &caps, NULL);
    GstBufferPool* pool = NULL;
    guint size = 0, min = 0, max = 0;
    const gboolean offered = gst_query_get_n_allocation_pools(query) > 0;
    if (offered) gst_query_parse_nth_allocation_pool(query, 0, &pool, &size, &min, &max);
    if (!pool) pool = gst_video_buffer_pool_new();
    size = MAX(size, (guint)GST_VIDEO_INFO_SIZE(&self->out_info));
    GstStructure* config = gst_buffer_pool_get_config(pool);
    gst_buffer_pool_config_set_params(config, caps, size, min, max);
    if (gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, NULL)) {
        gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_META);
    }
    gst_buffer_pool_set_config(pool, config);
    if (offered) {
        gst_query_set_nth_allocation_pool(query, 0, pool, size, min, max);
    } else {
        gst_query_add_allocation_pool(query, pool, size, min, max);
    }
    gst_object_unref(pool);
    return GST_BASE_TRANSFORM_CLASS(gst_tav_demosaic_parent_class)->decide_allocation(bt, query);
}

static void set_property(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    GstTavDemosaic* self = GST_TAV_DEMOSAIC(object);
    switch (id) {
        case PROP_METHOD:
            GST_OBJECT_LOCK(self);
            self->method = (guint)g_value_get_enum(value);
            GST_OBJECT_UNLOCK(self);
            /* nearest has no 16-bit outputs: negotiate again */
            gst_base_transform_reconfigure_src(GST_BASE_TRANSFORM(self));
            break;
        case PROP_N_THREADS:
            GST_OBJECT_LOCK(self);
            self->threads = g_value_get_int(value);
            GST_OBJECT_UNLOCK(self);
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

static void get_property(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    GstTavDemosaic* self = GST_TAV_DEMOSAIC(object);
    GST_OBJECT_LOCK(self);
    switch (id) {
        case PROP_METHOD:
            g_value_set_enum(value, (gint)self->method);
            break;
        case PROP_N_THREADS:
            g_value_set_int(value, self->threads);
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
    GST_OBJECT_UNLOCK(self);
}

static GstCaps* template_caps(const char* media, const char* const* names, guint n) {
    GString* s = g_string_new(media);
    g_string_append(s, ", format=(string){ ");
    for (guint i = 0; i < n; i++) g_string_append_printf(s, "%s%s", i ? ", " : "", names[i]);
    g_string_append(s, " }, width=" GST_VIDEO_SIZE_RANGE ", height=" GST_VIDEO_SIZE_RANGE
                       ", framerate=" GST_VIDEO_FPS_RANGE);
    GstCaps* caps = gst_caps_from_string(s->str);
    g_string_free(s, TRUE);
    return caps;
}

static void finalize(GObject* object) {
    g_free(GST_TAV_DEMOSAIC(object)->words);
    G_OBJECT_CLASS(gst_tav_demosaic_parent_class)->finalize(object);
}

static void gst_tav_demosaic_class_init(GstTavDemosaicClass* klass) {
    GObjectClass* object_class = G_OBJECT_CLASS(klass);
    GstElementClass* element_class = GST_ELEMENT_CLASS(klass);
    GstBaseTransformClass* bt_class = GST_BASE_TRANSFORM_CLASS(klass);
    GST_DEBUG_CATEGORY_INIT(gst_tav_demosaic_debug, "tavdemosaic", 0, "tav demosaicing");
    for (guint b = 0; b < N_BAYER; b++) bayer_names[b] = kBayer[b].name;
    for (guint r = 0; r < N_RAW; r++) raw_names[r] = kRaw[r].name;

    object_class->finalize = finalize;
    object_class->set_property = set_property;
    object_class->get_property = get_property;
    g_object_class_install_property(
        object_class, PROP_METHOD,
        g_param_spec_enum("method", "Method", "Interpolation method", GST_TYPE_TAV_METHOD,
                          TAV_METHOD_BILINEAR,
                          G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING));
    g_object_class_install_property(object_class, PROP_N_THREADS, gst_tav_threads_param());

    GstCaps* sink = template_caps("video/x-bayer", bayer_names, N_BAYER);
    GstCaps* src = template_caps("video/x-raw", raw_names, N_RAW);
    gst_element_class_add_pad_template(
        element_class, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, sink));
    gst_element_class_add_pad_template(
        element_class, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, src));
    gst_caps_unref(sink);
    gst_caps_unref(src);
    gst_element_class_set_static_metadata(
        element_class, "Bayer demosaicing by tav", "Filter/Converter/Video",
        "Demosaics 8-bit, 16-bit-word and GigE Vision packed Bayer mosaics to RGB, grey and "
        "16-bit frames",
        "tav maintainers <tav@localhost>");
    gst_type_mark_as_plugin_api(GST_TYPE_TAV_METHOD, 0);

    bt_class->transform_caps = transform_caps;
    bt_class->transform_size = transform_size;
    bt_class->set_caps = set_caps;
    bt_class->transform = transform;
    bt_class->propose_allocation = propose_allocation;
    bt_class->decide_allocation = decide_allocation;
}

static void gst_tav_demosaic_init(GstTavDemosaic* self) {
    self->method = TAV_METHOD_BILINEAR;
    self->threads = 0;
}
