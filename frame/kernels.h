// kernels.h: the kernels that stand, and the macros that give them their C names. A symbol's name can't be computed, so
// here and in the files that emit bodies macros build functions: one line a class, width and form makes ten kernels,
// their declarations and their slots. Everything else about a kernel follows from its KernelId.
#pragma once

#include "frame/catalog.h"

// EACH(class, width in bits, form), once for every ten predicate kernels; in groups, each of which is compiled by
// itself.
// clang-format off
#define KDZK_DICT_BELOW_A_BYTE(EACH, form) \
    EACH(dict, 1, form) EACH(dict, 2, form) EACH(dict, 3, form) EACH(dict, 4, form) EACH(dict, 5, form) \
    EACH(dict, 6, form) EACH(dict, 7, form)
#define KDZK_DICT_ABOVE_A_BYTE(EACH, form) \
    EACH(dict, 9, form) EACH(dict, 10, form) EACH(dict, 11, form) EACH(dict, 12, form) EACH(dict, 13, form) \
    EACH(dict, 14, form) EACH(dict, 15, form)
#define KDZK_DICT_ABOVE_TWO_BYTES(EACH, form) \
    EACH(dict, 17, form) EACH(dict, 18, form) EACH(dict, 19, form) EACH(dict, 20, form) EACH(dict, 24, form)
#define KDZK_DICT_ELEMENTS(EACH, form) \
    EACH(dict, 8, form) EACH(dict, 16, form) EACH(dict, 32, form) EACH(dict, 64, form)
#define KDZK_FIXED_KERNELS(EACH, form) \
    EACH(fixed, 8, form) EACH(fixed, 16, form) EACH(fixed, 32, form) EACH(fixed, 64, form)
#define KDZK_DYNP_KERNELS(EACH, form) EACH(dynp, 16, form) EACH(dynp, 32, form) EACH(dynp, 64, form)
// EACH(width), for the codes that are decoded and tested against sets. By the elements that codes are unpacked into.
#define KDZK_DECODE_TO_8(EACH) EACH(1) EACH(2) EACH(3) EACH(4) EACH(5) EACH(6) EACH(7) EACH(8)
#define KDZK_DECODE_TO_16(EACH) EACH(9) EACH(10) EACH(11) EACH(12) EACH(13) EACH(14) EACH(15) EACH(16)
#define KDZK_DECODE_TO_32(EACH) EACH(17) EACH(18) EACH(19) EACH(20) EACH(24) EACH(32)
#define KDZK_DECODE_WIDTHS(EACH) KDZK_DECODE_TO_8(EACH) KDZK_DECODE_TO_16(EACH) KDZK_DECODE_TO_32(EACH)
// EACH(width, form), for runs.
#define KDZK_BURST_KERNELS(EACH) EACH(8, plain) EACH(8, cla) EACH(16, plain) EACH(16, cla)
// clang-format on

#define KDZK_DICT_KERNELS(EACH, form)                                                                                  \
    KDZK_DICT_BELOW_A_BYTE(EACH, form)                                                                                 \
    KDZK_DICT_ABOVE_A_BYTE(EACH, form)                                                                                 \
    KDZK_DICT_ABOVE_TWO_BYTES(EACH, form)                                                                              \
    KDZK_DICT_ELEMENTS(EACH, form)

#define KDZK_PREDICATE_KERNELS(EACH)                                                                                   \
    KDZK_DICT_KERNELS(EACH, plain)                                                                                     \
    KDZK_DICT_KERNELS(EACH, null)                                                                                      \
    KDZK_FIXED_KERNELS(EACH, plain)                                                                                    \
    KDZK_FIXED_KERNELS(EACH, tz)                                                                                       \
    KDZK_DYNP_KERNELS(EACH, plain)                                                                                     \
    KDZK_DYNP_KERNELS(EACH, tz)

// ONE_KEY or RANGE(operator, ...), once for every operator.
#define KDZK_OPERATORS(ONE_KEY, RANGE, ...)                                                                            \
    ONE_KEY(eq, __VA_ARGS__)                                                                                           \
    ONE_KEY(lt, __VA_ARGS__)                                                                                           \
    ONE_KEY(gt, __VA_ARGS__)                                                                                           \
    ONE_KEY(le, __VA_ARGS__)                                                                                           \
    ONE_KEY(ge, __VA_ARGS__)                                                                                           \
    ONE_KEY(ne, __VA_ARGS__)                                                                                           \
    RANGE(gt_lt, __VA_ARGS__)                                                                                          \
    RANGE(gt_le, __VA_ARGS__)                                                                                          \
    RANGE(ge_lt, __VA_ARGS__)                                                                                          \
    RANGE(ge_le, __VA_ARGS__)

// A kernel's symbol, by the same rule as its name.
#define KDZK_KERNEL_plain(op, cls, width) kdzk_##op##_##cls##_##width##bit
#define KDZK_KERNEL_null(op, cls, width) kdzk_##op##_##cls##_##width##bit_null
#define KDZK_KERNEL_tz(op, cls, width) kdzk_##op##_##cls##_##width##bit_tz
#define KDZK_KERNEL_cla(op, cls, width) kdzk_##op##_##cls##_##width##bit_cla
#define KDZK_KERNEL(op, cls, width, form) KDZK_KERNEL_##form(op, cls, width)

