// The tav program end to end: it is run as a user runs it, on small files in
// a scratch folder, and its files, messages and exit codes are checked.
#include <sys/stat.h>
#include <sys/types.h>
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
#include "tav_api.h"

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
    // temporary would show up here), with type, mode and size (so would a
    // replaced link, FIFO or read-only file).
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(dir_)) {
            struct stat st;
            ::lstat(e.path().c_str(), &st);
            names.push_back(e.path().filename().string() + " " + std::to_string(st.st_mode) + " " +
                            std::to_string(S_ISREG(st.st_mode) ? st.st_size : 0));
        }
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
    // -o -: the picture on standard output, the summary on standard error
    const Outcome piped = ok("demosaic --format Mono8 -w 37 -h 23 --target Mono8 -o - in.raw");
    EXPECT_EQ(piped.out, slurp(path("grey.png")));
    EXPECT_NE(piped.err.find("wrote standard output"), std::string::npos) << piped.err;
    // help only for --help or -?, wherever it stands
    EXPECT_NE(ok("demosaic -w 37 -?").out.find("tav demosaic --format FMT"), std::string::npos);
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
    ok("demosaic --format Mono12 --width 21 --height 6 --output png16 -o d.png in.raw");
    ok("convert d.png -o back16.raw");
    EXPECT_EQ(bytesOf("back16.raw"), raw);
}

TEST_F(Cli, PackedAndPaddedSourcesReadTheRightBytes) {
    // Mono12Packed: two pixels in three bytes; the high bytes are the 8-bit result.
    const Bytes packed = randomBytes(6 * 4 / 2 * 3, 4);
    write("packed.raw", packed);
    ok("demosaic --format Mono12Packed --width 6 --height 4 --target Mono8 -o p.raw packed.raw");
    const Bytes out = bytesOf("p.raw");
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
    ok("demosaic --format Mono8 --width 4 --height 6 --pitch 5 --target BGRa8 -o bgra.raw "
       "padded.raw");
    const Bytes bgra = bytesOf("bgra.raw");
    ASSERT_EQ(bgra.size(), compact.size() * 4);
    for (size_t i = 0; i < compact.size(); ++i) {
        EXPECT_EQ(bgra[4 * i], compact[i]);
        EXPECT_EQ(bgra[4 * i + 3], 255) << "alpha";
    }
}

