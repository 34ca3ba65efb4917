// The GStreamer elements against the library itself: every format pair in a
// harness (GStreamer's strides and odd ones), short buffers, renegotiation, a
// pipeline from rgb2bayer, and what gst-inspect shows.
#include <gst/app/gstappsink.h>
#include <gst/check/gstharness.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tav_api.h"

namespace {

struct Format {
    std::string name;
    uint32_t format;     // the library's; three words a pixel for the 64-bit forms
    uint32_t depth = 0;  // significant bits of a mosaic's samples
};

// PFNC Bayer codes run GR, RG, GB, BG from a family's first code.
std::vector<Format> mosaics() {
    const char* const suffix[] = {"", "10le", "12le", "14le", "16le", "10packed", "12packed"};
    const uint32_t first[] = {TAV_PF_BAYER_GR8,        TAV_PF_BAYER_GR10, TAV_PF_BAYER_GR12,
                              TAV_PF_BAYER_GR16,       TAV_PF_BAYER_GR16, TAV_PF_BAYER_GR10_PACKED,
                              TAV_PF_BAYER_GR12_PACKED};
    const uint32_t depth[] = {8, 10, 12, 14, 16, 10, 12}, step[] = {3, 2, 0, 1};
    const char* const phase[] = {"bggr", "gbrg", "grbg", "rggb"};
    std::vector<Format> all;
    for (int f = 0; f < 7; f++) {
        for (int p = 0; p < 4; p++)
            all.push_back({phase[p] + std::string(suffix[f]), first[f] + step[p], depth[f]});
    }
    return all;
}

// clang-format off
const Format kRaw[] = {
    {"RGB", TAV_PF_RGB8}, {"BGR", TAV_PF_BGR8}, {"RGBx", TAV_PF_RGBA8}, {"BGRx", TAV_PF_BGRA8},
    {"RGBA", TAV_PF_RGBA8}, {"BGRA", TAV_PF_BGRA8}, {"GRAY8", TAV_PF_MONO8},
    {"GRAY16_LE", TAV_PF_MONO16}, {"RGBA64_LE", TAV_PF_RGB16}, {"BGRA64_LE", TAV_PF_BGR16},
    {"UYVY", TAV_PF_YUV422_8_UYVY}, {"YUY2", TAV_PF_YUV422_8}, {"NV12", TAV_PF_YUV420SP_NV12},
    {"I420", TAV_PF_YUV420P}, {"IYU1", TAV_PF_YUV411_8_UYYVYY}, {"IYU2", TAV_PF_YUV8_UYV}};
// clang-format on
void PrintTo(const Format& f, std::ostream* os) {
    *os << f.name;
}
const char* const kMethods[] = {"nearest", "bilinear", "edge", "hq"};

// Planes of random bytes with GStreamer's strides, or after an odd offset with
// each stride one byte longer, told by GstVideoMeta.
struct Input {
    std::vector<uint8_t> bytes;
    std::vector<gsize> offset;
    std::vector<gint> stride;
    GstVideoFormat format;
    bool meta;

    Input(GstVideoFormat f, std::vector<gint> strides, std::vector<int> rows, bool odd,
          std::mt19937& rng)
        : format(f), meta(odd) {
        gsize at = odd ? 5 : 0;
        for (size_t p = 0; p < strides.size(); p++) {
            offset.push_back(at);
            stride.push_back(strides[p] + odd);
            at += static_cast<gsize>(stride[p]) * rows[p];
        }
        bytes.resize(at);
        for (auto& b : bytes) b = static_cast<uint8_t>(rng());
    }
    TavFrame frame(uint32_t tav_format, uint32_t depth, int width, int height) {
        TavFrame f;
        tavFrameInit(&f, tav_format, width, height, bytes.data());
        f.bitDepth = depth > 8 && (tav_format >> 16 & 0xFF) == 16 ? depth : 0;
        for (size_t p = 0; p < offset.size(); p++) {
            f.plane[p] = bytes.data() + offset[p];
            f.stride[p] = stride[p];
        }
        return f;
    }
    // Ends where a page the process may not read begins: reading past faults.
    GstBuffer* buffer(int width, int height, size_t cut = 0) const {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE)), size = bytes.size() - cut;
        const size_t span = (size + page - 1) / page * page + page;
        auto* base = static_cast<uint8_t*>(
            mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(base + span - page, page, PROT_NONE);
        uint8_t* data = base + span - page - size;
        std::memcpy(data, bytes.data(), size);
        auto* span_of = new std::pair<void*, size_t>(base, span);
        GstBuffer* b = gst_buffer_new_wrapped_full(
            GST_MEMORY_FLAG_READONLY, data, size, 0, size, span_of, [](gpointer p) {
                auto* s = static_cast<std::pair<void*, size_t>*>(p);
                munmap(s->first, s->second);
                delete s;
            });
        if (meta)
            gst_buffer_add_video_meta_full(b, GST_VIDEO_FRAME_FLAG_NONE, format, width, height,
                                           offset.size(), const_cast<gsize*>(offset.data()),
                                           const_cast<gint*>(stride.data()));
        return b;
    }
};

