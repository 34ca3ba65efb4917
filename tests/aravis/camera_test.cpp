// Frames from a fake GigE Vision camera that this process serves on 127.0.0.1,
// received by `tav capture` or by `aravissrc ! tavdemosaic`: every picture
// equals the library's decode of the frame as it arrived, and our own mosaics
// (8- to 16-bit and packed, where Aravis's fake has a pattern of its own only
// for 8-bit and Mono16) arrive as sent.
// Usage: tav_camera_test TAV_PROGRAM [GST_PLUGIN_DIR] SCRATCH_DIR
#include <arv.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "cli.h"
#include "formats.h"
#include "image_io.h"
#include "tav_api.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr int kWidth = 64, kHeight = 48, kFrames = 2;

struct Case {
    const char* format;
    uint32_t code;
    const char* method;
    bool own;         // our mosaic, else the fake's pattern
    bool deep;        // png16, else png
    const char* gst;  // caps name through aravissrc ! tavdemosaic, else tav capture
};

// The fake's BG8 and RG8 patterns carry red and blue exchanged: only the
// mosaic that arrived is compared, never the colours it claims.
const Case kCases[] = {
    {"BayerGR8", TAV_PF_BAYER_GR8, "bilinear", false, false, nullptr},
    {"BayerRG8", TAV_PF_BAYER_RG8, "edge", false, false, nullptr},
    {"BayerGB8", TAV_PF_BAYER_GB8, "nearest", false, false, nullptr},
    {"BayerBG8", TAV_PF_BAYER_BG8, "hq", false, false, nullptr},
    {"Mono16", TAV_PF_MONO16, "bilinear", false, true, nullptr},
    {"BayerRG12Packed", TAV_PF_BAYER_RG12_PACKED, "bilinear", true, false, nullptr},
    {"BayerGB10Packed", TAV_PF_BAYER_GB10_PACKED, "edge", true, false, nullptr},
    {"Mono12Packed", TAV_PF_MONO12_PACKED, "bilinear", true, false, nullptr},
    {"BayerRG12", TAV_PF_BAYER_RG12, "edge", true, true, nullptr},
    {"BayerGR10", TAV_PF_BAYER_GR10, "hq", true, false, nullptr},
    {"Mono12", TAV_PF_MONO12, "bilinear", true, true, nullptr},
    {"BayerBG16", TAV_PF_BAYER_BG16, "bilinear", true, true, nullptr},
    {"BayerRG12p", 0x010C0059u, "edge", true, false, nullptr},
    {"Mono10p", 0x010A0046u, "bilinear", true, true, nullptr},
    {"BayerRG12Packed", TAV_PF_BAYER_RG12_PACKED, "edge", true, true, nullptr},
    {"RGB8", TAV_PF_RGB8, "bilinear", false, true, nullptr},  // refused, kept raw
    {"BayerRG8", TAV_PF_BAYER_RG8, "bilinear", true, false, "rggb"},
    {"BayerGR8", TAV_PF_BAYER_GR8, "edge", true, false, "grbg"},
    {"BayerGB8", TAV_PF_BAYER_GB8, "nearest", true, false, "gbrg"},
    {"BayerBG8", TAV_PF_BAYER_BG8, "bilinear", true, false, "bggr"},
};

// A fixed mosaic per format, its words within the format's depth; packed
// and bit-stream frames hold the samples of their word format's mosaic.
Bytes mosaic(uint32_t code) {
    const tavcli::FormatInfo* f = tavcli::findFormat(code);
    const size_t bytes = kHeight * ((size_t(kWidth) * ((code >> 16) & 0xFF) + 7) / 8);
    Bytes m(bytes);
    if (f && f->words && f->layout != tavcli::Layout::Word) {
        const Bytes words = mosaic(f->words);
        const int n = f->bits, low = n - 8;
        for (size_t i = 0; i < words.size() / 2; ++i) {
            const unsigned v = words[2 * i] | words[2 * i + 1] << 8;
            if (f->layout == tavcli::Layout::Packed) {  // high bits in bytes 0 and 2
                uint8_t* g = &m[i / 2 * 3];
                g[i % 2 ? 2 : 0] = uint8_t(v >> low);
                g[1] |= uint8_t((v & ((1u << low) - 1)) << (i % 2 ? 4 : 0));
            } else {  // PFNC "p": one bit stream, lowest bit first
                for (int b = 0; b < n; ++b)
                    m[(i * n + b) / 8] |= uint8_t((v >> b & 1) << (i * n + b) % 8);
            }
        }
        return m;
    }
    for (size_t i = 0; i < bytes; ++i) m[i] = uint8_t((i * 2654435761u) >> 11);
    if (f && f->layout == tavcli::Layout::Word)
        for (size_t i = 1; i < bytes; i += 2) m[i] &= uint8_t((1u << (f->bits - 8)) - 1);
    return m;
}

void fill(ArvBuffer* buffer, void*, guint32, guint32, ArvPixelFormat code) {
    const Bytes m = mosaic(code);
    size_t unused = 0;  // the buffer holds the whole payload; its size is set after this call
    std::memcpy(const_cast<void*>(arv_buffer_get_data(buffer, &unused)), m.data(), m.size());
}

