// The tav program end to end: it is run as a user runs it, on small files in
// a scratch folder, and its files, messages and exit codes are checked.
#include <dirent.h>
#include <sys/stat.h>
#include <ftw.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "chart.h"
#include "image_io.h"
#include "tav.h"
#include "tool_features.h"

namespace {

struct Outcome {
    int status = -1;
    std::string out, err;
};

std::string slurp(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

std::vector<uint8_t> bytesOf(const std::string& path) {
    const std::string s = slurp(path);
    return {s.begin(), s.end()};
}

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

int lineCount(const std::string& s) {
    int n = 0;
    for (char c : s) n += c == '\n';
    return n;
}

class Cli : public testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/tav-cli-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        dir_ = pattern;
    }
    void TearDown() override {
        ::nftw(
            dir_.c_str(), [](const char* p, const struct stat*, int, FTW*) { return ::remove(p); },
            16, FTW_DEPTH | FTW_PHYS);
    }

    std::string path(const std::string& name) const { return dir_ + "/" + name; }

    // Runs the program in the scratch folder with these arguments.
    Outcome tav(const std::string& args) const {
        const std::string cmd = "cd '" + dir_ + "' && '" TAV_CLI_PROGRAM "' " + args + " >'" +
                                path(".out") + "' 2>'" + path(".err") + "'";
        Outcome o;
        const int raw = std::system(cmd.c_str());
        o.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        o.out = slurp(path(".out"));
        o.err = slurp(path(".err"));
        ::remove(path(".out").c_str());
        ::remove(path(".err").c_str());
        return o;
    }

    void write(const std::string& name, const std::vector<uint8_t>& bytes) const {
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }

    // Names in the scratch folder, hidden ones included (a half-written
    // temporary would show up here).
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        DIR* d = ::opendir(dir_.c_str());
        while (dirent* e = ::readdir(d)) {
            const std::string n = e->d_name;
            if (n != "." && n != "..") names.push_back(n);
        }
        ::closedir(d);
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string dir_;
};

std::vector<uint8_t> randomBytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> v(n);
    for (auto& b : v) b = static_cast<uint8_t>(rng());
    return v;
}

std::vector<uint8_t> words12(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> v(2 * n);
    for (size_t i = 0; i < n; ++i) {
        const uint16_t w = rng() & 0xFFF;
        std::memcpy(&v[2 * i], &w, 2);
    }
    return v;
}

// ---- round trips with monochrome sources

