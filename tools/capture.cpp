// `tav capture`: frames from a GenICam camera through Aravis, decoded by the
// PFNC code each buffer carries and written as pictures.
#include <arv.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli.h"
#include "commands.h"
#include "formats.h"
#include "image_io.h"
#include "tav_api.h"

namespace tavcli {
namespace {

// Buffers queued to the stream: room for a burst while a picture is written.
constexpr int kStreamBuffers = 16;

enum class Picture { Png, Png16, Ppm, Raw };

Picture parsePicture(const std::string& text) {
    if (text == "png") return Picture::Png;
    if (text == "png16") return Picture::Png16;
    if (text == "ppm") return Picture::Ppm;
    if (text == "raw") return Picture::Raw;
    throw usageError("unknown --format '" + text + "' (png, png16, ppm or raw)");
}

struct Unref {
    void operator()(void* object) const {
        if (object) g_object_unref(object);
    }
};
template <class T>
using GPtr = std::unique_ptr<T, Unref>;

// Throws the Aravis error, if any, naming what was being done.
void check(GError*& error, const std::string& doing) {
    if (!error) return;
    const std::string message = doing + ": " + error->message;
    g_clear_error(&error);
    throw Failure(message);
}

std::string formatName(uint32_t code) {
    const FormatInfo* f = findFormat(code);
    return f ? std::string(f->name) + " (" + hexCode(code) + ")" : hexCode(code);
}

// PFNC codes carry the bits a pixel occupies in bits 16 to 23.
size_t pfncRowBytes(uint32_t code, int32_t width) {
    return (size_t(width) * ((code >> 16) & 0xFF) + 7) / 8;
}

bool isMono(uint32_t code) {
    const FormatInfo* f = findFormat(code);
    return f && f->phase == Phase::None && (f->roles & kDemosaicSource);
}

bool isColour8(uint32_t code) {
    return code == TAV_PF_RGB8 || code == TAV_PF_BGR8;
}

double parseRate(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno != 0 || !(v > 0 && v <= 1e6)) {
        throw usageError("--frame-rate must be a positive number, not '" + text + "'");
    }
    return v;
}

// What was received, what was lost, and how long decoding took.
struct Tally {
    int frames = 0;
    uint64_t firstNs = 0, lastNs = 0;
    std::map<int, int> failed;  // by buffer status
    uint64_t missing = 0;       // frame ids that never arrived
    bool haveId = false;
    uint64_t lastId = 0;
    int decoded = 0;  // frames through tavDemosaic (RGB ones are written as they come)
    double decodeSeconds = 0;

