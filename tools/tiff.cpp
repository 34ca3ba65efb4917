#include "tiff.h"

#include "cli.h"

namespace tavcli {
namespace {

// Byte order of the file, and bounds-checked reads.
struct Reader {
    const std::vector<uint8_t>& file;
    bool big;

    uint32_t u16(size_t at) const {
        check(at, 2);
        const uint32_t a = file[at], b = file[at + 1];
        return big ? a << 8 | b : b << 8 | a;
    }
    uint32_t u32(size_t at) const {
        check(at, 4);
        const uint32_t lo = u16(at), hi = u16(at + 2);
        return big ? lo << 16 | hi : hi << 16 | lo;
    }
    void check(size_t at, size_t n) const {
        if (at > file.size() || file.size() - at < n) throw Failure("truncated TIFF file");
    }
};

// One directory entry: a tag whose values are SHORT or LONG.
struct Entry {
    uint32_t tag = 0, type = 0, count = 0;
    size_t at = 0;  // where the values are

    uint32_t value(const Reader& r, uint32_t i) const {
        if (i >= count) throw Failure("TIFF tag " + std::to_string(tag) + " has too few values");
        if (type == 3) return r.u16(at + 2 * size_t(i));
        if (type == 4) return r.u32(at + 4 * size_t(i));
        throw Failure("TIFF tag " + std::to_string(tag) + " is not SHORT or LONG");
    }
};

}  // namespace

bool looksLikeTiff(const std::vector<uint8_t>& file) {
    return file.size() >= 8 &&
           ((file[0] == 'I' && file[1] == 'I' && file[2] == 42 && file[3] == 0) ||
            (file[0] == 'M' && file[1] == 'M' && file[2] == 0 && file[3] == 42));
}

Raster readTiff(const std::string& path) {
    const std::vector<uint8_t> file = readFile(path);
    if (!looksLikeTiff(file)) throw Failure(path + ": not a TIFF file");
    const Reader r{file, file[0] == 'M'};
    const size_t dir = r.u32(4);
    const uint32_t n = r.u16(dir);
    Entry tags[8];  // width, height, bits, compression, photometric, offsets, samples, counts
    const uint32_t wanted[8] = {256, 257, 258, 259, 262, 273, 277, 279};
    for (uint32_t i = 0; i < n; ++i) {
        const size_t at = dir + 2 + 12 * size_t(i);
        Entry e{r.u16(at), r.u16(at + 2), r.u32(at + 4), at + 8};
        const size_t size = e.type == 3 ? 2 : e.type == 4 ? 4 : 1;
        if (size * e.count > 4) e.at = r.u32(at + 8);
        for (int k = 0; k < 8; ++k) {
            if (e.tag == wanted[k]) tags[k] = e;
        }
        if (e.tag == 284 && e.value(r, 0) != 1) throw Failure(path + ": planar TIFF");
    }
    for (const Entry& e : {tags[0], tags[1], tags[5]}) {
        if (e.count == 0) throw Failure(path + ": TIFF without size or strips");
    }
    const uint32_t samples = tags[6].count ? tags[6].value(r, 0) : 1;
    const uint32_t photometric = tags[4].count ? tags[4].value(r, 0) : 1;
    if (tags[3].count && tags[3].value(r, 0) != 1) throw Failure(path + ": compressed TIFF");
    for (uint32_t s = 0; s < samples; ++s) {
        if (tags[2].count && tags[2].value(r, tags[2].count > s ? s : 0) != 8) {
            throw Failure(path + ": TIFF samples are not 8-bit");
        }
    }
    const bool grey = photometric <= 1;
    if ((grey && samples < 1) || (!grey && (photometric != 2 || samples < 3))) {
        throw Failure(path + ": TIFF is neither grey nor RGB");
    }

    Raster out;
    out.width = static_cast<int32_t>(tags[0].value(r, 0));
    out.height = static_cast<int32_t>(tags[1].value(r, 0));
    out.channels = grey ? 1 : 3;
    if (out.width <= 0 || out.height <= 0) throw Failure(path + ": empty TIFF");
    const size_t pixels = size_t(out.width) * size_t(out.height);
    std::vector<uint8_t> chunky;
    chunky.reserve(pixels * samples);
    for (uint32_t s = 0; s < tags[5].count && chunky.size() < pixels * samples; ++s) {
        const size_t offset = tags[5].value(r, s);
        const size_t bytes = tags[7].count ? tags[7].value(r, s) : pixels * samples - chunky.size();
        r.check(offset, bytes);
        chunky.insert(chunky.end(), file.begin() + offset, file.begin() + offset + bytes);
    }
    if (chunky.size() < pixels * samples) throw Failure(path + ": TIFF strips too short");
    out.data.resize(pixels * out.channels);
    for (size_t i = 0; i < pixels; ++i) {
        for (int c = 0; c < out.channels; ++c) {
            const uint8_t v = chunky[i * samples + c];
            out.data[i * out.channels + c] = photometric == 0 ? uint8_t(255 - v) : v;
        }
    }
    return out;
}

}  // namespace tavcli