// Aravis's own description with every format of the table added.
std::string describe(const std::string& dir) {
    GObject* base = G_OBJECT(arv_fake_camera_new("TAV00"));
    size_t n = 0;
    const char* text = arv_fake_camera_get_genicam_xml(ARV_FAKE_CAMERA(base), &n);
    std::string xml(text, n);
    g_object_unref(base);
    std::string entries;
    for (const Case& c : kCases) {
        if (c.own && xml.find("\"" + std::string(c.format) + "\"") == std::string::npos)
            entries += "<EnumEntry Name=\"" + std::string(c.format) + "\"><Value>" +
                       std::to_string(c.code) + "</Value></EnumEntry>\n";
    }
    xml.insert(xml.find("<pValue>PixelFormatRegister</pValue>"), entries);
    tavcli::writeWholeFile(dir + "/camera.xml", xml.data(), xml.size());
    return dir + "/camera.xml";
}

// Serves the camera while `command` runs; its exit status.
int serve(const std::string& xml, const Case& c, const std::string& command) {
    ArvGvFakeCamera* camera = arv_gv_fake_camera_new_full("127.0.0.1", "TAV01", xml.c_str());
    if (!arv_gv_fake_camera_is_running(camera)) {
        g_object_unref(camera);
        throw tavcli::Failure("cannot serve a camera on 127.0.0.1 (GVCP port 3956 in use?)");
    }
    if (c.own)
        arv_fake_camera_set_fill_pattern(arv_gv_fake_camera_get_fake_camera(camera), fill, nullptr);
    const int raw = std::system(command.c_str());
    g_object_unref(camera);
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

// The library's decode of one frame: RGB, or grey for a mono source; bit
// streams, and packed frames at full depth, by their samples as words.
Bytes expected(const Case& c, const Bytes& raw) {
    const tavcli::FormatInfo* f = tavcli::findFormat(c.code);
    const bool mono = f && f->phase == tavcli::Phase::None;
    const bool words =
        f && f->words &&
        (f->layout == tavcli::Layout::BitStream || (c.deep && f->layout == tavcli::Layout::Packed));
    const Bytes in = words ? mosaic(f->words) : raw;
    const uint32_t target =
        mono ? (c.deep ? TAV_PF_MONO16 : TAV_PF_MONO8) : (c.deep ? TAV_PF_RGB16 : TAV_PF_RGB8);
    Bytes out(size_t(kWidth) * kHeight * (mono ? 1 : 3) * (c.deep ? 2 : 1));
    TavFrame src, dst;
    tavFrameInit(&src, words ? f->words : c.code, kWidth, kHeight, const_cast<uint8_t*>(in.data()));
    tavFrameInit(&dst, target, kWidth, kHeight, out.data());
    TavOptions options;
    tavOptionsInit(&options);
    options.method = tavcli::parseMethod(c.method);
    return tavDemosaic(&src, &dst, &options) == TAV_OK ? out : Bytes();
}

bool check(const Case& c, const std::string& tav, const std::string& xml, const std::string& dir) {
    const std::string w = std::to_string(kWidth), h = std::to_string(kHeight);
    const std::string command =
        c.gst ? "timeout 60 gst-launch-1.0 -q aravissrc camera-name=127.0.0.1 num-buffers=2 "
                "! video/x-bayer,format=" +
                    std::string(c.gst) + ",width=" + w + ",height=" + h +
                    " ! tavdemosaic method=" + c.method +
                    " ! video/x-raw,format=RGB ! multifilesink location='" + dir + "-%d"
              : "'" + tav + "' capture --camera 127.0.0.1 --timeout 5 --keep-raw --size " + w +
                    "x" + h + " --frames 2 --pixel-format " + c.format + " --method " + c.method +
                    " --format " + (c.deep ? "png16" : "png") + " -o '" + dir;
    const bool decodes = !expected(c, mosaic(c.code)).empty();  // what tavDemosaic reads
    if ((serve(xml, c, command + "' >'" + dir + ".log' 2>&1") == 0) != decodes) return false;
    for (int i = 0; i < (decodes ? kFrames : 1); ++i) {
        const std::string name = dir + "/frame-000" + std::to_string(i + 1);
        const Bytes raw = c.gst ? mosaic(c.code) : tavcli::readFile(name + ".raw");
        const Bytes got = !decodes ? Bytes()
                          : c.gst  ? tavcli::readFile(dir + "-" + std::to_string(i))
                                   : tavcli::readPng(name + ".png").data;
        if ((c.own && raw != mosaic(c.code)) || got != (decodes ? expected(c, raw) : Bytes()))
            return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) return 2;  // TAV_PROGRAM [GST_PLUGIN_DIR] SCRATCH_DIR
    const std::string scratch = argv[argc - 1];
    if (argc == 4 && (setenv("GST_PLUGIN_PATH", argv[2], 1) != 0 ||
                      std::system("gst-inspect-1.0 tavdemosaic >/dev/null 2>&1 && "
                                  "gst-inspect-1.0 aravissrc >/dev/null 2>&1") != 0)) {
        std::printf(
            "skipped: gst-inspect-1.0 finds no tavdemosaic or no aravissrc "
            "(gstreamer1.0-tools, libaravis-0.8-0; scripts/deps.sh)\n");
        return 77;
    }
    std::filesystem::remove_all(scratch);
    std::filesystem::create_directories(scratch);
    const std::string xml = describe(scratch);
    int failures = 0;
    for (const Case& c : kCases) {
        if ((c.gst != nullptr) != (argc == 4)) continue;
        const std::string dir = scratch + "/" + c.format + "-" + c.method;
        bool ok = false;
        try {
            ok = check(c, argv[1], xml, dir);
        } catch (const tavcli::Failure& e) {
            std::printf("%s\n", e.what());
        }
        std::printf("%s %s by %s%s\n", ok ? "ok  " : "FAIL", c.format, c.method,
                    ok ? "" : (", see " + dir + ".log").c_str());
        failures += !ok;
    }
    arv_shutdown();
    return failures == 0 ? 0 : 1;
}