TEST_F(Cli, Mono8ToGreyPngAndBackIsExact) {
    const int w = 37, h = 23;  // odd, and not a multiple of any vector width
    const auto raw = randomBytes(w * h, 1);
    write("in.raw", raw);
    Outcome o =
        tav("demosaic --format Mono8 --width 37 --height 23 --target Mono8 -o grey.png in.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    const tavcli::Raster png = tavcli::readPng(path("grey.png"));
    EXPECT_EQ(png.width, w);
    EXPECT_EQ(png.height, h);
    EXPECT_EQ(png.channels, 1);
    EXPECT_EQ(png.data, raw);

    o = tav("convert grey.png -o back.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(bytesOf(path("back.raw")), raw);

    // By code, default name and type: a colour PNG repeating each sample.
    o = tav("demosaic --format 0x01080001 --width 37 --height 23 in.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    const tavcli::Raster colour = tavcli::readPng(path("in.png"));
    ASSERT_EQ(colour.channels, 3);
    for (size_t i = 0; i < 3 * raw.size(); ++i) ASSERT_EQ(colour.data[i], raw[i / 3]);
}

TEST_F(Cli, Mono12KeepsTopEightBitsAndFullDepthSurvivesPng) {
    const int w = 21, h = 6;
    const auto raw = words12(w * h, 3);
    write("in.raw", raw);
    Outcome o =
        tav("demosaic --format Mono12 --width 21 --height 6 --output pgm -o out.pgm in.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    const std::string pgm = slurp(path("out.pgm"));
    const std::string header = "P5\n21 6\n255\n";
    ASSERT_EQ(pgm.size(), header.size() + w * h);
    EXPECT_EQ(pgm.substr(0, header.size()), header);
    for (int i = 0; i < w * h; ++i) {
        uint16_t s;
        std::memcpy(&s, &raw[2 * i], 2);
        ASSERT_EQ(uint8_t(pgm[header.size() + i]), s >> 4) << "pixel " << i;
    }

    // the container alone: 12 bits in a 16-bit PNG and back
    o = tav("convert --format Mono12 --width 21 --height 6 -o deep.png in.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    const tavcli::Raster png = tavcli::readPng(path("deep.png"));
    EXPECT_EQ(png.bitDepth, 16);
    EXPECT_EQ(png.significantBits, 12);
    o = tav("convert deep.png -o back.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(bytesOf(path("back.raw")), raw);
}

TEST_F(Cli, PackedAndPaddedSourcesReadTheRightBytes) {
    // Mono12Packed: two pixels in three bytes; the high bytes are the 8-bit result.
    const int w = 6, h = 4;
    const auto packed = randomBytes(w * h / 2 * 3, 4);
    write("packed.raw", packed);
    Outcome o =
        tav("demosaic --format Mono12Packed --width 6 --height 4 --output raw "
            "--target Mono8 -o packed.out packed.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    const auto out = bytesOf(path("packed.out"));
    ASSERT_EQ(out.size(), size_t(w * h));
    for (int i = 0; i < w * h; i += 2) {
        EXPECT_EQ(out[i], packed[i / 2 * 3]);
        EXPECT_EQ(out[i + 1], packed[i / 2 * 3 + 2]);
    }

    // Mono8 rows 5 bytes apart give the same picture as compact rows
    const auto compact = randomBytes(4 * 6, 5);
    std::vector<uint8_t> padded(5 * 6, 0xEE);
    for (int y = 0; y < 6; ++y) std::copy_n(&compact[y * 4], 4, &padded[y * 5]);
    write("padded.raw", padded);
    o =
        tav("demosaic --format Mono8 --width 4 --height 6 --pitch 5 --output raw --target BGRa8 "
            "-o padded.out padded.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    const auto bgra = bytesOf(path("padded.out"));
    ASSERT_EQ(bgra.size(), compact.size() * 4);
    for (size_t i = 0; i < compact.size(); ++i) {
        EXPECT_EQ(bgra[4 * i], compact[i]);
        EXPECT_EQ(bgra[4 * i + 3], 0) << "alpha";
    }
}

TEST_F(Cli, ManyFramesGoIntoAFolderAndOneBadFrameFailsAlone) {
    for (int i = 0; i < 3; ++i) write("f" + std::to_string(i) + ".raw", randomBytes(8 * 8, 10 + i));
    write("short.raw", randomBytes(8 * 8 - 1, 20));
    const Outcome o =
        tav("demosaic --format Mono8 --width 8 --height 8 --output ppm -o out f0.raw f1.raw "
            "short.raw f2.raw");
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.out.find("3 of 4 frames written"), std::string::npos) << o.out;
    EXPECT_EQ(lineCount(o.err), 1) << o.err;
    EXPECT_NE(o.err.find("short.raw has 63 bytes"), std::string::npos) << o.err;
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(exists(path("out/f" + std::to_string(i) + ".ppm")));
    EXPECT_FALSE(exists(path("out/short.ppm")));
}

// ---- errors: one line naming the problem, an exit code, no output file

struct ErrorCase {
    const char* name;
    const char* args;
    int status;
    const char* message;
};

void PrintTo(const ErrorCase& c, std::ostream* os) {
    *os << c.name;
}

class CliErrors : public Cli, public testing::WithParamInterface<ErrorCase> {};

TEST_P(CliErrors, OneLineNoOutput) {
    write("in.raw", randomBytes(16 * 16, 7));
    write("bad.png", {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H'});
    ASSERT_EQ(::mkdir(path("taken.png").c_str(), 0755), 0);  // a write that fails at the end
    const std::vector<std::string> before = files();
    const ErrorCase& c = GetParam();
    const Outcome o = tav(c.args);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(lineCount(o.err), 1) << o.err;
    EXPECT_NE(o.err.find(c.message), std::string::npos) << o.err;
    EXPECT_EQ(files(), before) << "an output or a temporary file was left behind";
}

const ErrorCase kErrors[] = {
    {"UnknownFormat", "demosaic --format BayerXY8 --width 16 --height 16 -o x.png in.raw", 2,
     "unknown pixel format 'BayerXY8'"},
    {"UnknownCode", "demosaic --format 0x01080077 --width 16 --height 16 -o x.png in.raw", 2,
     "unknown pixel format code 0x01080077"},
    {"NotASource", "demosaic --format RGB8 --width 16 --height 16 -o x.png in.raw", 2,
     "RGB8 is not a demosaicing source"},
    {"FileTooShort", "demosaic --format Mono8 --width 16 --height 17 -o x.png in.raw", 1,
     "in.raw has 256 bytes, but a 16x17 Mono8 frame with pitch 16 needs 272"},
    {"PackedTooShort", "demosaic --format BayerRG12Packed --width 16 --height 16 -o x.png in.raw",
     1, "needs 384"},
    {"PitchTooShort", "demosaic --format Mono8 --width 16 --height 8 --pitch 15 -o x.png in.raw", 2,
     "--pitch 15 is shorter than a row"},
    {"BmpOfMono",
     "demosaic --format Mono8 --width 16 --height 16 --output bmp --target Mono8 "
     "-o x.bmp in.raw",
     2, "unsupported combination: --output bmp with --target Mono8"},
    {"DeepPngOf8Bit",
     "demosaic --format BayerRG8 --width 16 --height 16 --output png16 "
     "-o x.png in.raw",
     2, "unsupported combination: BayerRG8 to RGB16"},
    {"RawToYuv",
     "demosaic --format Mono8 --width 16 --height 16 --output raw --target YUV422_8 "
     "-o x.raw in.raw",
     2, "unsupported combination: Mono8 to YUV422_8"},
    {"UnknownMethod", "demosaic --format Mono8 --width 16 --height 16 --method cubic in.raw", 2,
     "unknown method 'cubic'"},
    {"MissingHeight", "demosaic --format Mono8 --width 16 in.raw", 2,
     "missing --width or --height"},
    {"BadNumber", "demosaic --format Mono8 --width 16x --height 16 in.raw", 2,
     "--width must be a whole number"},
    {"UnknownOption", "demosaic --colour in.raw", 2, "unknown option --colour"},
    {"MissingFile", "demosaic --format Mono8 --width 4 --height 4 -o x.png nothere.raw", 1,
     "cannot read nothere.raw"},
    // the library's own check, reported with its result code by name
    {"LibraryRefusal", "demosaic --format Mono8 --width 3 --height 16 -o x.png in.raw", 1,
     "TAV_E_IMAGE_SIZE (-104), library said: error line = [96]"},
    {"NotAPng",
     "demosaic --format Mono8 --width 16 --height 16 --output png -o x.png in.raw "
     "--target RGBa8",
     2, "png takes RGB8 or Mono8"},
    {"PngCannotHoldYuv",
     "convert --format Mono8 --width 16 --height 16 --to YUV422_8 -o x.png "
     "in.raw",
     2, "a PNG cannot hold YUV422_8"},
    {"FolderMissing", "demosaic --format Mono8 --width 16 --height 16 -o none/x.png in.raw", 1,
     "cannot write none/x.png"},
    {"UnknownCommand", "develop in.raw", 2, "unknown command 'develop'"},
    {"DemoOddSize", "demo --size 63x48 -o d", 2, "--size must be even"},
    {"DemoBadSize", "demo --size big -o d", 2, "size must look like 1920x1080"},
    {"BrokenPng", "convert bad.png -o out.raw", 1, "cannot read PNG bad.png"},
    {"FailedRename", "convert --format Mono8 --width 8 --height 8 -o taken.png in.raw", 1,
     "cannot write taken.png"},
    // through the library when it has the entry; either way a clean failure
    {"ConversionRefused", "convert --format Mono8 --width 8 --height 8 --to RGB8 -o o.raw in.raw",
     1, TAV_TOOL_CONVERT ? "TAV_E_PIXEL_FORMAT" : "needs tavImageTypeConvert"},
};

INSTANTIATE_TEST_SUITE_P(Cases, CliErrors, testing::ValuesIn(kErrors),
                         [](const testing::TestParamInfo<ErrorCase>& i) { return i.param.name; });

// ---- Bayer paths: they pass whether or not this library build has a method.
// A flat field is flat after any correct demosaicing, whatever the phase.

struct BayerCase {
    const char* format;
    int phase;  // index of the red site in the 2x2 cell: 0 RG, 1 GR, 2 GB, 3 BG
    bool packed;
};

void PrintTo(const BayerCase& c, std::ostream* os) {
    *os << c.format;
}

class CliBayer : public Cli,
                 public testing::WithParamInterface<std::tuple<BayerCase, const char*>> {};

TEST_P(CliBayer, FlatFieldStaysFlatOrTheMethodIsRefusedCleanly) {
    const BayerCase& c = std::get<0>(GetParam());
    const std::string method = std::get<1>(GetParam());
    const int w = 32, h = 24;
    const uint8_t rgb[3] = {200, 100, 50};
    std::vector<uint8_t> mosaic(w * h);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const int site = (y & 1) * 2 + (x & 1);
            const int red = c.phase, blue = 3 - c.phase;
            mosaic[y * w + x] = site == red ? rgb[0] : site == blue ? rgb[2] : rgb[1];
        }
    }
    std::vector<uint8_t> file = mosaic;
    if (c.packed) {  // the same samples at 12 bits, packed two in three bytes
        std::vector<uint16_t> samples(mosaic.begin(), mosaic.end());
        for (auto& s : samples) s = uint16_t(s << 4 | 0x9);
        file = tavcli::pack12(samples);
    }
    write("in.raw", file);
    const Outcome o =
        tav(std::string("demosaic --format ") + c.format +
            " --width 32 --height 24 --output ppm --method " + method + " -o out.ppm in.raw");
    if (o.status != 0) {
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(lineCount(o.err), 1) << o.err;
        EXPECT_NE(o.err.find("the library refused"), std::string::npos) << o.err;
        EXPECT_NE(o.err.find("TAV_E_"), std::string::npos) << o.err;
        EXPECT_FALSE(exists(path("out.ppm")));
        return;
    }
    const std::string ppm = slurp(path("out.ppm"));
    const std::string header = "P6\n32 24\n255\n";
    ASSERT_EQ(ppm.size(), header.size() + w * h * 3);
    for (int i = 0; i < w * h * 3; ++i) {
        ASSERT_EQ(uint8_t(ppm[header.size() + i]), rgb[i % 3]) << "pixel " << i / 3;
    }
}

INSTANTIATE_TEST_SUITE_P(Phases, CliBayer,
                         testing::Combine(testing::Values(BayerCase{"BayerRG8", 0, false},
                                                          BayerCase{"BayerGR8", 1, false},
                                                          BayerCase{"BayerGB8", 2, false},
                                                          BayerCase{"BayerBG8", 3, false},
                                                          BayerCase{"BayerRG12Packed", 0, true},
                                                          BayerCase{"BayerGB12Packed", 2, true}),
                                          testing::Values("nearest", "bilinear", "edge")),
                         [](const auto& i) {
                             return std::string(std::get<0>(i.param).format) + "_" +
                                    std::get<1>(i.param);
                         });

// ---- the demo

struct DemoLine {
    std::string method, status, file;
    double psnr = 0;
};

std::vector<DemoLine> readSummary(const std::string& csv) {
    std::vector<DemoLine> lines;
    std::istringstream in(csv);
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        std::vector<std::string> f;
        std::istringstream cells(line);
        std::string cell;
        while (std::getline(cells, cell, ',')) f.push_back(cell);
        f.resize(8);
        DemoLine d{f[0], f[2], f[7]};
        d.psnr = f[5].empty() ? 0 : f[5] == "inf" ? 1e9 : std::atof(f[5].c_str());
        lines.push_back(d);
    }
    return lines;
}

TEST_F(Cli, DemoWritesChartFrameSheetAndAResultPerMethod) {
    const Outcome o = tav("demo --size 64x48 --frames 1 -o demo");
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.err, "");
    const tavcli::Raster chart = tavcli::readPng(path("demo/chart.png"));
    EXPECT_EQ(chart.width, 64);
    EXPECT_EQ(chart.height, 48);
    EXPECT_EQ(bytesOf(path("demo/frame-BayerRG12Packed.raw")).size(), 64u * 48 * 3 / 2);
    EXPECT_TRUE(exists(path("demo/sheet.png")));
    const auto lines = readSummary(slurp(path("demo/summary.csv")));
    ASSERT_GE(lines.size(), 3u);
    const char* methods[] = {"nearest", "bilinear", "edge"};
    for (int m = 0; m < 3; ++m) {
        EXPECT_EQ(lines[m].method, methods[m]);
        EXPECT_NE(o.out.find(std::string("  ") + methods[m]), std::string::npos) << o.out;
        if (lines[m].status == "ok") {
            const tavcli::Raster png = tavcli::readPng(path("demo/" + lines[m].file));
            EXPECT_EQ(png.width, 64);
            EXPECT_EQ(png.height, 48);
        } else {
            EXPECT_EQ(lines[m].status, "unavailable");
            EXPECT_FALSE(exists(path("demo/") + methods[m] + ".png"));
        }
    }
    // A picture of its own (odd: cropped to 40x28): every method that runs comes close.
    tavcli::Raster smooth = tavcli::makeRgbRaster(41, 29);
    for (int i = 0; i < 41 * 29; ++i) {
        const int x = i % 41, y = i / 41;
        smooth.data[3 * i] = uint8_t(60 + 3 * x);
        smooth.data[3 * i + 1] = uint8_t(90 + 2 * y);
        smooth.data[3 * i + 2] = uint8_t(180 - x - y);
    }
    tavcli::writePng(path("smooth.png"), smooth);
    const Outcome p = tav("demo --input smooth.png --frames 1 -o picture");
    ASSERT_EQ(p.status, 0) << p.err;
    EXPECT_NE(p.out.find("40x28"), std::string::npos) << p.out;
    for (const DemoLine& d : readSummary(slurp(path("picture/summary.csv")))) {
        if (d.status == "ok") {
            EXPECT_GT(d.psnr, 30.0) << d.method;
        }
    }
}

TEST_F(Cli, FormatsListsCodesAndWhatEachBecomes) {
    const Outcome o = tav("formats");
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_NE(o.out.find("0x010C002B  BayerRG12Packed"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("0x01080001  Mono8            any"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("into: Mono8 RGB8 BGR8"), std::string::npos) << o.out;
    EXPECT_EQ(o.out.find("error line"), std::string::npos) << "probing leaked diagnostics";
}

#if TAV_TOOL_BMP
TEST_F(Cli, BmpRowsArePaddedToFourBytes) {
    const auto raw = randomBytes(5 * 4, 9);  // 15-byte rows, padded to 16
    write("in.raw", raw);
    const Outcome o =
        tav("demosaic --format Mono8 --width 5 --height 4 --output bmp -o o.bmp in.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    const auto bmp = bytesOf(path("o.bmp"));
    ASSERT_EQ(bmp.size(), 54u + 16 * 4);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 5; ++x) EXPECT_EQ(bmp[54 + y * 16 + 3 * x], raw[y * 5 + x]);
        EXPECT_EQ(bmp[54 + y * 16 + 15], 0);
    }
}
#endif

#if TAV_TOOL_CONVERT
TEST_F(Cli, RgbPngBecomesBgrRawThroughTheLibrary) {
    tavcli::Raster rgb = tavcli::makeRgbRaster(7, 3);
    rgb.data = randomBytes(7 * 3 * 3, 12);
    tavcli::writePng(path("in.png"), rgb);
    const Outcome o = tav("convert in.png --to BGR8 -o out.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    const auto bgr = bytesOf(path("out.raw"));
    ASSERT_EQ(bgr.size(), rgb.data.size());
    for (size_t i = 0; i < bgr.size(); i += 3) {
        EXPECT_EQ(bgr[i], rgb.data[i + 2]);
        EXPECT_EQ(bgr[i + 1], rgb.data[i + 1]);
        EXPECT_EQ(bgr[i + 2], rgb.data[i]);
    }
}
#endif

#if TAV_TOOL_LSC
// A flat field gives unit gains: applying them leaves any frame as it was.
TEST_F(Cli, LscFromAFlatFieldChangesNothing) {
    write("flat.raw", std::vector<uint8_t>(64 * 32, 100));
    const auto frame = randomBytes(64 * 32, 13);
    write("frame.raw", frame);
    Outcome o = tav("lsc estimate --format Mono8 --width 64 --height 32 --grey flat.raw -o k.lsc");
    ASSERT_EQ(o.status, 0) << o.err;
    o =
        tav("lsc apply --coefficients k.lsc --format Mono8 --width 64 --height 32 -o out.raw "
            "frame.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(bytesOf(path("out.raw")), frame);

    o =
        tav("lsc apply --coefficients k.lsc --format Mono8 --width 32 --height 64 -o bad.raw "
            "frame.raw");
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("holds coefficients for 64x32 frames, not 32x64"), std::string::npos)
        << o.err;
    EXPECT_FALSE(exists(path("bad.raw")));
}
#endif

#if TAV_TOOL_U16
TEST_F(Cli, Mono12ToDeepPngKeepsEveryBit) {
    const auto raw = words12(11 * 7, 11);
    write("in.raw", raw);
    Outcome o =
        tav("demosaic --format Mono12 --width 11 --height 7 --output png16 --target Mono16 "
            "-o deep.png in.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    o = tav("convert deep.png -o back.raw");
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(bytesOf(path("back.raw")), raw);
}
#endif

}  // namespace