// 8-bit rows of GStreamer's Bayer elements start 4-byte aligned; word rows keep
// `depth` significant bits.
Input mosaicInput(const Format& m, int width, int height, bool odd, std::mt19937& rng) {
    const int bits = m.format >> 16 & 0xFF, row = (width * bits + 7) / 8;
    Input in(GST_VIDEO_FORMAT_ENCODED, {(row + 3) / 4 * 4}, {height}, odd, rng);
    for (int y = 0; bits == 16 && y < height; y++) {
        for (int x = 0; x < width; x++)
            in.bytes[in.offset[0] + y * in.stride[0] + 2 * x + 1] &= (1 << (m.depth - 8)) - 1;
    }
    return in;
}

Input rawInput(const Format& f, int width, int height, bool odd, std::mt19937& rng) {
    GstVideoInfo info;
    gst_video_info_set_format(&info, gst_video_format_from_string(f.name.c_str()), width, height);
    std::vector<gint> strides;
    std::vector<int> rows;
    for (guint p = 0; p < GST_VIDEO_INFO_N_PLANES(&info); p++) {
        strides.push_back(GST_VIDEO_INFO_PLANE_STRIDE(&info, p));
        rows.push_back(GST_VIDEO_INFO_COMP_HEIGHT(&info, p));
    }
    return Input(GST_VIDEO_INFO_FORMAT(&info), strides, rows, odd, rng);
}

std::string caps(const char* media, const std::string& format, int width, int height) {
    return std::string(media) + ",format=" + format + ",width=" + std::to_string(width) +
           ",height=" + std::to_string(height) + ",framerate=30/1";
}

// A harness whose element posts to a bus of its own.
GstHarness* harness(const std::string& launch) {
    GstHarness* h = gst_harness_new_parse(launch.c_str());
    GstBus* bus = gst_bus_new();
    gst_element_set_bus(h->element, bus);
    gst_object_unref(bus);
    return h;
}

std::string busError(GstHarness* h) {
    GstBus* bus = gst_element_get_bus(h->element);
    GstMessage* m = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
    gst_object_unref(bus);
    GError* e = nullptr;
    if (m) gst_message_parse_error(m, &e, nullptr);
    std::string text = e ? e->message : "";
    if (m) g_error_free(e), gst_message_unref(m);
    return text;
}

