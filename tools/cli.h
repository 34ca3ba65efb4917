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

// "TAV_E_PARAMETER (-107)" for a library result code.
std::string resultName(int32_t code);

// Parsed command line of one subcommand: `--name value`, `--name=value`,
// `-o value`, flags, and positional arguments.
class Args {
  public:
    // `valued` and `flags` are the option names (without dashes) the command knows.
    Args(const std::vector<std::string>& argv, const std::vector<std::string>& valued,
         const std::vector<std::string>& flags = {});
    bool has(const std::string& name) const { return values_.count(name) != 0; }
    bool flag(const std::string& name) const { return flags_.count(name) != 0; }
    std::string get(const std::string& name, const std::string& fallback = "") const;
    std::string required(const std::string& name) const;
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

std::vector<uint8_t> readFile(const std::string& path);
bool isDirectory(const std::string& path);
void makeDirectories(const std::string& path);
std::string baseName(const std::string& path);   // "dir/a.raw" -> "a.raw"
std::string stem(const std::string& path);       // "dir/a.raw" -> "a"
std::string extension(const std::string& path);  // "dir/a.RAW" -> "raw"
std::string joinPath(const std::string& dir, const std::string& name);

// An output file that appears under its name only when complete: it is written
// to a hidden temporary beside the target and renamed by commit(); destroyed
// without commit (an error, an exception) it is removed.
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
};

void writeWholeFile(const std::string& path, const void* data, size_t bytes);

// The library prints "error line = [N]" to standard output, without a newline,
// before an error return. Held around library calls, this catches that text so
// that it ends up in the program's own one-line message instead of running
// into the next line of output.
class LibraryDiagnostics {
  public:
    LibraryDiagnostics();
    ~LibraryDiagnostics();
    LibraryDiagnostics(const LibraryDiagnostics&) = delete;
    LibraryDiagnostics& operator=(const LibraryDiagnostics&) = delete;
    // Stops capturing; returns what the library printed since construction.
    std::string finish();

  private:
    int saved_ = -1;
    FILE* temp_ = nullptr;
    std::string text_;
};

// "TAV_E_IMAGE_SIZE (-104), library said: error line = [96]".
std::string describeFailure(int32_t code, const std::string& printed);

}  // namespace tavcli
