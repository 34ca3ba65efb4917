// Plumbing shared by the tav subcommands: errors, arguments, files, and the
// library's diagnostics.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavcli {

// Every failure the program reports: one line, no trailing newline. `usage`
// failures exit with 2, the others with 1.
struct Failure : std::runtime_error {
    bool usage;
    explicit Failure(const std::string& message, bool usage = false)
        : std::runtime_error(message), usage(usage) {}
};
inline Failure usageError(const std::string& message) {
    return Failure(message, true);
}

// Thrown by Args for --help or -? where an option may stand.
struct HelpRequested {};

// Parsed command line of one subcommand: `--name value`, `--name=value`,
// `-o value`, flags, and positional arguments. `-w` and `-h` stand for
// --width and --height where the command has them; --help or -? throws
// HelpRequested.
class Args {
  public:
    // `valued` and `flags` are the option names (without dashes) the command knows.
    Args(const std::vector<std::string>& argv, const std::vector<std::string>& valued,
         const std::vector<std::string>& flags = {});
    bool has(const std::string& name) const { return values_.count(name) != 0; }
    bool flag(const std::string& name) const { return flags_.count(name) != 0; }
    std::string get(const std::string& name, const std::string& fallback = "") const;
    // The value, or a usage error "needs <what>".
    std::string required(const std::string& name, const std::string& what) const;
    // A whole number in [min, max]; fails naming the option.
    int32_t integer(const std::string& name, int32_t min, int32_t max, int32_t fallback) const;
    const std::vector<std::string>& positional() const { return positional_; }

  private:
    std::map<std::string, std::string> values_;
    std::map<std::string, bool> flags_;
    std::vector<std::string> positional_;
};

// Parses "1920x1080".
void parseSize(const std::string& text, int32_t& width, int32_t& height);

// The whole file, or `bytes` of it from `offset` (fewer where it ends).
std::vector<uint8_t> readFile(const std::string& path, uint64_t offset = 0,
                              uint64_t bytes = UINT64_MAX);
// Size of a regular file; fails naming the problem.
uint64_t fileSize(const std::string& path);
bool isDirectory(const std::string& path);
void makeDirectories(const std::string& path);
std::string baseName(const std::string& path);   // "dir/a.raw" -> "a.raw"
std::string stem(const std::string& path);       // "dir/a.raw" -> "a"
std::string extension(const std::string& path);  // "dir/a.RAW" -> "raw"
std::string joinPath(const std::string& dir, const std::string& name);

// Refuses (Failure) an output path that is not absent or a regular file this
// user may write: devices, FIFOs, symbolic links, folders, read-only files.
void checkOutputPath(const std::string& path);

// An output file that appears under its name only when complete: it is written
// to a hidden temporary beside the target and renamed by commit(); destroyed
// without commit (an error, an exception) it is removed. "-" writes to
// standard output.
class OutputFile {
  public:
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    FILE* stream() { return stream_; }
    void write(const void* data, size_t bytes);
    void commit();

  private:
    std::string path_, temp_;
    FILE* stream_ = nullptr;
    bool stdout_ = false;
};

void writeWholeFile(const std::string& path, const void* data, size_t bytes);

// "nearest", "bilinear", "edge", "hq" (or 0, 1, 2, 3) to the method number.
uint32_t parseMethod(const std::string& text);
const char* methodName(uint32_t method);

}  // namespace tavcli
