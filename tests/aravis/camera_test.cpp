// Frames from a fake GigE Vision camera that this process serves on 127.0.0.1,
// received by `tav capture` or by `aravissrc ! tavdemosaic`: every picture
// equals the library's decode of the frame as it arrived, and the mosaics of
// our own camera description (8- to 16-bit and packed formats) arrive as sent.
// Usage: tav_camera_test capture TAV_PROGRAM CAMERA_XML SCRATCH_DIR
//        tav_camera_test pipeline GST_PLUGIN_DIR CAMERA_XML SCRATCH_DIR
#include <arv.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "cli.h"
#if __has_include("demosaic8.h")
#include "demosaic8.h"  // parseMethod, where cli.h does not declare it
#endif
#include "formats.h"
#include "image_io.h"
#include "tav_api.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr int kWidth = 64, kHeight = 48, kFrames = 2;

struct Case {
    bool own;  // our description and fill; else Aravis's built-in ones
    const char* format;
    uint32_t code;
    const char* method;
    bool deep;     // png16, else png
    bool decodes;  // else refused, but kept raw
};

// The built-in pattern's BG8 and RG8 carry red and blue exchanged: only the
// mosaic that arrived is compared, never the colours it claims.
const Case kCaptures[] = {
    {false, "BayerGR8", TAV_PF_BAYER_GR8, "bilinear", false, true},
    {false, "BayerRG8", TAV_PF_BAYER_RG8, "edge", false, true},
    {false, "BayerGB8", TAV_PF_BAYER_GB8, "nearest", false, true},
    {false, "BayerBG8", TAV_PF_BAYER_BG8, "hq", false, true},
    {false, "Mono16", TAV_PF_MONO16, "bilinear", true, true},
    {true, "BayerRG12Packed", TAV_PF_BAYER_RG12_PACKED, "bilinear", false, true},
    {true, "BayerGB10Packed", TAV_PF_BAYER_GB10_PACKED, "edge", false, true},
    {true, "Mono12Packed", TAV_PF_MONO12_PACKED, "bilinear", false, true},
    {true, "BayerRG12", TAV_PF_BAYER_RG12, "edge", true, true},
    {true, "BayerGR10", TAV_PF_BAYER_GR10, "hq", false, true},
    {true, "Mono12", TAV_PF_MONO12, "bilinear", true, true},
    {true, "BayerBG16", TAV_PF_BAYER_BG16, "bilinear", true, true},
    {true, "BayerRG12p", 0x010C0059u, "bilinear", false, false},
};

// aravissrc offers 8-bit Bayer only; `format` here is the caps' name.
const Case kPipelines[] = {
    {true, "rggb", TAV_PF_BAYER_RG8, "bilinear", false, true},
    {true, "grbg", TAV_PF_BAYER_GR8, "edge", false, true},
    {true, "gbrg", TAV_PF_BAYER_GB8, "nearest", false, true},
    {true, "bggr", TAV_PF_BAYER_BG8, "bilinear", false, true},
};

// A fixed mosaic per format, its words within the format's depth.
Bytes mosaic(uint32_t code) {
    const size_t bytes = kHeight * ((size_t(kWidth) * ((code >> 16) & 0xFF) + 7) / 8);
    Bytes m(bytes);
    for (size_t i = 0; i < bytes; ++i) m[i] = uint8_t((i * 2654435761u) >> 11);
    const tavcli::FormatInfo* f = tavcli::findFormat(code);
    if (f && f->layout == tavcli::Layout::Word)
        for (size_t i = 1; i < bytes; i += 2) m[i] &= uint8_t((1u << (f->bits - 8)) - 1);
    return m;
}

void fill(ArvBuffer* buffer, void*, guint32, guint32, ArvPixelFormat code) {
    const Bytes m = mosaic(code);
    size_t unused = 0;  // the buffer holds the whole payload; its size is set after this call
    std::memcpy(const_cast<void*>(arv_buffer_get_data(buffer, &unused)), m.data(), m.size());
}

std::string run(const std::string& command, int& status) {
    std::string out;
    FILE* p = popen((command + " 2>&1").c_str(), "r");
    char chunk[512];
    for (size_t n; p && (n = std::fread(chunk, 1, sizeof chunk, p)) > 0;) out.append(chunk, n);
    const int raw = p ? pclose(p) : -1;
    status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return out;
}

// Serves one camera while `command` runs; returns what it printed.
std::string serve(const std::string& xml, const Case& c, const std::string& command, int& status) {
    ArvGvFakeCamera* camera = c.own ? arv_gv_fake_camera_new_full("127.0.0.1", "TAV01", xml.c_str())
                                    : arv_gv_fake_camera_new("127.0.0.1", "TAV01");
    if (!arv_gv_fake_camera_is_running(camera)) {
        g_object_unref(camera);
        throw tavcli::Failure("cannot serve a camera on 127.0.0.1 (GVCP port 3956 in use?)");
    }
    if (c.own)
        arv_fake_camera_set_fill_pattern(arv_gv_fake_camera_get_fake_camera(camera), fill, nullptr);
    const std::string out = run(command, status);
    g_object_unref(camera);
    return out;
}

