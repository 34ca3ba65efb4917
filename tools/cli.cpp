#include "cli.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tav.h"

namespace tavcli {

std::string resultName(int32_t code) {
    static const std::pair<int32_t, const char*> kNames[] = {
        {TAV_OK, "TAV_OK"},
        {TAV_E_LSC_ESTIMATE, "TAV_E_LSC_ESTIMATE"},
        {TAV_E_PIXEL_FORMAT, "TAV_E_PIXEL_FORMAT"},
        {TAV_E_FORMAT_SIZE, "TAV_E_FORMAT_SIZE"},
        {TAV_E_IMAGE_SIZE, "TAV_E_IMAGE_SIZE"},
        {TAV_E_PARAMETER, "TAV_E_PARAMETER"},
        {TAV_E_NULL_POINTER, "TAV_E_NULL_POINTER"},
        {TAV_E_NO_MEMORY, "TAV_E_NO_MEMORY"},
    };
    for (const auto& n : kNames) {
        if (n.first == code) return std::string(n.second) + " (" + std::to_string(code) + ")";
    }
    return "unknown result " + std::to_string(code);
}

Args::Args(const std::vector<std::string>& argv, const std::vector<std::string>& valued,
           const std::vector<std::string>& flags) {
    auto known = [](const std::vector<std::string>& list, const std::string& name) {
        return std::find(list.begin(), list.end(), name) != list.end();
    };
    for (size_t i = 0; i < argv.size(); ++i) {
        const std::string& a = argv[i];
        if (a.size() < 2 || a[0] != '-' || a == "--") {
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

std::string Args::required(const std::string& name) const {
    auto it = values_.find(name);
    if (it == values_.end()) throw usageError("missing --" + name);
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

std::vector<uint8_t> readFile(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) throw Failure("cannot read " + path + ": " + std::strerror(errno));
    std::vector<uint8_t> data;
    uint8_t chunk[1 << 16];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        data.insert(data.end(), chunk, chunk + n);
    const bool bad = std::ferror(f) != 0;
    std::fclose(f);
    if (bad) throw Failure("cannot read " + path);
    return data;
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

OutputFile::OutputFile(const std::string& path) : path_(path) {
    const size_t slash = path.find_last_of('/');
    const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    std::string temp = dir + "." + baseName(path) + ".XXXXXX";
    std::vector<char> name(temp.begin(), temp.end());
    name.push_back('\0');
    const int fd = ::mkstemp(name.data());
    if (fd < 0) throw Failure("cannot write " + path + ": " + std::strerror(errno));
    temp_ = name.data();
    ::fchmod(fd, 0644);
    stream_ = ::fdopen(fd, "wb");
    if (!stream_) {
        ::close(fd);
        ::unlink(temp_.c_str());
        throw Failure("cannot write " + path);
    }
}

OutputFile::~OutputFile() {
    if (stream_) std::fclose(stream_);
    if (!temp_.empty()) ::unlink(temp_.c_str());
}

void OutputFile::write(const void* data, size_t bytes) {
    if (bytes != 0 && std::fwrite(data, 1, bytes, stream_) != bytes) {
        throw Failure("cannot write " + path_ + ": " + std::strerror(errno));
    }
}

void OutputFile::commit() {
    const int closed = std::fclose(stream_);
    stream_ = nullptr;
    if (closed != 0) throw Failure("cannot write " + path_ + ": " + std::strerror(errno));
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

LibraryDiagnostics::LibraryDiagnostics() {
    std::fflush(stdout);
    temp_ = std::tmpfile();
    if (!temp_) return;  // nothing caught then; the text goes to standard output
    saved_ = ::dup(STDOUT_FILENO);
    if (saved_ < 0 || ::dup2(::fileno(temp_), STDOUT_FILENO) < 0) {
        if (saved_ >= 0) ::close(saved_);
        saved_ = -1;
        std::fclose(temp_);
        temp_ = nullptr;
    }
}

std::string LibraryDiagnostics::finish() {
    if (!temp_) return text_;
    std::fflush(stdout);
    ::dup2(saved_, STDOUT_FILENO);
    ::close(saved_);
    std::rewind(temp_);
    char buf[256];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, temp_)) > 0) text_.append(buf, n);
    std::fclose(temp_);
    temp_ = nullptr;
    return text_;
}

LibraryDiagnostics::~LibraryDiagnostics() {
    finish();
}

std::string describeFailure(int32_t code, const std::string& printed) {
    std::string s = resultName(code);
    if (!printed.empty()) s += ", library said: " + printed;
    return s;
}

}  // namespace tavcli
