// The kernel library as the store sees it: loaded at run time, its kernels found by slot.
#pragma once

#include <kdzk.h>

#include <string>

namespace qvk {

struct KernelLibrary {
    const kdzk_kernel *dispatch_table = nullptr;
    decltype(&kdzk_lbiwvor_dydi) or_words = nullptr;
    decltype(&kdzk_lbiwvand_dydi) and_words = nullptr;
    decltype(&kdzk_lbiwvandnot_dydi) andnot_words = nullptr;
    decltype(&kdzk_lbiwv_ictx_ini2_dydi) start_ones = nullptr;
    decltype(&kdzk_lbiwvones_dydi) next_ones = nullptr;
    decltype(&kdzk_bloom_dydi) probe = nullptr;
    kdzk_ypak_decode_fn ypak_decode = nullptr;
};

// Loads the library at path once per process and keeps it. Null, with the reason in error, if that fails; a later call
// tries again. The caller's module has to export host_raise_internal_error.
const KernelLibrary *open_kernel_library(const std::string &path, std::string &error);

// The path of libqvksse42.so in the folder of the shared object or program that holds this code.
std::string kernel_library_beside_this_code();

// The kernels of one encoding: the same class and width, whatever the operation and the form.
struct KernelFamily {
    uint32_t kernel_class = KDZK_CLASS_DICT;
    uint32_t width_bits = 8;
    bool operator==(const KernelFamily &) const = default;
};

// One kernel, by its place in the table.
struct Kernel {
    KernelFamily family;
    uint32_t operation = KDZK_OP_EQ;
    uint32_t form = KDZK_FORM_PLAIN;
    bool operator==(const Kernel &) const = default;
};

inline kdzk_kernel find_kernel(const KernelLibrary &library, const Kernel &kernel) {
    const auto &[family, operation, form] = kernel;
    return library.dispatch_table[kdzk_slot(family.kernel_class, family.width_bits, operation, form)];
}

// The probe of Bloom filters, the same for all columns, stands beside the table.
inline constexpr Kernel kProbe{{}, KDZK_OP_DISTINCT + 1};

// By the naming rule, such as kdzk_ge_le_dict_8bit_null.
std::string kernel_name(const Kernel &kernel);

}  // namespace qvk
