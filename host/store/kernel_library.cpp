// Loading the kernel library and naming its kernels.
#include "kernel_library.h"

#include <dlfcn.h>
#include <filesystem>
#include <link.h>
#include <mutex>

namespace qvk {
namespace {

constexpr const char *kLibraryFile = "libqvksse42.so";

template <typename Pointer>
bool find(void *handle, const char *name, Pointer &pointer) {
    pointer = reinterpret_cast<Pointer>(dlsym(handle, name));
    return pointer != nullptr;
}

bool find_all(void *handle, KernelLibrary &library) {
    return find(handle, "kdzk_dispatch_table", library.dispatch_table)
           && find(handle, "kdzk_lbiwvor_dydi", library.or_words)
           && find(handle, "kdzk_lbiwvand_dydi", library.and_words)
           && find(handle, "kdzk_lbiwvandnot_dydi", library.andnot_words)
           && find(handle, "kdzk_lbiwv_ictx_ini2_dydi", library.start_ones)
           && find(handle, "kdzk_lbiwvones_dydi", library.next_ones) && find(handle, "kdzk_bloom_dydi", library.probe)
           && find(handle, "kdzk_ypak_decode_dydi", library.ypak_decode);
}

std::string path_of_this_code() {
    Dl_info info{};
    link_map *object = nullptr;
    std::error_code unresolved;
    void *const here = reinterpret_cast<void *>(&open_kernel_library);
    if (dladdr1(here, &info, reinterpret_cast<void **>(&object), RTLD_DL_LINKMAP) == 0 || !info.dli_fname) {
        return "";
    }
    // The loader knows a program by the name it was called with only, and may have been given a relative path.
    const bool is_program = object->l_name[0] == '\0';
    const std::filesystem::path path =
        std::filesystem::canonical(is_program ? "/proc/self/exe" : info.dli_fname, unresolved);
    return unresolved ? info.dli_fname : path.string();
}

// The library imports host_raise_internal_error by name, so this module's exports must be visible to it even where
// whoever loaded this module kept them local.
void make_exports_visible() {
    if (void *self = dlopen(path_of_this_code().c_str(), RTLD_NOW | RTLD_GLOBAL | RTLD_NOLOAD)) {
        dlclose(self);
    }
}

std::string last_loader_error() {
    const char *message = dlerror();
    return message ? message : "unknown reason";
}

}  // namespace

const KernelLibrary *open_kernel_library(const std::string &path, std::string &error) {
    static std::mutex guard;
    static KernelLibrary library;
    static bool loaded = false;
    const std::lock_guard<std::mutex> lock(guard);
    if (loaded) {
        return &library;
    }
    make_exports_visible();
    void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    loaded = handle && find_all(handle, library);
    if (!loaded) {
        error = "cannot load the kernel library: " + last_loader_error();
    }
    return loaded ? &library : nullptr;
}

std::string kernel_library_beside_this_code() {
    const std::string path = path_of_this_code();
    const size_t slash = path.rfind('/');
    return (slash == std::string::npos ? "./" : path.substr(0, slash + 1)) + kLibraryFile;
}

std::string kernel_name(const Kernel &kernel) {
    // clang-format off
    static constexpr const char *kOperations[] = {
        "eq", "lt", "gt", "le", "ge", "ne", "gt_lt", "gt_le", "ge_lt", "ge_le",
        "decode", "decode_unpack", "decode_symbol", "set", "burst"};
    // clang-format on
    static constexpr const char *kClasses[] = {"fixed", "dict", "dynp", "rle"};
    static constexpr const char *kForms[] = {"", "_null", "_tz", "_cla"};
    const auto &[family, operation, form] = kernel;
    if (kernel == kProbe) {
        return "kdzk_bloom_dydi";
    }
    return std::string("kdzk_") + kOperations[operation] + "_" + kClasses[family.kernel_class] + "_"
           + std::to_string(family.width_bits) + "bit" + kForms[form];
}

}  // namespace qvk
