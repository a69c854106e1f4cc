// The decoded payloads of a table's compressed segments, held under a memory limit: those that were used last.
//
// A payload that a kernel or a row asks for may push out any other, since no call looks at two. A table belongs to one
// connection, and SQLite lets one thread at a time into that, so nothing is locked.
#pragma once

#include "segment.h"

namespace qvk {

class DecodedPayloads {
  public:
    explicit DecodedPayloads(uint64_t limit_bytes) : limit(limit_bytes) {}
    DecodedPayloads(const DecodedPayloads &) = delete;
    DecodedPayloads &operator=(const DecodedPayloads &) = delete;

    // A compressed segment, before its first use. It goes when its table does, with its buffer, and isn't taken out.
    void add(Segment &segment);

    // None of these throws: kernels are on the stack.

    // Puts a buffer for the segment's payload behind its holder, and returns it; null if there is no memory. Frees the
    // buffers that weren't used for the longest time until the new one fits. One above the limit is held alone.
    void *allocate(Segment &segment) noexcept;
    // The segment's payload, if decoded, counts as the last that was used.
    void use(Segment &segment) noexcept;
    // Frees the segment's buffer, if it has one.
    void drop(Segment &segment) noexcept;

    uint64_t bytes() const { return held_bytes; }

  private:
    const uint64_t limit;
    uint64_t held_bytes = 0;
    // Each segment is in one of them, so that no memory is needed to remember a buffer.
    std::list<Segment *> held;  // with a buffer, the one used last first
    std::list<Segment *> idle;
};

}  // namespace qvk
