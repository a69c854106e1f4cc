// platform.h: what differs from one operating system to the next, and the only file of the library that knows which
// one it is. Every source includes it instead of kdzk.h, so that the exported names get their mark here.
//
// A port provides: the export mark, a second name for a function, the symbol name of a datum, and the runtime's
// assertion failure. A platform that tells modules of each new thread turns that off at load: nothing is kept a thread.
#pragma once

#if !defined(__ELF__)
#error "platform.h: say here how this platform exports names and reports a failed assertion"
#endif

// All that kdzk.h declares is visible outside the library; everything else is hidden by the compiler's default.
#define KDZK_BUILD
#pragma GCC visibility push(default)
#include "kdzk.h"
#pragma GCC visibility pop

// A second exported name for a function that this file defines under its first.
#define KDZK_SAME_AS(first_name) __attribute__((alias(#first_name)))

// For an exported datum that isn't defined under its declaration in kdzk.h.
#define KDZK_EXPORTED __attribute__((visibility("default")))

// Gives a datum the symbol of a C array that can't be initialised as one.
#define KDZK_NAMED_IN_C(name) __asm__(#name)

namespace kdzk {

// The runtime's assertion failure, declared without its promise not to return: a process that puts its own in front may
// return from it, and the callers go on as documented.
extern "C" void assertion_failed(const char *expression, const char *file, unsigned line,
                                 const char *function) __asm__("__assert_fail");

}  // namespace kdzk

// Fails an assertion with this text, whatever the build. The file that it names is the emitted body of all kernels.
#define KDZK_FAIL_ASSERTION(expression)                                                                                \
    kdzk::assertion_failed(expression, "common/data/qvk/x86/kdzkc_x86", __LINE__, __func__)