// Pushes one frame (or takes `out` from a pipeline) and compares with the
// library's frame, written into a copy of the element's output so that padding
// the element leaves alone compares equal; three words a pixel become four with
// alpha 0xFFFF. A pair the library refuses must be refused in negotiation.
void check(GstHarness* h, GstBuffer* out, const std::string& in_caps, const Format& to,
           const Input& in, TavFrame src, uint32_t method, const std::string& what) {
    const int w = src.width, hgt = src.height;
    const bool demosaic = in_caps.rfind("video/x-bayer", 0) == 0;
    const std::string out_caps = caps("video/x-raw", to.name, w, hgt);
    GstFlowReturn flow = GST_FLOW_OK;
    if (h) {
        gst_harness_set_caps_str(h, in_caps.c_str(), out_caps.c_str());
        flow = gst_harness_push(h, in.buffer(w, hgt));
        out = flow == GST_FLOW_OK ? gst_harness_pull(h) : nullptr;
    }
    GstVideoInfo info;
    GstCaps* c = gst_caps_from_string(out_caps.c_str());
    ASSERT_TRUE(gst_video_info_from_caps(&info, c));
    gst_caps_unref(c);
    GstBuffer* ref =
        out ? gst_buffer_copy_deep(out) : gst_buffer_new_allocate(nullptr, info.size, nullptr);
    GstVideoFrame rf;
    ASSERT_TRUE(gst_video_frame_map(&rf, &info, ref, GST_MAP_READWRITE));
    const bool widen = to.format == TAV_PF_RGB16 || to.format == TAV_PF_BGR16;
    std::vector<uint16_t> words(3 * w * hgt);
    TavFrame dst;
    tavFrameInit(&dst, to.format, w, hgt, words.data());
    for (guint p = 0; !widen && p < GST_VIDEO_FRAME_N_PLANES(&rf); p++) {
        dst.plane[p] = GST_VIDEO_FRAME_PLANE_DATA(&rf, p);
        dst.stride[p] = GST_VIDEO_FRAME_PLANE_STRIDE(&rf, p);
    }
    TavOptions options;
    tavOptionsInit(&options);
    options.method = method;
    const int32_t code =
        demosaic ? tavDemosaic(&src, &dst, &options) : tavConvert(&src, &dst, &options);
    for (int y = 0; widen && code == TAV_OK && y < hgt; y++) {
        auto* row =
            reinterpret_cast<uint16_t*>(static_cast<uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&rf, 0)) +
                                        y * GST_VIDEO_FRAME_PLANE_STRIDE(&rf, 0));
        for (int x = 0; x < 4 * w; x++)
            row[x] = x % 4 == 3 ? 0xFFFF : words[3 * (y * w + x / 4) + x % 4];
    }
    gst_video_frame_unmap(&rf);
    EXPECT_EQ(flow == GST_FLOW_OK, code == TAV_OK)
        << what << ": library gives " << tavResultText(code);
    GstMapInfo expected;
    gst_buffer_map(ref, &expected, GST_MAP_READ);
    EXPECT_TRUE(code != TAV_OK || !out ||
                (gst_buffer_get_size(out) == expected.size &&
                 gst_buffer_memcmp(out, 0, expected.data, expected.size) == 0))
        << what;
    gst_buffer_unmap(ref, &expected);
    if (h && out) gst_buffer_unref(out);
    gst_buffer_unref(ref);
}

class GstTest : public testing::Test {
  protected:
    // The plugin from the build tree, scanned in this process (an instrumented
    // plugin loads only beside its sanitizer) into a registry of the tests' own.
    static void SetUpTestSuite() {
        setenv("GST_PLUGIN_PATH", TAV_GST_PLUGIN_DIR, 0);
        setenv("GST_REGISTRY", TAV_GST_PLUGIN_DIR "/registry.bin", 0);
        setenv("GST_REGISTRY_FORK", "no", 0);
        gst_init(nullptr, nullptr);
    }
    void SetUp() override {
        if (!gst_element_factory_find("tavdemosaic"))
            GTEST_SKIP() << "tavdemosaic not on GST_PLUGIN_PATH";
    }
};

class Formats : public GstTest, public testing::WithParamInterface<Format> {};

