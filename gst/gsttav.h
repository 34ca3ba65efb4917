/* The tav GStreamer elements and what they share. */
#ifndef GST_TAV_H
#define GST_TAV_H

#include <gst/base/gstbasetransform.h>
#include <gst/gst.h>
#include <gst/video/gstvideofilter.h>
#include <gst/video/video.h>

#include "tav_api.h"

G_BEGIN_DECLS

#define GST_TYPE_TAV_DEMOSAIC (gst_tav_demosaic_get_type())
G_DECLARE_FINAL_TYPE(GstTavDemosaic, gst_tav_demosaic, GST, TAV_DEMOSAIC, GstBaseTransform)
#define GST_TYPE_TAV_CONVERT (gst_tav_convert_get_type())
G_DECLARE_FINAL_TYPE(GstTavConvert, gst_tav_convert, GST, TAV_CONVERT, GstVideoFilter)

GST_ELEMENT_REGISTER_DECLARE(tavdemosaic);
GST_ELEMENT_REGISTER_DECLARE(tavconvert);

/* Runs the library once on a zeroed frame of at most 11x11 pixels that keeps
 * the width's and height's remainders by 4, so the library itself says whether
 * a pair of formats, a size and a method go together. */
int32_t gst_tav_probe(gboolean demosaic, uint32_t from, uint32_t depth, uint32_t to, gint width,
                      gint height, uint32_t method);

/* The n-threads property both elements have. */
GParamSpec* gst_tav_threads_param(void);

/* Whether format `from` of this element's side can become `to` of the other. */
typedef gboolean (*GstTavPairFunc)(gpointer self, guint from, guint to);

/* Caps of the other side: every structure of `caps` whose format is one of
 * `from` becomes a structure of media type `to_media` with each format of `to`
 * that `pair` accepts, size, frame rate and aspect ratio kept. */
GstCaps* gst_tav_transform_caps(gpointer self, GstCaps* caps, GstCaps* filter,
                                const char* const* from, guint n_from, const char* to_media,
                                const char* const* to, guint n_to, GstTavPairFunc pair);

G_END_DECLS

#endif
