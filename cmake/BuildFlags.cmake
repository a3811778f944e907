# SPDX-License-Identifier: MIT
# The flags of every target of the project. They are set for the directory, so that a project that
# includes this one keeps its own.

if(PROJECT_IS_TOP_LEVEL)
    if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
        set(CMAKE_BUILD_TYPE Release CACHE STRING "Kind of build" FORCE)
    endif()
    find_program(QZ_CCACHE ccache)
    mark_as_advanced(QZ_CCACHE)
    if(QZ_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
        # Paths are hashed relative to the project, so that a second clone reuses what the first one
        # has compiled. Precompiled headers need the sloppiness.
        set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
            CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
            CCACHE_SLOPPINESS=pch_defines,time_macros ${QZ_CCACHE})
    endif()
    set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# --- Warnings --------------------------------------------------------------------------------

add_compile_options(
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # g++ 12 warns about std::string itself here (its bug 105651, repaired in 13).
    add_compile_options(-Wno-restrict)
endif()
if(QZ_WERROR)
    add_compile_options(-Werror)
    # g++ can't tell that an empty std::optional isn't destroyed (its bug 80635).
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-error=maybe-uninitialized>)
endif()

# --- Unwinding out of a faulting instruction -------------------------------------------------

# A signal handler of the library throws out of the instruction that faulted. Without the first
# flag the compiler assumes that such an instruction can't throw, and the process ends in
# std::terminate if the interrupted function holds an object with a destructor. The second flag
# makes the unwind tables exact at every instruction and not only at calls.
# clang accepts the first flag, but ignores it.
set(QZ_UNWIND_FLAGS
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fnon-call-exceptions>
    $<$<COMPILE_LANGUAGE:CXX>:-fasynchronous-unwind-tables>)

# Code of a consumer that faults inside the library's guard needs the same flags. A target can do
# without them: set_target_properties(app PROPERTIES QZ_NON_CALL_EXCEPTIONS OFF).
set(wanted $<TARGET_PROPERTY:QZ_NON_CALL_EXCEPTIONS>)
set(wanted $<OR:$<STREQUAL:${wanted},>,$<BOOL:${wanted}>>)
set(QZ_CONSUMER_UNWIND_FLAGS
    $<$<AND:${wanted},$<COMPILE_LANG_AND_ID:CXX,GNU>>:-fnon-call-exceptions>
    $<$<AND:${wanted},$<COMPILE_LANGUAGE:CXX>>:-fasynchronous-unwind-tables>)
unset(wanted)

# --- Sanitizers, or hardening ----------------------------------------------------------------

if(QZ_SANITIZE)
    list(JOIN QZ_SANITIZE "," sanitizers)
    add_compile_options(
        -fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${sanitizers})
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    # Links the address sanitizer itself into a program, and nothing of it to a shared library.
    if("address" IN_LIST QZ_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        set(QZ_STATIC_ASAN -static-libasan)
    endif()
    if(QZ_BUILD_FUZZ)
        add_compile_options(-fsanitize=fuzzer-no-link)
    endif()
else()
    set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
    # -U first: some distributions' compilers define the macro themselves.
    add_compile_options(
        "$<${optimised}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2;-fstack-protector-strong>")
    add_link_options("$<${optimised}:LINKER:-z,relro,-z,now>")
    unset(optimised)
endif()