// Every pair as the library, one harness per method renegotiating from pair to
// pair and size to size: mosaics at 18x10 and 22x12 (8-bit and packed rows
// padded to 4 bytes), RGB and YUV at 20x6 and 24x8 (IYU1 and I420 chroma rows
// padded), laid out as GStreamer does and then with odd strides.
TEST_P(Formats, EveryOutputAsTheLibrary) {
    const Format& from = GetParam();
    const bool mosaic = from.depth != 0;
    std::mt19937 rng(7);
    for (uint32_t method = 0; method < (mosaic ? 4u : 1u); method++) {
        const std::string element =
            (mosaic ? std::string("tavdemosaic method=") + kMethods[method] : "tavconvert") +
            " n-threads=" + std::to_string(method % 2 + 1);
        GstHarness* h = harness(element);
        for (bool odd : {false, true}) {
            const int w = (mosaic ? 18 : 20) + 4 * odd, hgt = (mosaic ? 10 : 6) + 2 * odd;
            Input in =
                mosaic ? mosaicInput(from, w, hgt, odd, rng) : rawInput(from, w, hgt, odd, rng);
            for (const Format& to : kRaw) {
                if (to.name == from.name) continue;
                check(h, nullptr, caps(mosaic ? "video/x-bayer" : "video/x-raw", from.name, w, hgt),
                      to, in, in.frame(from.format, from.depth, w, hgt), method,
                      element + ": " + from.name + " to " + to.name + (odd ? " odd" : ""));
            }
        }
        gst_harness_teardown(h);
    }
    if (!mosaic) return;
    // One byte shorter than its last row needs: an error, never a read past it;
    // then a size the method cannot take, refused with the library's reason.
    Input in = mosaicInput(from, 18, 10, false, rng);
    GstHarness* h = harness("tavdemosaic");
    gst_harness_set_caps_str(h, caps("video/x-bayer", from.name, 18, 10).c_str(),
                             caps("video/x-raw", "RGB", 18, 10).c_str());
    const size_t row = (18 * (from.format >> 16 & 0xFF) + 7) / 8;
    EXPECT_EQ(gst_harness_push(h, in.buffer(18, 10, in.stride[0] - row + 1)), GST_FLOW_ERROR);
    EXPECT_NE(busError(h).find("too small"), std::string::npos);
    gst_harness_set_caps_str(h, caps("video/x-bayer", from.name, 2, 2).c_str(),
                             caps("video/x-raw", "RGB", 2, 2).c_str());
    EXPECT_NE(gst_harness_push(h, mosaicInput(from, 2, 2, false, rng).buffer(2, 2)), GST_FLOW_OK);
    EXPECT_NE(busError(h).find(tavResultText(TAV_ERROR_TOO_SMALL)), std::string::npos);
    gst_harness_teardown(h);
}

std::vector<Format> allFormats() {
    std::vector<Format> all = mosaics();
    all.insert(all.end(), std::begin(kRaw), std::end(kRaw));
    return all;
}
INSTANTIATE_TEST_SUITE_P(All, Formats, testing::ValuesIn(allFormats()),
                         [](const auto& info) { return info.param.name; });

GstBuffer* pull(GstElement* pipeline, const char* name) {
    GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline), name);
    GstSample* s = gst_app_sink_pull_sample(GST_APP_SINK(sink));
    gst_object_unref(sink);
    GstBuffer* b = s ? gst_buffer_ref(gst_sample_get_buffer(s)) : nullptr;
    if (s) gst_sample_unref(s);
    return b;
}

// rgb2bayer's mosaics (66 wide: rows padded to 68) through tavdemosaic equal the
// library's pictures of the mosaics that arrived, at every phase.
TEST_F(GstTest, PipelineFromRgb2bayerAsTheLibrary) {
    if (!gst_element_factory_find("rgb2bayer"))
        GTEST_SKIP() << "rgb2bayer missing (gstreamer1.0-plugins-bad)";
    const Format bgrx{"BGRx", TAV_PF_BGRA8};
    for (const Format& m : mosaics()) {
        if (m.depth != 8) continue;
        GstElement* p = gst_parse_launch(
            ("videotestsrc num-buffers=3 pattern=snow ! video/x-raw,width=66,height=40 ! rgb2bayer "
             "! " +
             caps("video/x-bayer", m.name, 66, 40) +
             " ! tee name=t ! queue ! appsink name=raw sync=false t. ! queue ! tavdemosaic "
             "method=hq ! video/x-raw,format=BGRx ! appsink name=out sync=false")
                .c_str(),
            nullptr);
        gst_element_set_state(p, GST_STATE_PLAYING);
        for (int frame = 0; frame < 3; frame++) {
            GstBuffer *raw = pull(p, "raw"), *out = pull(p, "out");
            ASSERT_TRUE(raw && out) << m.name << " frame " << frame;
            std::mt19937 rng;
            Input in(GST_VIDEO_FORMAT_ENCODED, {68}, {0}, false, rng);
            GstMapInfo map;
            gst_buffer_map(raw, &map, GST_MAP_READ);
            in.bytes.assign(map.data, map.data + map.size);
            check(nullptr, out, caps("video/x-bayer", m.name, 66, 40), bgrx, in,
                  in.frame(m.format, 8, 66, 40), TAV_METHOD_HQ, m.name);
            gst_buffer_unmap(raw, &map);
            gst_buffer_unref(raw);
            gst_buffer_unref(out);
        }
        gst_element_set_state(p, GST_STATE_NULL);
        gst_object_unref(p);
    }
}

}  // namespace
