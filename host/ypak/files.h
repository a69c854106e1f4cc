// files.h: reading a file whole, and writing one so that it's either there in full or not at all. "-" is standard input
// or output. Errors are std::runtime_error and name the file.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace qvk {

inline constexpr const char *kStandardStream = "-";

struct FileError : std::runtime_error {
    FileError(const std::string &path, const std::string &reason) : std::runtime_error(path + ": " + reason) {}
};

// Refuses files of more than so many bytes.
std::vector<uint8_t> read_file(const std::string &path, uint64_t most_bytes);

// Grows under another name in the same folder, which is removed if it isn't kept, also by SIGINT, SIGTERM and SIGHUP.
// One at a time.
class OutputFile {
  public:
    // Refuses what exists, unless it is a file that may be replaced.
    OutputFile(const std::string &path, bool may_replace);
    OutputFile(const OutputFile &) = delete;
    ~OutputFile();

    void write(std::span<const uint8_t> bytes);
    // Nothing may be written any more.
    void keep();

  private:
    void close_file();

    const std::string path_;
    int file_ = -1;
};

}  // namespace qvk