TEST_F(Cli, ManyFramesGoIntoAFolderAndOneBadFrameFailsAlone) {
    for (int i = 0; i < 3; ++i) write("f" + std::to_string(i) + ".raw", randomBytes(8 * 8, 10 + i));
    write("short.raw", randomBytes(8 * 8 - 1, 20));
    ASSERT_EQ(::mkdir(path("out").c_str(), 0755), 0);
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
    // outputs that must never be replaced
    ASSERT_EQ(::mkdir(path("taken.png").c_str(), 0755), 0);
    ASSERT_EQ(::mkfifo(path("fifo.png").c_str(), 0644), 0);
    ASSERT_EQ(::symlink("in.raw", path("link.png").c_str()), 0);
    write("ro.png", {1, 2, 3});
    ASSERT_EQ(::chmod(path("ro.png").c_str(), 0444), 0);
    const std::vector<std::string> before = files();
    const ErrorCase& c = GetParam();
    const Outcome o = tav(c.args);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(lineCount(o.err), 1) << o.err;
    EXPECT_NE(o.err.find(c.message), std::string::npos) << o.err;
    EXPECT_EQ(files(), before) << "an output or a temporary file was left behind or replaced";
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
     "in.raw has 256 bytes, but a 16x17 Mono8 frame needs 272"},
    {"PackedTooShort", FRAME16 "--format RGGB12Packed -o x.png in.raw", 1, "needs 384"},
    {"NotWholeFrames", "demosaic --format Mono8 -w 8 -h 24 -o x.png in.raw", 1,
     "not a whole number of 8x24 Mono8 frames of 192 bytes (64 left over)"},
    {"SeveralFrames", "demosaic --format Mono8 -w 16 -h 8 -o x.png in.raw", 2,
     "in.raw holds 2 frames of 128 bytes: pick one with --frame N (0 to 1) or take all with --all"},
    {"NoSuchFrame", "demosaic --format Mono8 -w 16 -h 8 --frame 2 -o x.png in.raw", 2,
     "--frame 2: in.raw holds 2 frames (0 to 1)"},
    {"OneNameSeveralFrames", "demosaic --format Mono8 -w 16 -h 8 --all -o x.png in.raw", 2,
     "-o x.png names one file, but there are 2 frames to write"},
    {"SameOutputTwice", FRAME16 "--format Mono8 in.raw ./in.raw", 2,
     "would both be written to ./in.png; nothing written"},
    {"PitchTooShort", "demosaic --format Mono8 --width 16 --height 8 --pitch 15 -o x.png in.raw", 2,
     "--pitch 15 is shorter than a row"},
    {"UnknownExtension", FRAME16 "--format Mono8 -o x.jpg in.raw", 2,
     "cannot tell the file type of x.jpg (.jpg)"},
    {"OutputDisagrees", FRAME16 "--format Mono8 --output ppm -o x.png in.raw", 2,
     "--output ppm does not match the name x.png"},
    {"Fifo", FRAME16 "--format Mono8 -o fifo.png in.raw", 1, "fifo.png: it is a FIFO"},
    {"Symlink", FRAME16 "--format Mono8 -o link.png in.raw", 1, "link.png: it is a symbolic link"},
    {"Device", FRAME16 "--format Mono8 -o /dev/null in.raw", 1, "/dev/null: it is a device"},
    {"ReadOnly", FRAME16 "--format Mono8 -o ro.png in.raw", 1, "ro.png: it is read-only"},
    {"Folder", "convert --format Mono8 --width 8 --height 32 -o taken.png in.raw", 1,
     "taken.png: it is a folder"},
    {"BmpOfMono", FRAME16 "--format Mono8 --target Mono8 -o x.bmp in.raw", 2,
     "a BMP takes BGR8, not Mono8"},
    {"DeepPngOf8Bit", FRAME16 "--format BayerRG8 --output png16 -o x.png in.raw", 2,
     "full depth needs a 10- to 16-bit source; BayerRG8 has 8 bits"},
    {"RawToYuv", FRAME16 "--format Mono8 --target YUV422_8 -o x.raw in.raw", 2,
     "tav demosaic does not write YUV422_8"},
    {"UnknownMethod", FRAME16 "--format Mono8 --method cubic in.raw", 2, "unknown method 'cubic'"},
    {"MissingHeight", "demosaic --format Mono8 --width 16 in.raw", 2, "needs the frame size"},
    // -h after -w is the height, not help
    {"BadNumber", "demosaic --format Mono8 -w 16 -h 16x in.raw", 2,
     "--height must be a whole number"},
    {"UnknownOption", "demosaic --colour in.raw", 2, "unknown option --colour"},
    {"MissingFile", "demosaic --format Mono8 --width 4 --height 4 -o x.png nothere.raw", 1,
     "cannot read nothere.raw"},
    // the library's reason, in its words
    {"LibraryRefusal", "demosaic --format BayerRG8 -w 15 -h 16 --stride 16 -o x.png in.raw", 2,
     "width must be even"},
    {"NotAPng", FRAME16 "--format Mono8 -o x.png in.raw --target RGBa8", 2,
     "a PNG takes RGB8, Mono8, not RGBa8"},
    {"PngCannotHoldYuv",
     "convert --format Mono8 --width 16 --height 16 --to YUV422_8 -o x.png in.raw", 2,
     "a .png file cannot hold YUV422_8"},
    {"FolderMissing", FRAME16 "--format Mono8 -o none/x.png in.raw", 1, "cannot write none/x.png"},
    {"UnknownCommand", "develop in.raw", 2, "unknown command 'develop'"},
    {"DemoOddSize", "demo --size 63x48 -o d", 2, "--size must be even"},
    {"DemoBadSize", "demo --size big -o d", 2, "size must look like 1920x1080"},
    {"DemoTooSmall", "demo --size 4x4 -o d", 2, "the chart needs at least 32x32 pixels"},
    {"BrokenPng", "convert bad.png -o out.raw", 1, "cannot read PNG bad.png"},
    {"ConversionRefused", "convert --format Mono8 --width 8 --height 32 --to RGB8 -o o.raw in.raw",
     2, "cannot be converted to this destination format (Mono8 to RGB8, 8x32)"},
};
#undef FRAME16

INSTANTIATE_TEST_SUITE_P(Cases, CliErrors, testing::ValuesIn(kErrors),
                         [](const testing::TestParamInfo<ErrorCase>& i) { return i.param.name; });

// ---- Bayer paths. A flat field is flat after any correct demosaicing,
// whatever the phase; a swapped channel or a clamped column shows at once.

