// Files by system calls, for their exact errors.
#include "files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace qvk {
namespace {

constexpr uint64_t kStepBytes = 1 << 20;

[[noreturn]] void fail(const std::string &path, int error) { throw FileError(path, std::strerror(error)); }

[[noreturn]] void fail_for_existing(const std::string &path) { throw FileError(path, "exists; --force replaces it"); }

// The unfinished file, for the handler; empty: there is none.
char unfinished_path[4096];

// Calls nothing that isn't safe in a handler.
void remove_unfinished(int signal_number) {
    if (unfinished_path[0] != '\0') {
        unlink(unfinished_path);
    }
    signal(signal_number, SIG_DFL);
    raise(signal_number);
}

// Signals that were ignored when the program began stay so.
void handle_signals() {
    for (const int signal_number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        struct sigaction inherited {};
        sigaction(signal_number, nullptr, &inherited);
        if (inherited.sa_handler != SIG_IGN) {
            signal(signal_number, remove_unfinished);
        }
    }
    for (const int becomes_an_error_of_write : {SIGPIPE, SIGXFSZ}) {
        signal(becomes_an_error_of_write, SIG_IGN);
    }
}

uint64_t size_of(int file, const std::string &path) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        fail(path, errno);
    }
    return S_ISREG(status.st_mode) ? static_cast<uint64_t>(status.st_size) : 0;
}

// Returns how many bytes were read, fewer than asked for at the end only.
uint64_t read_fully(int file, std::span<uint8_t> bytes, const std::string &path) {
    uint64_t done = 0;
    while (done < bytes.size()) {
        const ssize_t got = read(file, &bytes[done], bytes.size() - done);
        if (got < 0 && errno != EINTR) {
            fail(path, errno);
        }
        if (got == 0) {
            break;
        }
        done += got > 0 ? static_cast<uint64_t>(got) : 0;
    }
    return done;
}

void refuse_more(uint64_t bytes, uint64_t most_bytes, const std::string &path) {
    if (bytes > most_bytes) {
        throw FileError(path, "more than " + std::to_string(most_bytes) + " bytes");
    }
}

// A file's size is a hint: standard input and devices have none, and files grow.
std::vector<uint8_t> read_open_file(int file, const std::string &path, uint64_t most_bytes) {
    const uint64_t expected = size_of(file, path);
    refuse_more(expected, most_bytes, path);
    std::vector<uint8_t> bytes;
    uint64_t read_bytes = 0;
    do {
        bytes.resize(std::max(expected, read_bytes) + kStepBytes);
        read_bytes += read_fully(file, std::span(bytes).subspan(read_bytes), path);
        refuse_more(read_bytes, most_bytes, path);
    } while (read_bytes == bytes.size());
    bytes.resize(read_bytes);
    return bytes;
}

}  // namespace

std::vector<uint8_t> read_file(const std::string &path, uint64_t most_bytes) {
    if (path == kStandardStream) {
        return read_open_file(STDIN_FILENO, path, most_bytes);
    }
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        fail(path, errno);
    }
    struct Closer {
        int file;
        ~Closer() { close(file); }
    } const closer{file};
    return read_open_file(file, path, most_bytes);
}

OutputFile::OutputFile(const std::string &path, bool may_replace) : path_(path), may_replace_(may_replace) {
    namespace fs = std::filesystem;
    handle_signals();
    if (path == kStandardStream) {
        is_direct_ = true;
        file_ = dup(STDOUT_FILENO);
        return;
    }
    std::error_code unknown;
    const fs::file_status existing = fs::status(path, unknown);
    if (is_directory(existing)) {
        fail(path, EISDIR);
    }
    if (is_regular_file(existing) && !may_replace) {
        fail_for_existing(path);
    }
    is_direct_ = exists(existing) && !is_regular_file(existing);
    if (is_direct_) {
        file_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (file_ < 0) {
            fail(path, errno);
        }
    } else if (exists(existing)) {
        path_ = fs::canonical(path);  // a link stays one
        open_unfinished(static_cast<unsigned>(existing.permissions()));
    } else {
        const mode_t mask = umask(0);
        umask(mask);
        open_unfinished(0666 & ~mask);
    }
}

void OutputFile::open_unfinished(unsigned mode) {
    const std::string unfinished = path_ + ".XXXXXX";
    if (unfinished.size() >= sizeof unfinished_path) {
        fail(path_, ENAMETOOLONG);
    }
    std::memcpy(unfinished_path, unfinished.c_str(), unfinished.size() + 1);
    file_ = mkstemp(unfinished_path);
    if (file_ < 0) {
        const int error = errno;
        unfinished_path[0] = '\0';
        fail(path_, error);
    }
    fchmod(file_, mode);
}

OutputFile::~OutputFile() {
    close(file_);
    if (unfinished_path[0] != '\0') {
        unlink(unfinished_path);
        unfinished_path[0] = '\0';
    }
}

void OutputFile::write(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t done = ::write(file_, bytes.data(), std::min<uint64_t>(bytes.size(), kStepBytes));
        if (done < 0 && errno != EINTR) {
            fail(path_, errno);
        }
        bytes = bytes.subspan(done > 0 ? static_cast<uint64_t>(done) : 0);
    }
}

void OutputFile::keep() {
    if (is_direct_) {
        return;
    }
    // Some file systems tell of a full disk only now.
    if (fsync(file_) != 0) {
        fail(path_, errno);
    }
    // What came to be under the name meanwhile isn't replaced either, where the file system can see to that.
    int error = 0;
    if (renameat2(AT_FDCWD, unfinished_path, AT_FDCWD, path_.c_str(), may_replace_ ? 0 : RENAME_NOREPLACE) != 0) {
        error = errno;
    }
    if (error == EINVAL || error == ENOSYS) {
        error = std::rename(unfinished_path, path_.c_str()) == 0 ? 0 : errno;
    }
    if (error == EEXIST) {
        fail_for_existing(path_);
    }
    if (error != 0) {
        fail(path_, error);
    }
    unfinished_path[0] = '\0';
}

}  // namespace qvk
