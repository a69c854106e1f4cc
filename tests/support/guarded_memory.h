// guarded_memory.h: memory between two unreadable pages, so that one byte read or written too far ends the test. What
// lies around a buffer is random and remembered: a slack's content must not matter, and nothing there may change.
#pragma once

#include <sys/mman.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "support/random_data.h"

namespace support {

// An address that nothing may be read from.
inline void *unreadable() { return reinterpret_cast<void *>(~uintptr_t{0} / 64 * 63); }

class GuardedMemory {
  public:
    GuardedMemory(size_t capacity, Random &random) : content_((capacity + kPage - 1) / kPage * kPage) {
        void *const pages = mmap(nullptr, content_.size() + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED)
            throw std::runtime_error("no memory to guard");
        start_ = static_cast<uint8_t *>(pages) + kPage;
        mprotect(start_, content_.size(), PROT_READ | PROT_WRITE);
        for (uint8_t &byte : content_)
            byte = static_cast<uint8_t>(random.word());
        restore();
    }
    GuardedMemory(const GuardedMemory &) = delete;
    ~GuardedMemory() { munmap(start_ - kPage, content_.size() + 2 * kPage); }

    // A buffer that ends slack bytes before the unreadable page behind.
    uint8_t *ending(size_t bytes, size_t slack = 0) { return start_ + content_.size() - slack - bytes; }
    // A buffer right behind the unreadable page in front.
    uint8_t *starting() { return start_; }

    uint8_t *ending_with(const void *source, size_t bytes, size_t slack = 0) {
        return bytes == 0 ? ending(0, slack) : static_cast<uint8_t *>(std::memcpy(ending(bytes, slack), source, bytes));
    }
    void restore() { std::memcpy(start_, content_.data(), content_.size()); }
    // Whether all but the buffer is as it was after restore().
    bool unchanged_but(const uint8_t *buffer, size_t bytes) const {
        const size_t before = static_cast<size_t>(buffer - start_);
        return std::memcmp(start_, content_.data(), before) == 0
               && std::memcmp(buffer + bytes, &content_[before] + bytes, content_.size() - before - bytes) == 0;
    }

  private:
    static constexpr size_t kPage = 4096;
    std::vector<uint8_t> content_;
    uint8_t *start_;
};

}  // namespace support
