// The dispatch tables: 8,192 kernels and their names, computed at compile time from the list of the kernels that stand.
// Both come from the same walk, so a name can't drift from its kernel.
#include "frame/kernels.h"

namespace kdzk {

// Structs around the arrays, since no array can be returned from a constant expression.
struct KernelTable {
    kdzk_kernel slots[KDZK_TABLE_SLOTS];
};
struct NameTable {
    const char *slots[KDZK_TABLE_SLOTS];
};

namespace {

struct Entry {
    KernelId id;
    kdzk_kernel kernel;
};

constexpr Entry entry(KernelId id, kdzk_key_fn kernel) { return {id, {.key = kernel}}; }
constexpr Entry entry(KernelId id, kdzk_range_fn kernel) { return {id, {.range = kernel}}; }
constexpr Entry entry(KernelId id, kdzk_vec_fn kernel) { return {id, {.vec = kernel}}; }

#define KDZK_ENTRY(op, cls, width, form)                                                                               \
    entry({KernelClass::cls, width, Operation::op, Form::form}, KDZK_KERNEL(op, cls, width, form)),
#define KDZK_PREDICATE_ENTRIES(cls, width, form) KDZK_OPERATORS(KDZK_ENTRY, KDZK_ENTRY, cls, width, form)

#define KDZK_DECODE_ENTRIES(width)                                                                                     \
    KDZK_ENTRY(decode, dict, width, plain)                                                                             \
    KDZK_ENTRY(decode_unpack, dict, width, plain)                                                                      \
    KDZK_ENTRY(decode_symbol, dict, width, plain)                                                                      \
    KDZK_ENTRY(set, dict, width, plain)

#define KDZK_BURST_ENTRY(width, form) KDZK_ENTRY(burst, rle, width, form)

constexpr Entry kKernels[] = {KDZK_PREDICATE_KERNELS(KDZK_PREDICATE_ENTRIES) KDZK_DECODE_WIDTHS(KDZK_DECODE_ENTRIES)
                                  KDZK_BURST_KERNELS(KDZK_BURST_ENTRY)};

// Calls visit(entry) for every live slot. The stubs follow a rule: dict has sum and distinct up to 32 bits, fixed has
// sum at its lanes' widths.
template <typename Visitor>
constexpr void for_each_live(Visitor visit) {
    for (const Entry &kernel : kKernels)
        visit(kernel);
    for (uint8_t width = 1; width <= 32; ++width) {
        if (!is_width(width))
            continue;
        visit(entry({KernelClass::dict, width, Operation::sum, Form::plain}, kdzk_stub));
        visit(entry({KernelClass::dict, width, Operation::distinct, Form::plain}, kdzk_stub));
    }
    for (uint8_t width = 8; width <= 64; width = uint8_t(width * 2))
        visit(entry({KernelClass::fixed, width, Operation::sum, Form::plain}, kdzk_stub));
}

constexpr bool no_slot_is_taken_twice() {
    bool taken[KDZK_TABLE_SLOTS]{}, twice = false;
    for_each_live([&](const Entry &live) {
        twice |= taken[slot_of(live.id)];
        taken[slot_of(live.id)] = true;
    });
    return !twice;
}
static_assert(no_slot_is_taken_twice());

constexpr KernelTable kernels_by_slot() {
    KernelTable table{};
    for (kdzk_kernel &slot : table.slots)
        slot.invalid = kdzk_invalid_dispatch;
    for_each_live([&](const Entry &live) { table.slots[slot_of(live.id)] = live.kernel; });
    return table;
}

constexpr size_t live_name_chars() {
    size_t chars = 0;
    for_each_live([&](const Entry &live) { chars += name_of(live.id).length + 1; });
    return chars;
}

// All live names, each with its terminating zero, in the order of the walk.
struct NamePool {
    char chars[live_name_chars()]{};
};

constexpr NamePool pooled_names() {
    NamePool pool;
    size_t at = 0;
    for_each_live([&](const Entry &live) {
        const ShortText name = name_of(live.id);
        for (size_t i = 0; i < name.length; ++i)
            pool.chars[at++] = name.chars[i];
        ++at;
    });
    return pool;
}

constexpr NamePool kNames = pooled_names();

constexpr NameTable names_by_slot() {
    NameTable table{};
    for (const char *&slot : table.slots)
        slot = "kdzk_invalid_dispatch";
    const char *at = kNames.chars;
    for_each_live([&](const Entry &live) {
        table.slots[slot_of(live.id)] = at;
        at += name_of(live.id).length + 1;
    });
    return table;
}

}  // namespace

// What the host sees as kdzk_dispatch_table, and its hidden companion.
KDZK_EXPORTED extern const KernelTable kernel_table KDZK_NAMED_IN_C(kdzk_dispatch_table);
extern const NameTable name_table KDZK_NAMED_IN_C(kdzk_dispatch_names);

constinit const KernelTable kernel_table = kernels_by_slot();
[[gnu::used]] constinit const NameTable name_table = names_by_slot();

static_assert(sizeof(KernelTable) == sizeof(kdzk_dispatch_table) && sizeof(NameTable) == sizeof(kdzk_dispatch_names));

}  // namespace kdzk
