/* Plugin registration and the negotiation helpers both elements share. */
#include <string.h>

#include "gsttav.h"

int32_t gst_tav_probe(gboolean demosaic, uint32_t from, uint32_t depth, uint32_t to, gint width,
                      gint height, uint32_t method) {
    /* 11x11 pixels of at most 6 bytes each (three words) */
    guint8 in[11 * 11 * 6] = {0}, out[11 * 11 * 6];
    const gint w = width <= 11 ? width : 8 + width % 4;
    const gint h = height <= 11 ? height : 8 + height % 4;
    TavFrame src, dst;
    TavOptions options;
    tavFrameInit(&src, from, w, h, in);
    src.bitDepth = depth;
    tavFrameInit(&dst, to, w, h, out);
    tavOptionsInit(&options);
    options.method = method;
    options.threads = 1;
    return demosaic ? tavDemosaic(&src, &dst, &options) : tavConvert(&src, &dst, &options);
}

GParamSpec* gst_tav_threads_param(void) {
    return g_param_spec_int(
        "n-threads", "Threads", "Threads for one frame (0: the process setting, TAV_NUM_THREADS)",
        0, G_MAXINT, 0, G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);
}

static gboolean structure_has_format(const GstStructure* s, const char* name) {
    const GValue* field = gst_structure_get_value(s, "format");
    if (!field) return TRUE;
    GValue v = G_VALUE_INIT;
    g_value_init(&v, G_TYPE_STRING);
    g_value_set_static_string(&v, name);
    const gboolean can = gst_value_intersect(NULL, &v, field);
    g_value_unset(&v);
    return can;
}

GstCaps* gst_tav_transform_caps(gpointer self, GstCaps* caps, GstCaps* filter,
                                const char* const* from, guint n_from, const char* to_media,
                                const char* const* to, guint n_to, GstTavPairFunc pair) {
    static const char* const kKept[] = {"width", "height", "framerate", "pixel-aspect-ratio"};
    GstCaps* result = gst_caps_new_empty();
    for (guint i = 0; i < gst_caps_get_size(caps); i++) {
        const GstStructure* s = gst_caps_get_structure(caps, i);
        GValue formats = G_VALUE_INIT;
        g_value_init(&formats, GST_TYPE_LIST);
        for (guint t = 0; t < n_to; t++) {
            for (guint f = 0; f < n_from; f++) {
                if (structure_has_format(s, from[f]) && pair(self, f, t)) {
                    GValue v = G_VALUE_INIT;
                    g_value_init(&v, G_TYPE_STRING);
                    g_value_set_static_string(&v, to[t]);
                    gst_value_list_append_and_take_value(&formats, &v);
                    break;
                }
            }
        }
        if (gst_value_list_get_size(&formats) > 0) {
            GstStructure* out = gst_structure_new_empty(to_media);
            for (guint k = 0; k < G_N_ELEMENTS(kKept); k++) {
                const GValue* v = gst_structure_get_value(s, kKept[k]);
                if (v) gst_structure_set_value(out, kKept[k], v);
            }
            gst_structure_take_value(out, "format", &formats);
            result = gst_caps_merge_structure(result, out);
        } else {
            g_value_unset(&formats);
        }
    }
    if (filter) {
        GstCaps* both = gst_caps_intersect_full(filter, result, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(result);
        result = both;
    }
    return result;
}

static gboolean plugin_init(GstPlugin* plugin) {
    gboolean ok = FALSE;
    ok |= GST_ELEMENT_REGISTER(tavdemosaic, plugin);
    ok |= GST_ELEMENT_REGISTER(tavconvert, plugin);
    return ok;
}

#define PACKAGE "tav"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, tav,
                  "Bayer demosaicing and pixel-format conversion by the tav library", plugin_init,
                  TAV_VERSION_STRING, "unknown", "tav", "https://localhost/tav")
