// The tav program end to end: it is run as a user runs it, on small files in
// a scratch folder, and its files, messages and exit codes are checked.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
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

using Bytes = std::vector<uint8_t>;

struct Outcome {
    int status = -1;
    std::string out, err;
};

std::string slurp(const std::string& path) {
    std::stringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}

int lineCount(const std::string& s) {
    return int(std::count(s.begin(), s.end(), '\n'));
}

Bytes randomBytes(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes v(n);
    for (auto& b : v) b = static_cast<uint8_t>(rng());
    return v;
}

// n little-endian 12-bit samples in 16-bit words.
Bytes words12(size_t n, uint32_t seed) {
    Bytes v = randomBytes(2 * n, seed);
    for (size_t i = 1; i < v.size(); i += 2) v[i] &= 0xF;
    return v;
}

class Cli : public testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/tav-cli-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    Bytes bytesOf(const std::string& name) const {
        const std::string s = slurp(path(name));
        return {s.begin(), s.end()};
    }
    bool exists(const std::string& name) const { return ::access(path(name).c_str(), F_OK) == 0; }

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
    // A run that must succeed.
    Outcome ok(const std::string& args) const {
        Outcome o = tav(args);
        EXPECT_EQ(o.status, 0) << args << ": " << o.err;
        return o;
    }

    void write(const std::string& name, const Bytes& bytes) const {
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }

    // Names in the scratch folder, hidden ones included (a half-written
    // temporary would show up here).
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(dir_))
            names.push_back(e.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string dir_;
};

// ---- round trips with monochrome sources

TEST_F(Cli, Mono8ToGreyPngAndBackIsExact) {
    const Bytes raw = randomBytes(37 * 23, 1);  // odd, and not a multiple of any vector width
    write("in.raw", raw);
    ok("demosaic --format Mono8 --width 37 --height 23 --target Mono8 -o grey.png in.raw");
    const tavcli::Raster png = tavcli::readPng(path("grey.png"));
    EXPECT_EQ(png.width, 37);
    EXPECT_EQ(png.height, 23);
    EXPECT_EQ(png.channels, 1);
    EXPECT_EQ(png.data, raw);
    ok("convert grey.png -o back.raw");
    EXPECT_EQ(bytesOf("back.raw"), raw);
    // By code, default name and type: a colour PNG repeating each sample.
    ok("demosaic --format 0x01080001 --width 37 --height 23 in.raw");
    const tavcli::Raster colour = tavcli::readPng(path("in.png"));
    ASSERT_EQ(colour.channels, 3);
    for (size_t i = 0; i < 3 * raw.size(); ++i) ASSERT_EQ(colour.data[i], raw[i / 3]);
}

TEST_F(Cli, Mono12KeepsTopEightBitsAndFullDepthSurvivesPng) {
    const Bytes raw = words12(21 * 6, 3);
    write("in.raw", raw);
    ok("demosaic --format Mono12 --width 21 --height 6 --output pgm -o out.pgm in.raw");
    const std::string pgm = slurp(path("out.pgm")), header = "P5\n21 6\n255\n";
    ASSERT_EQ(pgm.size(), header.size() + 21 * 6);
    EXPECT_EQ(pgm.substr(0, header.size()), header);
    for (int i = 0; i < 21 * 6; ++i)
        ASSERT_EQ(uint8_t(pgm[header.size() + i]), (raw[2 * i] | raw[2 * i + 1] << 8) >> 4) << i;
    // the container alone: 12 bits in a 16-bit PNG and back
    ok("convert --format Mono12 --width 21 --height 6 -o deep.png in.raw");
    const tavcli::Raster png = tavcli::readPng(path("deep.png"));
    EXPECT_EQ(png.bitDepth, 16);
    EXPECT_EQ(png.significantBits, 12);
    ok("convert deep.png -o back.raw");
    EXPECT_EQ(bytesOf("back.raw"), raw);
#if TAV_TOOL_U16
    ok("demosaic --format Mono12 --width 21 --height 6 --output png16 --target Mono16 -o d.png "
       "in.raw");
    ok("convert d.png -o back16.raw");
    EXPECT_EQ(bytesOf("back16.raw"), raw);
#endif
}

