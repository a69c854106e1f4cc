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

// Grows under another name in the same folder, which is removed if it isn't kept, also by the signals that end a
// program from outside. Devices and pipes are written to as they stand. One at a time.
class OutputFile {
  public:
    // Refuses a folder, and a file that exists unless it may be replaced; then its mode stays.
    OutputFile(const std::string &path, bool may_replace);
    OutputFile(const OutputFile &) = delete;
    ~OutputFile();

    void write(std::span<const uint8_t> bytes);
    // Nothing may be written any more.
    void keep();

  private:
    void open_unfinished(unsigned mode);

    std::string path_;
    const bool may_replace_;
    bool is_direct_ = false;  // written to as it stands
    int file_ = -1;
};

}  // namespace qvk
