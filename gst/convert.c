/* tavconvert: YUV 4:1:1, 4:2:0, 4:2:2 and 4:4:4 frames to RGB, BGR, four-byte
 * and grey frames, and RGB back to the encodings the library writes, through
 * tavConvert. */
#include <string.h>

#include "gsttav.h"

GST_DEBUG_CATEGORY_STATIC(gst_tav_convert_debug);
#define GST_CAT_DEFAULT gst_tav_convert_debug

typedef struct {
    const char* name;
    uint32_t format;
} Form;

/* IYU1 is PFNC YUV411_8_UYYVYY and IYU2 YUV8_UYV; RGBx and BGRx get alpha 255.
 * Both sides list every form; the library decides which pairs exist. */
static const Form kForms[] = {
    {"RGB", TAV_PF_RGB8},      {"BGR", TAV_PF_BGR8},
    {"RGBx", TAV_PF_RGBA8},    {"BGRx", TAV_PF_BGRA8},
    {"RGBA", TAV_PF_RGBA8},    {"BGRA", TAV_PF_BGRA8},
    {"GRAY8", TAV_PF_MONO8},   {"UYVY", TAV_PF_YUV422_8_UYVY},
    {"YUY2", TAV_PF_YUV422_8}, {"NV12", TAV_PF_YUV420SP_NV12},
    {"I420", TAV_PF_YUV420P},  {"IYU1", TAV_PF_YUV411_8_UYYVYY},
    {"IYU2", TAV_PF_YUV8_UYV},
};
#define N_FORMS G_N_ELEMENTS(kForms)

static const char* form_names[N_FORMS];

struct _GstTavConvert {
    GstVideoFilter parent;
    gint threads;   /* property, under the object lock */
    const Form* in; /* negotiated */
    const Form* out;
};

enum { PROP_0, PROP_N_THREADS };

G_DEFINE_TYPE(GstTavConvert, gst_tav_convert, GST_TYPE_VIDEO_FILTER);
GST_ELEMENT_REGISTER_DEFINE(tavconvert, "tavconvert", GST_RANK_NONE, GST_TYPE_TAV_CONVERT);

static const Form* form_of(GstVideoFormat format) {
    const char* name = gst_video_format_to_string(format);
    for (guint i = 0; i < N_FORMS; i++) {
        if (name && strcmp(kForms[i].name, name) == 0) return &kForms[i];
    }
    return NULL;
}

/* Same caps pass through; other pairs as the library takes them, asked once. */
static gboolean pair_ok(gpointer self, guint from, guint to) {
    static gsize done = 0;
    static gboolean table[N_FORMS][N_FORMS];
    (void)self;
    if (g_once_init_enter(&done)) {
        for (guint f = 0; f < N_FORMS; f++) {
            for (guint t = 0; t < N_FORMS; t++) {
                table[f][t] = f == t || gst_tav_probe(FALSE, kForms[f].format, 0, kForms[t].format,
                                                      8, 8, 0) == TAV_OK;
            }
        }
        g_once_init_leave(&done, 1);
    }
    return table[from][to];
}

static GstCaps* transform_caps(GstBaseTransform* bt, GstPadDirection direction, GstCaps* caps,
                               GstCaps* filter) {
    (void)direction;
    return gst_tav_transform_caps(bt, caps, filter, form_names, N_FORMS, "video/x-raw", form_names,
                                  N_FORMS, pair_ok);
}

/* From the caps alone: input rows may lie further apart (GstVideoMeta). */
static gboolean transform_size(GstBaseTransform* bt, GstPadDirection direction, GstCaps* caps,
                               gsize size, GstCaps* othercaps, gsize* othersize) {
    (void)bt, (void)direction, (void)caps, (void)size;
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, othercaps)) return FALSE;
    *othersize = GST_VIDEO_INFO_SIZE(&info);
    return TRUE;
}

static gboolean set_info(GstVideoFilter* filter, GstCaps* incaps, GstVideoInfo* in_info,
                         GstCaps* outcaps, GstVideoInfo* out_info) {
    GstTavConvert* self = GST_TAV_CONVERT(filter);
    (void)incaps, (void)outcaps;
    const Form* in = form_of(GST_VIDEO_INFO_FORMAT(in_info));
    const Form* out = form_of(GST_VIDEO_INFO_FORMAT(out_info));
    if (!in || !out) return FALSE;
    const gint w = GST_VIDEO_INFO_WIDTH(in_info), h = GST_VIDEO_INFO_HEIGHT(in_info);
    int32_t code = TAV_ERROR_SIZE_MISMATCH;
    if (GST_VIDEO_INFO_WIDTH(out_info) == w && GST_VIDEO_INFO_HEIGHT(out_info) == h) {
        code = in == out ? TAV_OK : gst_tav_probe(FALSE, in->format, 0, out->format, w, h, 0);
    }
    if (code != TAV_OK) {
        GST_ELEMENT_ERROR(self, CORE, NEGOTIATION,
                          ("tavconvert cannot turn %dx%d %s into %s: %s", w, h, in->name, out->name,
                           tavResultText(code)),
                          (NULL));
        return FALSE;
    }
    self->in = in;
    self->out = out;
    return TRUE;
}