TEST_F(Cli, PackedAndPaddedSourcesReadTheRightBytes) {
    // Mono12Packed: two pixels in three bytes; the high bytes are the 8-bit result.
    const Bytes packed = randomBytes(6 * 4 / 2 * 3, 4);
    write("packed.raw", packed);
    ok("demosaic --format Mono12Packed --width 6 --height 4 --output raw --target Mono8 "
       "-o packed.out packed.raw");
    const Bytes out = bytesOf("packed.out");
    ASSERT_EQ(out.size(), 24u);
    for (int i = 0; i < 24; i += 2) {
        EXPECT_EQ(out[i], packed[i / 2 * 3]);
        EXPECT_EQ(out[i + 1], packed[i / 2 * 3 + 2]);
    }

    // Mono8 rows 5 bytes apart give the same picture as compact rows
    const Bytes compact = randomBytes(4 * 6, 5);
    Bytes padded(5 * 6, 0xEE);
    for (int y = 0; y < 6; ++y) std::copy_n(&compact[y * 4], 4, &padded[y * 5]);
    write("padded.raw", padded);
    ok("demosaic --format Mono8 --width 4 --height 6 --pitch 5 --output raw --target BGRa8 "
       "-o padded.out padded.raw");
    const Bytes bgra = bytesOf("padded.out");
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
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(exists("out/f" + std::to_string(i) + ".ppm"));
    EXPECT_FALSE(exists("out/short.ppm"));
}

// ---- errors: one line naming the problem, an exit code, no output file

struct ErrorCase {
    const char* name;
    const char* args;
    int status;
    const char* message;
};

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

