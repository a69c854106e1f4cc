# Compiler flags that every target shares, and those of the library alone.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

if(QVK_SANITIZE)
    # Line numbers are all that a report shows, and the assembler spends more on full debug information than the compiler.
    # Checks are the same at every level of optimisation; the lowest that inlines builds in the shortest time.
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -g1 -O1)
    add_link_options(-fsanitize=address,undefined)
endif()

add_library(qvk_warnings INTERFACE)
target_compile_options(qvk_warnings INTERFACE -Wall -Wextra -Wconversion $<$<BOOL:${QVK_WERROR}>:-Werror>)

# The processor level: the library holds no instruction above it.
set(QVK_LEVEL_FLAGS -mssse3 -msse4.1 -msse4.2 -mpopcnt)

# No exceptions, no run-time type information, no guarded statics: nothing that would need the C++ run-time library.
set(QVK_NO_RUNTIME_FLAGS -fno-exceptions -fno-rtti -fno-threadsafe-statics)

# Vectors are written out where they pay. Joining neighbouring scalars into vectors on top of that costs more than it
# gains: a load wider than the stores it meets waits until they have left the store buffer.
set(QVK_SPEED_FLAGS -fno-tree-slp-vectorize)