// The symbol of its selective body, which no table holds: the kernel's with "_selective" behind it. It takes both keys
// whatever the operator.
#define KDZK_JOIN(a, b) a##b
#define KDZK_SELECTIVE_OF(kernel) KDZK_JOIN(kernel, _selective)
#define KDZK_SELECTIVE(op, cls, width, form) KDZK_SELECTIVE_OF(KDZK_KERNEL(op, cls, width, form))

#define KDZK_ONE_KEY_PARAMETERS (kdzk_vec * dst, const kdzk_vec *src, const kdzk_pred *key, kdzk_exec_ctx *ctx)
#define KDZK_RANGE_PARAMETERS                                                                                          \
    (kdzk_vec * dst, const kdzk_vec *src, const kdzk_pred *lower, const kdzk_pred *upper, kdzk_exec_ctx *ctx)

// Declarations of both bodies.
#define KDZK_DECLARE_ONE_KEY(...)                                                                                      \
    uint64_t KDZK_KERNEL(__VA_ARGS__) KDZK_ONE_KEY_PARAMETERS;                                                         \
    uint64_t KDZK_SELECTIVE(__VA_ARGS__) KDZK_RANGE_PARAMETERS;
#define KDZK_DECLARE_RANGE(...)                                                                                        \
    uint64_t KDZK_KERNEL(__VA_ARGS__) KDZK_RANGE_PARAMETERS;                                                           \
    uint64_t KDZK_SELECTIVE(__VA_ARGS__) KDZK_RANGE_PARAMETERS;
#define KDZK_DECLARE_PREDICATES(cls, width, form)                                                                      \
    KDZK_OPERATORS(KDZK_DECLARE_ONE_KEY, KDZK_DECLARE_RANGE, cls, width, form)

// Definitions, for a file in which the bodies and the Encoding template of the class are known.
#define KDZK_DEFINE_ONE_KEY(op, cls, width, form, Encoding)                                                            \
    KDZK_DEFINE_BODIES(op, cls, width, form, Encoding, KDZK_ONE_KEY_PARAMETERS, key, key)
#define KDZK_DEFINE_RANGE(op, cls, width, form, Encoding)                                                              \
    KDZK_DEFINE_BODIES(op, cls, width, form, Encoding, KDZK_RANGE_PARAMETERS, lower, upper)
#define KDZK_DEFINE_BODIES(op, cls, width, form, Encoding, parameters, low, high)                                      \
    [[gnu::noinline]] uint64_t KDZK_SELECTIVE(op, cls, width, form) KDZK_RANGE_PARAMETERS {                            \
        return kdzk::selective_body<Encoding<width, kdzk::Form::form>, kdzk::Operator::op>(dst, src, lower, upper,     \
                                                                                           ctx);                       \
    }                                                                                                                  \
    uint64_t KDZK_KERNEL(op, cls, width, form) parameters {                                                            \
        return kdzk::main_body<Encoding<width, kdzk::Form::form>, kdzk::Operator::op,                                  \
                               KDZK_SELECTIVE(op, cls, width, form)>(dst, src, low, high, ctx);                        \
    }
#define KDZK_DEFINE_PREDICATES(cls, width, form, Encoding)                                                             \
    KDZK_OPERATORS(KDZK_DEFINE_ONE_KEY, KDZK_DEFINE_RANGE, cls, width, form, Encoding)

#define KDZK_VEC_PARAMETERS (kdzk_vec * dst, const kdzk_vec *src, kdzk_exec_ctx *ctx)
#define KDZK_DECLARE_DECODE(width)                                                                                     \
    uint64_t KDZK_KERNEL(decode, dict, width, plain) KDZK_VEC_PARAMETERS;                                              \
    uint64_t KDZK_KERNEL(decode_unpack, dict, width, plain) KDZK_VEC_PARAMETERS;                                       \
    uint64_t KDZK_KERNEL(decode_symbol, dict, width, plain) KDZK_VEC_PARAMETERS;                                       \
    uint64_t KDZK_KERNEL(set, dict, width, plain) KDZK_ONE_KEY_PARAMETERS;                                             \
    uint64_t KDZK_SELECTIVE(set, dict, width, plain) KDZK_ONE_KEY_PARAMETERS;
#define KDZK_DECLARE_BURST(width, form) uint64_t KDZK_KERNEL(burst, rle, width, form) KDZK_VEC_PARAMETERS;

extern "C" {

KDZK_PREDICATE_KERNELS(KDZK_DECLARE_PREDICATES)
KDZK_DECODE_WIDTHS(KDZK_DECLARE_DECODE)
KDZK_BURST_KERNELS(KDZK_DECLARE_BURST)

// Behind all sum and distinct slots: touches nothing and returns 0.
uint64_t kdzk_stub(kdzk_vec *dst, const kdzk_vec *src, kdzk_exec_ctx *ctx);

// Behind every slot that no kernel serves.
void kdzk_invalid_dispatch(void);

// Each slot's name, "kdzk_invalid_dispatch" for one that no kernel serves. A companion of the table that isn't exported
// and that no code of the library reads: a debugger finds a kernel by slot with it.
extern const char *const kdzk_dispatch_names[KDZK_TABLE_SLOTS];

}  // extern "C"