// A 16x16 frame of in.raw, in whatever format the case names.
#define FRAME16 "demosaic --width 16 --height 16 "
const ErrorCase kErrors[] = {
    {"UnknownFormat", FRAME16 "--format BayerXY8 -o x.png in.raw", 2,
     "unknown pixel format 'BayerXY8'"},
    {"UnknownCode", FRAME16 "--format 0x01080077 -o x.png in.raw", 2,
     "unknown pixel format code 0x01080077"},
    {"NotASource", FRAME16 "--format RGB8 -o x.png in.raw", 2, "RGB8 is not a demosaicing source"},
    {"FileTooShort", "demosaic --format Mono8 --width 16 --height 17 -o x.png in.raw", 1,
     "in.raw has 256 bytes, but a 16x17 Mono8 frame with pitch 16 needs 272"},
    {"PackedTooShort", FRAME16 "--format BayerRG12Packed -o x.png in.raw", 1, "needs 384"},
    {"PitchTooShort", "demosaic --format Mono8 --width 16 --height 8 --pitch 15 -o x.png in.raw", 2,
     "--pitch 15 is shorter than a row"},
    {"BmpOfMono", FRAME16 "--format Mono8 --output bmp --target Mono8 -o x.bmp in.raw", 2,
     "unsupported combination: --output bmp with --target Mono8"},
    {"DeepPngOf8Bit", FRAME16 "--format BayerRG8 --output png16 -o x.png in.raw", 2,
     "unsupported combination: BayerRG8 to RGB16"},
    {"RawToYuv", FRAME16 "--format Mono8 --output raw --target YUV422_8 -o x.raw in.raw", 2,
     "unsupported combination: Mono8 to YUV422_8"},
    {"UnknownMethod", FRAME16 "--format Mono8 --method cubic in.raw", 2, "unknown method 'cubic'"},
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
    {"NotAPng", FRAME16 "--format Mono8 --output png -o x.png in.raw --target RGBa8", 2,
     "png takes RGB8 or Mono8"},
    {"PngCannotHoldYuv",
     "convert --format Mono8 --width 16 --height 16 --to YUV422_8 -o x.png in.raw", 2,
     "a PNG cannot hold YUV422_8"},
    {"FolderMissing", FRAME16 "--format Mono8 -o none/x.png in.raw", 1, "cannot write none/x.png"},
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
#undef FRAME16

INSTANTIATE_TEST_SUITE_P(Cases, CliErrors, testing::ValuesIn(kErrors),
                         [](const testing::TestParamInfo<ErrorCase>& i) { return i.param.name; });

// ---- Bayer paths: they pass whether or not this library build has a method.
// A flat field is flat after any correct demosaicing, whatever the phase.

struct BayerCase {
    const char* format;
    int phase;  // index of the red site in the 2x2 cell: 0 RG, 1 GR, 2 GB, 3 BG
    bool packed;
};

class CliBayer : public Cli,
                 public testing::WithParamInterface<std::tuple<BayerCase, const char*>> {};

TEST_P(CliBayer, FlatFieldStaysFlatOrTheMethodIsRefusedCleanly) {
    const BayerCase& c = std::get<0>(GetParam());
    const uint8_t rgb[3] = {200, 100, 50};
    std::vector<uint16_t> mosaic(32 * 24);
    for (size_t i = 0; i < mosaic.size(); ++i) {
        const int site = (i / 32 & 1) * 2 + (i & 1);
        mosaic[i] = site == c.phase ? rgb[0] : site == 3 - c.phase ? rgb[2] : rgb[1];
    }
    // packed: the same samples at 12 bits, two in three bytes
    for (auto& s : mosaic) s = c.packed ? uint16_t(s << 4 | 0x9) : s;
    write("in.raw", c.packed ? tavcli::pack12(mosaic) : Bytes(mosaic.begin(), mosaic.end()));
    const Outcome o = tav(std::string("demosaic --format ") + c.format +
                          " --width 32 --height 24 --output ppm --method " +
                          std::get<1>(GetParam()) + " -o out.ppm in.raw");
    if (o.status != 0) {
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(lineCount(o.err), 1) << o.err;
        EXPECT_NE(o.err.find("the library refused"), std::string::npos) << o.err;
        EXPECT_NE(o.err.find("TAV_E_"), std::string::npos) << o.err;
        EXPECT_FALSE(exists("out.ppm"));
        return;
    }
    const std::string ppm = slurp(path("out.ppm")), header = "P6\n32 24\n255\n";
    ASSERT_EQ(ppm.size(), header.size() + 32 * 24 * 3);
    for (int i = 0; i < 32 * 24 * 3; ++i)
        ASSERT_EQ(uint8_t(ppm[header.size() + i]), rgb[i % 3]) << "pixel " << i / 3;
}

INSTANTIATE_TEST_SUITE_P(Phases, CliBayer,
                         testing::Combine(testing::Values(BayerCase{"BayerRG8", 0, false},
                                                          BayerCase{"BayerGR8", 1, false},
                                                          BayerCase{"BayerGB8", 2, false},
                                                          BayerCase{"BayerBG8", 3, false},
                                                          BayerCase{"BayerRG12Packed", 0, true},
                                                          BayerCase{"BayerGB12Packed", 2, true}),
                                          testing::Values("nearest", "bilinear", "edge", "hq")),
                         [](const auto& i) {
                             return std::string(std::get<0>(i.param).format) + "_" +
                                    std::get<1>(i.param);
                         });

// ---- the demo

// The summary's rows: method, _, status, _, _, PSNR, _, file.
std::vector<std::vector<std::string>> readSummary(const std::string& csv) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream in(csv);
    std::string line, cell;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        std::istringstream cells(line);
        rows.emplace_back();
        while (std::getline(cells, cell, ',')) rows.back().push_back(cell);
        rows.back().resize(8);
    }
    return rows;
}