static void frame_of(TavFrame* frame, uint32_t format, GstVideoFrame* video) {
    tavFrameInit(frame, format, GST_VIDEO_FRAME_WIDTH(video), GST_VIDEO_FRAME_HEIGHT(video),
                 GST_VIDEO_FRAME_PLANE_DATA(video, 0));
    for (guint i = 0; i < GST_VIDEO_FRAME_N_PLANES(video) && i < 3; i++) {
        frame->plane[i] = GST_VIDEO_FRAME_PLANE_DATA(video, i);
        frame->stride[i] = GST_VIDEO_FRAME_PLANE_STRIDE(video, i);
    }
}

static GstFlowReturn transform_frame(GstVideoFilter* filter, GstVideoFrame* in,
                                     GstVideoFrame* out) {
    GstTavConvert* self = GST_TAV_CONVERT(filter);
    TavFrame src, dst;
    frame_of(&src, self->in->format, in);
    frame_of(&dst, self->out->format, out);
    TavOptions options;
    tavOptionsInit(&options);
    GST_OBJECT_LOCK(self);
    options.threads = self->threads;
    GST_OBJECT_UNLOCK(self);
    const int32_t code = tavConvert(&src, &dst, &options);
    if (code != TAV_OK) {
        GST_ELEMENT_ERROR(self, STREAM, FAILED, ("Conversion failed: %s", tavResultText(code)),
                          (NULL));
        return GST_FLOW_ERROR;
    }
    return GST_FLOW_OK;
}

static void set_property(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    GstTavConvert* self = GST_TAV_CONVERT(object);
    if (id != PROP_N_THREADS) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        return;
    }
    GST_OBJECT_LOCK(self);
    self->threads = g_value_get_int(value);
    GST_OBJECT_UNLOCK(self);
}

static void get_property(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    GstTavConvert* self = GST_TAV_CONVERT(object);
    if (id != PROP_N_THREADS) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
        return;
    }
    GST_OBJECT_LOCK(self);
    g_value_set_int(value, self->threads);
    GST_OBJECT_UNLOCK(self);
}

static void gst_tav_convert_class_init(GstTavConvertClass* klass) {
    GObjectClass* object_class = G_OBJECT_CLASS(klass);
    GstElementClass* element_class = GST_ELEMENT_CLASS(klass);
    GstBaseTransformClass* bt_class = GST_BASE_TRANSFORM_CLASS(klass);
    GstVideoFilterClass* filter_class = GST_VIDEO_FILTER_CLASS(klass);
    GST_DEBUG_CATEGORY_INIT(gst_tav_convert_debug, "tavconvert", 0, "tav conversion");
    object_class->set_property = set_property;
    object_class->get_property = get_property;
    g_object_class_install_property(object_class, PROP_N_THREADS, gst_tav_threads_param());
    GString* list = g_string_new("video/x-raw, format=(string){ ");
    for (guint i = 0; i < N_FORMS; i++) {
        form_names[i] = kForms[i].name;
        g_string_append_printf(list, "%s%s", i ? ", " : "", kForms[i].name);
    }
    g_string_append(list, " }, width=" GST_VIDEO_SIZE_RANGE ", height=" GST_VIDEO_SIZE_RANGE
                          ", framerate=" GST_VIDEO_FPS_RANGE);
    GstCaps* caps = gst_caps_from_string(list->str);
    g_string_free(list, TRUE);
    gst_element_class_add_pad_template(
        element_class, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
    gst_element_class_add_pad_template(
        element_class, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);
    gst_element_class_set_static_metadata(
        element_class, "Pixel-format conversion by tav", "Filter/Converter/Video",
        "Converts packed and planar YUV to RGB, BGR and grey frames, and RGB back to YUV",
        "tav maintainers <tav@localhost>");

    bt_class->transform_caps = transform_caps;
    bt_class->transform_size = transform_size;
    bt_class->passthrough_on_same_caps = TRUE;
    filter_class->set_info = set_info;
    filter_class->transform_frame = transform_frame;
}

static void gst_tav_convert_init(GstTavConvert* self) {
    self->threads = 0;
}