    // Ids only move forward, but a failed buffer may come back late; GigE
    // Vision 1 block ids are 16-bit, skip 0 and wrap to 1.
    void sawId(uint64_t id) {
        if (id == 0) return;
        if (!haveId || id > lastId) {
            if (haveId) missing += id - lastId - 1;
        } else if (lastId <= 0xFFFF && lastId - id > 0x8000) {
            missing += (0xFFFF - lastId) + (id - 1);
        } else {
            return;
        }
        haveId = true;
        lastId = id;
    }
};

const char* statusName(int status) {
    switch (status) {
        case ARV_BUFFER_STATUS_CLEARED:
            return "cleared";
        case ARV_BUFFER_STATUS_TIMEOUT:
            return "timeout";
        case ARV_BUFFER_STATUS_MISSING_PACKETS:
            return "missing packets";
        case ARV_BUFFER_STATUS_WRONG_PACKET_ID:
            return "wrong packet id";
        case ARV_BUFFER_STATUS_SIZE_MISMATCH:
            return "size mismatch";
        case ARV_BUFFER_STATUS_FILLING:
            return "filling";
        case ARV_BUFFER_STATUS_ABORTED:
            return "aborted";
        default:
            return "unknown";
    }
}

struct Job {
    Picture picture;
    TavOptions options;
    bool keepRaw;
    std::string dir;
    std::vector<uint8_t> pixels;  // grown to the largest frame, reused
};

// Decodes and writes one received frame.
void writeFrame(Job& job, ArvBuffer* buffer, int index, Tally& tally) {
    size_t size = 0;
    const void* data = arv_buffer_get_image_data(buffer, &size);
    const uint32_t code = arv_buffer_get_image_pixel_format(buffer);
    const int32_t w = arv_buffer_get_image_width(buffer), h = arv_buffer_get_image_height(buffer);
    if (!data) {  // chunk data alone, or a payload type Aravis does not read as an image
        throw Failure("frame " + std::to_string(index) + " holds no image (payload type " +
                      std::to_string(arv_buffer_get_payload_type(buffer)) + ")");
    }
    char name[32];
    std::snprintf(name, sizeof name, "frame-%04d", index);
    const std::string base = joinPath(job.dir, name);
    if (job.keepRaw || job.picture == Picture::Raw) writeWholeFile(base + ".raw", data, size);
    if (job.picture == Picture::Raw) return;

    gint padX = 0, padY = 0;
    arv_buffer_get_image_padding(buffer, &padX, &padY);
    TavFrame src;
    tavFrameInit(&src, code, w, h, const_cast<void*>(data));
    src.stride[0] = ptrdiff_t(pfncRowBytes(code, w)) + padX;
    const std::string what = "frame " + std::to_string(index) + " (" + formatName(code) + ", " +
                             std::to_string(w) + "x" + std::to_string(h) + ")";
    if (h > 0 && size_t(src.stride[0]) * (h - 1) + pfncRowBytes(code, w) > size) {
        throw Failure(what + ": " + std::to_string(size) + " bytes, too few for its size");
    }

    const bool deep = job.picture == Picture::Png16;
    const auto start = std::chrono::steady_clock::now();
    const int channels = isMono(code) ? 1 : 3;
    const void* pixels = data;
    if (!isColour8(code) || deep) {
        const uint32_t target = channels == 1 ? (deep ? TAV_PF_MONO16 : TAV_PF_MONO8)
                                              : (deep ? TAV_PF_RGB16 : TAV_PF_RGB8);
        job.pixels.resize(size_t(w) * h * channels * (deep ? 2 : 1));
        TavFrame dst;
        tavFrameInit(&dst, target, w, h, job.pixels.data());
        const int32_t rc = tavDemosaic(&src, &dst, &job.options);
        tally.decodeSeconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (rc != TAV_OK) throw Failure(what + ": " + tavResultText(rc));
        ++tally.decoded;
        pixels = job.pixels.data();
    } else if (padX != 0) {
        throw Failure(what + ": padded RGB rows are not written");
    }
    const bool bgr = code == TAV_PF_BGR8 && !deep;
    if (job.picture == Picture::Ppm) {
        if (bgr) throw Failure(what + ": PPM takes RGB8, not BGR8 (use png)");
        writePnm(base + (channels == 1 ? ".pgm" : ".ppm"), static_cast<const uint8_t*>(pixels), w,
                 h, channels);
    } else {
        writePng(base + ".png", pixels, w, h, channels, deep ? 16 : 8, bgr);
    }
}

}  // namespace