TEST_F(Cli, DemoWritesChartFrameSheetAndAResultPerMethod) {
    const Outcome o = ok("demo --size 64x48 --frames 1 -o demo");
    EXPECT_EQ(o.err, "");
    const tavcli::Raster chart = tavcli::readPng(path("demo/chart.png"));
    EXPECT_EQ(chart.width, 64);
    EXPECT_EQ(chart.height, 48);
    EXPECT_EQ(bytesOf("demo/frame-BayerRG12Packed.raw").size(), 64u * 48 * 3 / 2);
    EXPECT_TRUE(exists("demo/sheet.png"));
    const auto lines = readSummary(slurp(path("demo/summary.csv")));
    ASSERT_GE(lines.size(), 4u);
    const std::string methods[] = {"nearest", "bilinear", "edge", "hq"};
    for (int m = 0; m < 4; ++m) {
        EXPECT_EQ(lines[m][0], methods[m]);
        EXPECT_NE(o.out.find("  " + methods[m]), std::string::npos) << o.out;
        if (lines[m][2] == "ok") {
            const tavcli::Raster png = tavcli::readPng(path("demo/" + lines[m][7]));
            EXPECT_EQ(png.width, 64);
            EXPECT_EQ(png.height, 48);
        } else {
            EXPECT_EQ(lines[m][2], "unavailable");
            EXPECT_FALSE(exists("demo/" + methods[m] + ".png"));
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
    const Outcome p = ok("demo --input smooth.png --frames 1 -o picture");
    EXPECT_NE(p.out.find("40x28"), std::string::npos) << p.out;
    for (const auto& d : readSummary(slurp(path("picture/summary.csv")))) {
        EXPECT_TRUE(d[2] != "ok" || d[5] == "inf" || std::atof(d[5].c_str()) > 30.0) << d[0];
    }
}

TEST_F(Cli, FormatsListsCodesAndWhatEachBecomes) {
    const Outcome o = ok("formats");
    EXPECT_NE(o.out.find("0x010C002B  BayerRG12Packed"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("0x01080001  Mono8            any"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("into: Mono8 RGB8 BGR8"), std::string::npos) << o.out;
    EXPECT_EQ(o.out.find("error line"), std::string::npos) << "probing leaked diagnostics";
}

#if TAV_TOOL_BMP
TEST_F(Cli, BmpRowsArePaddedToFourBytes) {
    const Bytes raw = randomBytes(5 * 4, 9);  // 15-byte rows, padded to 16
    write("in.raw", raw);
    ok("demosaic --format Mono8 --width 5 --height 4 --output bmp -o o.bmp in.raw");
    const Bytes bmp = bytesOf("o.bmp");
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
    ok("convert in.png --to BGR8 -o out.raw");
    const Bytes bgr = bytesOf("out.raw");
    ASSERT_EQ(bgr.size(), rgb.data.size());
    for (size_t i = 0; i < bgr.size(); ++i) EXPECT_EQ(bgr[i], rgb.data[i / 3 * 3 + 2 - i % 3]);
}
#endif

#if TAV_TOOL_LSC
// A flat field gives unit gains: applying them leaves any frame as it was.
TEST_F(Cli, LscFromAFlatFieldChangesNothing) {
    write("flat.raw", Bytes(64 * 32, 100));
    const Bytes frame = randomBytes(64 * 32, 13);
    write("frame.raw", frame);
    ok("lsc estimate --format Mono8 --width 64 --height 32 --grey flat.raw -o k.lsc");
    ok("lsc apply --coefficients k.lsc --format Mono8 --width 64 --height 32 -o out.raw frame.raw");
    EXPECT_EQ(bytesOf("out.raw"), frame);
    const Outcome o =
        tav("lsc apply --coefficients k.lsc --format Mono8 --width 32 --height 64 -o bad.raw "
            "frame.raw");
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("holds coefficients for 64x32 frames, not 32x64"), std::string::npos)
        << o.err;
    EXPECT_FALSE(exists("bad.raw"));
}
#endif

}  // namespace