enum class Store { Bytes8, Packed12, Stream12p, Words12, Words16 };

struct BayerCase {
    const char* format;  // names and aliases as cameras print them
    int phase;           // index of the red site in the 2x2 cell: 0 RG, 1 GR, 2 GB, 3 BG
    Store store;
    bool deep;  // --output png16, read back by tav convert
};

// 12-bit samples as a PFNC "p" bit stream: lowest bit first.
Bytes stream12(const std::vector<uint16_t>& s) {
    Bytes b;
    for (size_t i = 0; i < s.size(); i += 2) {
        b.push_back(uint8_t(s[i]));
        b.push_back(uint8_t(s[i] >> 8 | (s[i + 1] & 0xF) << 4));
        b.push_back(uint8_t(s[i + 1] >> 4));
    }
    return b;
}

class CliBayer : public Cli,
                 public testing::WithParamInterface<std::tuple<BayerCase, const char*>> {};

TEST_P(CliBayer, FlatFieldStaysFlat) {
    const BayerCase& c = std::get<0>(GetParam());
    const std::string method = std::get<1>(GetParam());
    const uint8_t rgb[3] = {200, 100, 50};
    // samples of `bits` bits whose top 8 are the colour
    const int bits = c.store == Store::Bytes8 ? 8 : c.store == Store::Words16 ? 16 : 12;
    std::vector<uint16_t> mosaic(32 * 24);
    for (size_t i = 0; i < mosaic.size(); ++i) {
        const int site = (i / 32 & 1) * 2 + (i & 1);
        const int v = site == c.phase ? rgb[0] : site == 3 - c.phase ? rgb[2] : rgb[1];
        mosaic[i] = uint16_t(v << (bits - 8) | (bits > 8 ? 0x9 : 0));
    }
    Bytes words(2 * mosaic.size());
    std::memcpy(words.data(), mosaic.data(), words.size());
    write("in.raw", c.store == Store::Packed12    ? tavcli::pack12(mosaic)
                    : c.store == Store::Stream12p ? stream12(mosaic)
                    : c.store == Store::Bytes8    ? Bytes(mosaic.begin(), mosaic.end())
                                                  : words);
    const Outcome o =
        tav(std::string("demosaic --format ") + c.format + " -w 32 -h 24 --method " + method +
            (c.deep ? " -o out.png --output png16" : " -o out.ppm") + " in.raw");
    if (c.deep && method == "nearest") {
        EXPECT_EQ(o.status, 2);
        EXPECT_NE(o.err.find("nearest has no full-depth form"), std::string::npos) << o.err;
        return;
    }
    ASSERT_EQ(o.status, 0) << o.err;
    if (!c.deep) {
        const std::string ppm = slurp(path("out.ppm")), header = "P6\n32 24\n255\n";
        ASSERT_EQ(ppm.size(), header.size() + 32 * 24 * 3);
        for (int i = 0; i < 32 * 24 * 3; ++i)
            ASSERT_EQ(uint8_t(ppm[header.size() + i]), rgb[i % 3]) << "pixel " << i / 3;
        return;
    }
    // tav reads back the 16-bit colour PNG it wrote: RGB words of the source depth
    ok("convert out.png -o back.raw");
    const Bytes back = bytesOf("back.raw");
    ASSERT_EQ(back.size(), 32u * 24 * 6);
    for (size_t i = 0; i < back.size() / 2; ++i) {
        const int v = back[2 * i] | back[2 * i + 1] << 8;
        ASSERT_EQ(v, rgb[i % 3] << (bits - 8) | 0x9) << "pixel " << i / 3;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Phases, CliBayer,
    testing::Combine(testing::Values(BayerCase{"BayerRG8", 0, Store::Bytes8, false},
                                     BayerCase{"GRBG8", 1, Store::Bytes8, false},
                                     BayerCase{"BayerGB8", 2, Store::Bytes8, false},
                                     BayerCase{"BayerBG8", 3, Store::Bytes8, false},
                                     BayerCase{"BayerRG12Packed", 0, Store::Packed12, false},
                                     BayerCase{"BayerGB12p", 2, Store::Stream12p, false},
                                     BayerCase{"BayerBG12", 3, Store::Words12, true},
                                     BayerCase{"BGGR12Packed", 3, Store::Packed12, true},
                                     BayerCase{"BayerGR16", 1, Store::Words16, true},
                                     BayerCase{"RGGB12p", 0, Store::Stream12p, true}),
                     testing::Values("nearest", "bilinear", "edge", "hq")),
    [](const auto& i) {
        return std::string(std::get<0>(i.param).format) +
               (std::get<0>(i.param).deep ? "_png16_" : "_") + std::get<1>(i.param);
    });

// ---- camera dumps: header, several frames, top-aligned or big-endian words

struct DumpCase {
    const char* name;
    const char* flag;
    uint16_t (*store)(uint16_t);  // how the camera wrote a 12-bit sample
};

class CliDump : public Cli, public testing::WithParamInterface<DumpCase> {};

TEST_P(CliDump, FlagReadsWhatTheWarningNames) {
    const DumpCase& c = GetParam();
    std::vector<uint16_t> samples(3 * 8 * 6);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = uint16_t((i * 397 + 3001) % 4096);
    Bytes dump(16, 0xAB);  // a header
    for (uint16_t s : samples) {
        const uint16_t w = c.store(s);
        dump.push_back(uint8_t(w));
        dump.push_back(uint8_t(w >> 8));
    }
    write("dump.raw", dump);
    const std::string frame = "demosaic --format Mono12 -w 8 -h 6 --offset 16 --target Mono12 ";
    const Outcome plain = ok(frame + "--frame 1 -o plain.raw dump.raw");
    EXPECT_NE(plain.err.find(std::string(" (") + c.flag + " reads it)\n"), std::string::npos)
        << plain.err;
    const Outcome fixed = ok(frame + "--all --output raw " + c.flag + " -o . dump.raw");
    EXPECT_EQ(fixed.err, "");
    for (int f = 0; f < 3; ++f) {
        const Bytes out = bytesOf("dump-" + std::to_string(f) + ".Mono12.raw");
        ASSERT_EQ(out.size(), 2u * 8 * 6);
        for (int i = 0; i < 8 * 6; ++i)
            ASSERT_EQ(out[2 * i] | out[2 * i + 1] << 8, samples[f * 48 + i]) << f << " " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Stores, CliDump,
    testing::Values(DumpCase{"TopBits", "--msb", [](uint16_t s) { return uint16_t(s << 4); }},
                    DumpCase{"BigEndian", "--big-endian",
                             [](uint16_t s) { return uint16_t(s << 8 | s >> 8); }}),
    [](const auto& i) { return std::string(i.param.name); });

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
            ADD_FAILURE() << methods[m] << " skipped";
        }
    }
    EXPECT_NE(o.out.find("PSNR   bars  edges   text   zone"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("zone plate: "), std::string::npos) << o.out;
    // every phase and depth: the four phases of a row agree (a swap costs 10 dB)
    std::istringstream grid(o.out.substr(o.out.find("every phase and depth")));
    std::string line;
    std::getline(grid, line);
    std::getline(grid, line);
    int rows = 0;
    while (std::getline(grid, line) && !line.empty()) {
        std::istringstream cells(line.substr(40));
        double db[4];
        ASSERT_TRUE(cells >> db[0] >> db[1] >> db[2] >> db[3]) << line;
        EXPECT_LT(*std::max_element(db, db + 4) - *std::min_element(db, db + 4), 3.0) << line;
        ++rows;
    }
    EXPECT_EQ(rows, 14);
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
    for (const char* line :
         {"0x010C002B  BayerRG12Packed  nearest bilinear edge hq, full depth",
          "0x01080001  Mono8            any", "into (8 bits): Mono8 RGB8 BGR8",
          "0x010C0059  BayerRG12p", "UYVY     = YUV422_8_UYVY", "NV12     = YUV420SP_NV12"}) {
        EXPECT_NE(o.out.find(line), std::string::npos) << line << "\n" << o.out;
    }
}

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

TEST_F(Cli, RgbPngBecomesBgrRawThroughTheLibrary) {
    tavcli::Raster rgb = tavcli::makeRgbRaster(7, 3);
    rgb.data = randomBytes(7 * 3 * 3, 12);
    tavcli::writePng(path("in.png"), rgb);
    ok("convert in.png --to BGR8 -o out.raw");
    const Bytes bgr = bytesOf("out.raw");
    ASSERT_EQ(bgr.size(), rgb.data.size());
    for (size_t i = 0; i < bgr.size(); ++i) EXPECT_EQ(bgr[i], rgb.data[i / 3 * 3 + 2 - i % 3]);
}

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
    EXPECT_NE(o.err.find("holds a table for 64x32 frames, not 32x64"), std::string::npos) << o.err;
    EXPECT_FALSE(exists("bad.raw"));
}

}  // namespace