int runCapture(const std::vector<std::string>& argv) {
    Args args(argv,
              {"camera", "frames", "method", "format", "pixel-format", "size", "frame-rate",
               "timeout", "o"},
              {"keep-raw"});
    if (!args.positional().empty()) throw usageError("unexpected argument " + args.positional()[0]);
    Job job;
    job.picture = parsePicture(args.get("format", "png"));
    tavOptionsInit(&job.options);
    job.options.method = parseMethod(args.get("method", "bilinear"));
    job.keepRaw = args.flag("keep-raw");
    job.dir = args.required("o", "an output folder (-o DIR)");
    const int frames = args.integer("frames", 1, 1000000, 10);
    const int timeoutSeconds = args.integer("timeout", 1, 3600, 5);
    makeDirectories(job.dir);

    GError* error = nullptr;
    const std::string cameraName = args.get("camera");
    GPtr<ArvCamera> camera(
        arv_camera_new(cameraName.empty() ? nullptr : cameraName.c_str(), &error));
    check(error,
          cameraName.empty() ? "no camera found" : "cannot open camera '" + cameraName + "'");
    if (args.has("pixel-format")) {
        arv_camera_set_pixel_format_from_string(camera.get(), args.get("pixel-format").c_str(),
                                                &error);
        check(error, "cannot set pixel format " + args.get("pixel-format"));
    }
    if (args.has("size")) {
        int32_t w = 0, h = 0;
        parseSize(args.get("size"), w, h);
        arv_camera_set_integer(camera.get(), "Width", w, &error);
        check(error, "cannot set width");
        arv_camera_set_integer(camera.get(), "Height", h, &error);
        check(error, "cannot set height");
    }
    if (args.has("frame-rate")) {
        arv_camera_set_frame_rate(camera.get(), parseRate(args.get("frame-rate")), &error);
        check(error, "cannot set frame rate");
    }
    const guint payload = arv_camera_get_payload(camera.get(), &error);
    check(error, "cannot read the payload size");
    const std::string formatText = arv_camera_get_pixel_format_as_string(camera.get(), &error);
    check(error, "cannot read the pixel format");

    GPtr<ArvStream> stream(arv_camera_create_stream(camera.get(), nullptr, nullptr, &error));
    check(error, "cannot open a stream");
    for (int i = 0; i < kStreamBuffers; ++i)
        arv_stream_push_buffer(stream.get(), arv_buffer_new_allocate(payload));
    arv_camera_start_acquisition(camera.get(), &error);
    check(error, "cannot start acquisition");
    std::printf("capturing %d frames of %s from %s\n", frames, formatText.c_str(),
                arv_camera_get_device_id(camera.get(), nullptr));
    std::fflush(stdout);

    Tally tally;
    std::string failure;
    try {
        // Failed buffers do not count as progress: each complete frame must
        // come within the timeout of the one before.
        using Clock = std::chrono::steady_clock;
        auto deadline = Clock::now() + std::chrono::seconds(timeoutSeconds);
        while (tally.frames < frames) {
            const auto left =
                std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
            ArvBuffer* buffer = left.count() > 0
                                    ? arv_stream_timeout_pop_buffer(stream.get(), left.count())
                                    : nullptr;
            if (!buffer) {
                throw Failure("no complete frame within " + std::to_string(timeoutSeconds) +
                              " s (" + std::to_string(tally.frames) + " of " +
                              std::to_string(frames) + " received)");
            }
            tally.sawId(arv_buffer_get_frame_id(buffer));
            const int status = arv_buffer_get_status(buffer);
            if (status != ARV_BUFFER_STATUS_SUCCESS) {
                ++tally.failed[status];
            } else {
                try {
                    writeFrame(job, buffer, tally.frames + 1, tally);
                } catch (...) {
                    arv_stream_push_buffer(stream.get(), buffer);
                    throw;
                }
                const uint64_t ns = arv_buffer_get_system_timestamp(buffer);
                if (tally.frames++ == 0) tally.firstNs = ns;
                tally.lastNs = ns;
                deadline = Clock::now() + std::chrono::seconds(timeoutSeconds);
            }
            arv_stream_push_buffer(stream.get(), buffer);
        }
    } catch (const Failure& e) {
        failure = e.what();
    }
    arv_camera_stop_acquisition(camera.get(), nullptr);
    guint64 completed = 0, failures = 0, underruns = 0;
    arv_stream_get_statistics(stream.get(), &completed, &failures, &underruns);

    int failed = 0;
    std::string statuses;
    for (const auto& [status, count] : tally.failed) {
        failed += count;
        statuses += std::string(statuses.empty() ? ": " : ", ") + std::to_string(count) + " " +
                    statusName(status);
    }
    const double span = double(tally.lastNs - tally.firstNs) * 1e-9;
    std::printf("%d frames", tally.frames);
    if (tally.frames > 1 && span > 0) std::printf(", %.2f frames/s", (tally.frames - 1) / span);
    if (tally.decoded > 0)
        std::printf(", decode %.2f ms/frame", 1e3 * tally.decodeSeconds / tally.decoded);
    std::printf("\ndrops: %llu (failed buffers %d%s, missing frame ids %llu), underruns %llu\n",
                static_cast<unsigned long long>(failed + tally.missing), failed, statuses.c_str(),
                static_cast<unsigned long long>(tally.missing),
                static_cast<unsigned long long>(underruns));
    if (!failure.empty()) throw Failure(failure);
    return 0;
}

}  // namespace tavcli
