#include "cli.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tav_api.h"

namespace tavcli {

Args::Args(const std::vector<std::string>& argv, const std::vector<std::string>& valued,
           const std::vector<std::string>& flags) {
    auto known = [](const std::vector<std::string>& list, const std::string& name) {
        return std::find(list.begin(), list.end(), name) != list.end();
    };
    // "-w 640 -h 480": short names of the size options, never help
    auto longName = [&](std::string name) {
        if (name == "w" && known(valued, "width")) return std::string("width");
        if (name == "h" && known(valued, "height")) return std::string("height");
        return name;
    };
    auto isOption = [](const std::string& a) { return a.size() >= 2 && a[0] == '-' && a != "--"; };
    // Help first, skipping option values, so that no other error hides it.
    for (size_t i = 0; i < argv.size(); ++i) {
        if (argv[i] == "--help" || argv[i] == "-?") throw HelpRequested{};
        const std::string name = longName(argv[i].substr(argv[i].rfind('-', 1) + 1));
        if (isOption(argv[i]) && known(valued, name)) ++i;
    }
    for (size_t i = 0; i < argv.size(); ++i) {
        const std::string& a = argv[i];
        if (!isOption(a)) {
            positional_.push_back(a);
            continue;
        }
        std::string name = a[1] == '-' ? a.substr(2) : a.substr(1);
        std::string value;
        bool inlineValue = false;
        const size_t eq = name.find('=');
        if (eq != std::string::npos) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
            inlineValue = true;
        }
        name = longName(name);
        if (known(flags, name) && !inlineValue) {
            flags_[name] = true;
        } else if (known(valued, name)) {
            if (!inlineValue) {
                if (i + 1 >= argv.size()) throw usageError("option " + a + " needs a value");
                value = argv[++i];
            }
            values_[name] = value;
        } else {
            throw usageError("unknown option " + a);
        }
    }
}

std::string Args::get(const std::string& name, const std::string& fallback) const {
    auto it = values_.find(name);
    return it == values_.end() ? fallback : it->second;
}

std::string Args::required(const std::string& name, const std::string& what) const {
    auto it = values_.find(name);
    if (it == values_.end()) throw usageError("needs " + what);
    return it->second;
}

int32_t Args::integer(const std::string& name, int32_t min, int32_t max, int32_t fallback) const {
    auto it = values_.find(name);
    if (it == values_.end()) return fallback;
    const std::string& text = it->second;
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno != 0 || v < min || v > max) {
        throw usageError("--" + name + " must be a whole number from " + std::to_string(min) +
                         " to " + std::to_string(max) + ", not '" + text + "'");
    }
    return static_cast<int32_t>(v);
}

void parseSize(const std::string& text, int32_t& width, int32_t& height) {
    unsigned w = 0, h = 0;
    char extra = 0;
    if (std::sscanf(text.c_str(), "%ux%u%c", &w, &h, &extra) != 2 || w < 4 || h < 4 || w > 32768 ||
        h > 32768) {
        throw usageError("size must look like 1920x1080 (4 to 32768 each), not '" + text + "'");
    }
    width = static_cast<int32_t>(w);
    height = static_cast<int32_t>(h);
}

std::vector<uint8_t> readFile(const std::string& path, uint64_t offset, uint64_t bytes) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) throw Failure("cannot read " + path + ": " + std::strerror(errno));
    std::vector<uint8_t> data;
    uint8_t chunk[1 << 16];
    size_t n = 0;
    if (offset && ::fseeko(f, off_t(offset), SEEK_SET) != 0) {
        std::fclose(f);
        throw Failure("cannot read " + path + ": " + std::strerror(errno));
    }
    if (bytes != UINT64_MAX) data.reserve(bytes);
    while (data.size() < bytes &&
           (n = std::fread(chunk, 1, std::min<uint64_t>(sizeof chunk, bytes - data.size()), f)) > 0)
        data.insert(data.end(), chunk, chunk + n);
    const bool bad = std::ferror(f) != 0;
    std::fclose(f);
    if (bad) throw Failure("cannot read " + path);
    return data;
}

uint64_t fileSize(const std::string& path) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        throw Failure("cannot read " + path + ": " + std::strerror(errno));
    }
    if (!S_ISREG(st.st_mode)) throw Failure("cannot read " + path + ": not a regular file");
    return uint64_t(st.st_size);
}