// The library's decode of this frame: RGB, or grey for a mono source.
Bytes expected(const Case& c, const Bytes& raw, int& channels) {
    const bool mono = tavcli::findFormat(c.code)->phase == tavcli::Phase::None;
    channels = mono ? 1 : 3;
    const uint32_t target =
        mono ? (c.deep ? TAV_PF_MONO16 : TAV_PF_MONO8) : (c.deep ? TAV_PF_RGB16 : TAV_PF_RGB8);
    Bytes out(size_t(kWidth) * kHeight * channels * (c.deep ? 2 : 1));
    TavFrame src, dst;
    tavFrameInit(&src, c.code, kWidth, kHeight, const_cast<uint8_t*>(raw.data()));
    tavFrameInit(&dst, target, kWidth, kHeight, out.data());
    TavOptions options;
    tavOptionsInit(&options);
    options.method = tavcli::parseMethod(c.method);
    return tavDemosaic(&src, &dst, &options) == TAV_OK ? out : Bytes();
}

bool capture(const std::string& tav, const std::string& xml, const std::string& dir, const Case& c,
             std::string& out) {
    int status = -1;
    out = serve(xml, c,
                "'" + tav + "' capture --camera 127.0.0.1 --timeout 5 --keep-raw --frames " +
                    std::to_string(kFrames) + " --size " + std::to_string(kWidth) + "x" +
                    std::to_string(kHeight) + " --pixel-format " + c.format + " --method " +
                    c.method + " --format " + (c.deep ? "png16" : "png") + " -o '" + dir + "'",
                status);
    if ((status == 0) != c.decodes) return false;
    if (!c.decodes)
        return out.find("frame 1") != std::string::npos &&
               tavcli::readFile(dir + "/frame-0001.raw") == mosaic(c.code);
    for (int i = 1; i <= kFrames; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "/frame-%04d", i);
        const Bytes raw = tavcli::readFile(dir + name + ".raw");
        int channels = 0;
        const Bytes want = expected(c, raw, channels);
        const tavcli::Raster got = tavcli::readPng(dir + name + ".png");
        if ((c.own && raw != mosaic(c.code)) || want.empty() || got.channels != channels ||
            got.data != want)
            return false;
    }
    return out.find("drops:") != std::string::npos;
}

bool pipeline(const std::string& xml, const std::string& dir, const Case& c, std::string& out) {
    int status = -1;
    tavcli::makeDirectories(dir);
    out = serve(
        xml, c,
        "gst-launch-1.0 -q aravissrc camera-name=127.0.0.1 num-buffers=" + std::to_string(kFrames) +
            " ! video/x-bayer,format=" + c.format + ",width=" + std::to_string(kWidth) +
            ",height=" + std::to_string(kHeight) + " ! tavdemosaic method=" + c.method +
            " ! video/x-raw,format=RGB ! multifilesink location='" + dir + "/rgb-%d.raw'",
        status);
    int channels = 0;
    const Bytes want = expected(c, mosaic(c.code), channels);
    for (int i = 0; i < kFrames; ++i) {
        if (status != 0 || tavcli::readFile(dir + "/rgb-" + std::to_string(i) + ".raw") != want)
            return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc == 5 ? argv[1] : "";
    if (mode != "capture" && mode != "pipeline") {
        std::fprintf(stderr, "usage: %s capture|pipeline TAV_PROGRAM|GST_PLUGIN_DIR XML DIR\n",
                     argv[0]);
        return 2;
    }
    if (mode == "pipeline") {
        setenv("GST_PLUGIN_PATH", argv[2], 1);
        int status = -1;
        run("gst-inspect-1.0 tavdemosaic && gst-inspect-1.0 aravissrc", status);
        if (status != 0) {
            std::printf(
                "skipped: gst-inspect-1.0 finds no tavdemosaic or aravissrc "
                "(gstreamer1.0-tools, libaravis-0.8-0; scripts/deps.sh)\n");
            return 77;
        }
    }
    std::filesystem::remove_all(argv[4]);
    int failures = 0;
    for (const Case& c : mode == "capture"
                             ? std::vector<Case>(std::begin(kCaptures), std::end(kCaptures))
                             : std::vector<Case>(std::begin(kPipelines), std::end(kPipelines))) {
        std::string out;
        bool ok = false;
        try {
            const std::string dir = std::string(argv[4]) + "/" + c.format;
            ok = mode == "capture" ? capture(argv[2], argv[3], dir, c, out)
                                   : pipeline(argv[3], dir, c, out);
        } catch (const tavcli::Failure& e) {
            out += e.what();
        }
        std::printf("%s %s by %s\n%s", ok ? "ok  " : "FAIL", c.format, c.method,
                    ok ? "" : (out + "\n").c_str());
        failures += !ok;
    }
    arv_shutdown();
    return failures == 0 ? 0 : 1;
}