bool isDirectory(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void makeDirectories(const std::string& path) {
    std::string sofar;
    size_t pos = 0;
    while (pos != std::string::npos) {
        pos = path.find('/', pos + 1);
        sofar = path.substr(0, pos);
        if (sofar.empty() || isDirectory(sofar)) continue;
        if (::mkdir(sofar.c_str(), 0777) != 0 && errno != EEXIST) {
            throw Failure("cannot create folder " + sofar + ": " + std::strerror(errno));
        }
    }
    if (!isDirectory(path)) throw Failure(path + " exists and is not a folder");
}

std::string baseName(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string stem(const std::string& path) {
    const std::string base = baseName(path);
    const size_t dot = base.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? base : base.substr(0, dot);
}

std::string extension(const std::string& path) {
    const std::string base = baseName(path);
    const size_t dot = base.find_last_of('.');
    if (dot == std::string::npos || dot == 0) return "";
    std::string ext = base.substr(dot + 1);
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

std::string joinPath(const std::string& dir, const std::string& name) {
    if (dir.empty() || dir == ".") return name;
    return dir.back() == '/' ? dir + name : dir + "/" + name;
}

void checkOutputPath(const std::string& path) {
    if (path == "-") return;
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0) return;  // absent: created
    const char* kind = S_ISLNK(st.st_mode)                          ? "a symbolic link"
                       : S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode) ? "a device"
                       : S_ISFIFO(st.st_mode)                       ? "a FIFO"
                       : S_ISSOCK(st.st_mode)                       ? "a socket"
                       : S_ISDIR(st.st_mode)                        ? "a folder"
                                                                    : nullptr;
    if (kind) {
        throw Failure("will not replace " + path + ": it is " + kind +
                      " (tav replaces regular files only; -o - writes to standard output)");
    }
    // The mode bits too: root may write anything.
    if ((st.st_mode & 0222) == 0 || ::access(path.c_str(), W_OK) != 0) {
        throw Failure("will not replace " + path + ": it is read-only");
    }
}

OutputFile::OutputFile(const std::string& path) : path_(path) {
    if (path == "-") {
        stream_ = stdout;
        stdout_ = true;
        return;
    }
    checkOutputPath(path);
    // A replaced file keeps its mode; a new one gets the usual 0666 less umask.
    struct stat st;
    mode_t mode;
    if (::stat(path.c_str(), &st) == 0) {
        mode = st.st_mode & 07777;
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    const size_t slash = path.find_last_of('/');
    const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    std::string temp = dir + "." + baseName(path) + ".XXXXXX";
    std::vector<char> name(temp.begin(), temp.end());
    name.push_back('\0');
    const int fd = ::mkstemp(name.data());
    if (fd < 0) throw Failure("cannot write " + path + ": " + std::strerror(errno));
    temp_ = name.data();
    ::fchmod(fd, mode);
    stream_ = ::fdopen(fd, "wb");
    if (!stream_) {
        ::close(fd);
        ::unlink(temp_.c_str());
        throw Failure("cannot write " + path);
    }
}

OutputFile::~OutputFile() {
    if (stream_ && !stdout_) std::fclose(stream_);
    if (!temp_.empty()) ::unlink(temp_.c_str());
}

void OutputFile::write(const void* data, size_t bytes) {
    if (bytes != 0 && std::fwrite(data, 1, bytes, stream_) != bytes) {
        throw Failure("cannot write " + path_ + ": " + std::strerror(errno));
    }
}

void OutputFile::commit() {
    if (stdout_) {
        if (std::fflush(stdout) != 0) throw Failure("cannot write to standard output");
        return;
    }
    const int closed = std::fclose(stream_);
    stream_ = nullptr;
    if (closed != 0) throw Failure("cannot write " + path_ + ": " + std::strerror(errno));
    // The check again, just before the rename: the name may have changed hands.
    checkOutputPath(path_);
    if (std::rename(temp_.c_str(), path_.c_str()) != 0) {
        throw Failure("cannot write " + path_ + ": " + std::strerror(errno));
    }
    temp_.clear();
}

void writeWholeFile(const std::string& path, const void* data, size_t bytes) {
    OutputFile out(path);
    out.write(data, bytes);
    out.commit();
}

uint32_t parseMethod(const std::string& text) {
    if (text == "nearest" || text == "0") return TAV_METHOD_NEAREST;
    if (text == "bilinear" || text == "1") return TAV_METHOD_BILINEAR;
    if (text == "edge" || text == "2") return TAV_METHOD_EDGE;
    if (text == "hq" || text == "3") return TAV_METHOD_HQ;
    throw usageError("unknown method '" + text + "' (nearest, bilinear, edge or hq)");
}

const char* methodName(uint32_t method) {
    switch (method) {
        case TAV_METHOD_NEAREST:
            return "nearest";
        case TAV_METHOD_BILINEAR:
            return "bilinear";
        case TAV_METHOD_EDGE:
            return "edge";
        case TAV_METHOD_HQ:
            return "hq";
    }
    return "?";
}

}  // namespace tavcli
