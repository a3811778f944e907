# SPDX-License-Identifier: MIT
# Writes a source file that embeds PATHS with the names NAMES; run by the rule of qz_add_resources.
# The assembler includes the files unchanged, because compilers are slow with large arrays.

cmake_minimum_required(VERSION 3.22)

set(blobs)
set(names)
set(digests)
set(sizes)
set(offsets)
set(offset 0)
foreach(path name IN ZIP_LISTS PATHS NAMES)
    file(SIZE ${path} size)
    file(SHA256 ${path} digest)
    string(REGEX REPLACE "([\\\\\"])" "\\\\\\1" quoted "${path}")  # for the assembler
    string(APPEND blobs "    R\"qz(.incbin \"${quoted}\")qz\" \"\\n.balign 16\\n\"\n")
    string(APPEND names "    R\"qz(${name})qz\",\n")
    string(APPEND digests "    \"${digest}\",\n")
    string(APPEND sizes "    ${size},\n")
    string(APPEND offsets "    ${offset},\n")
    math(EXPR offset "(${offset} + ${size} + 15) / 16 * 16")
endforeach()
list(LENGTH NAMES count)

file(WRITE ${OUTPUT} "// Made by qz_add_resources.

#include <qz/qzResources.h>

extern \"C\" [[gnu::visibility(\"hidden\")]] const char qz_resources_${ID}[];

asm(\".pushsection .rodata\\n\"
    \".balign 16\\n\"
    \".hidden qz_resources_${ID}\\n\"
    \".globl qz_resources_${ID}\\n\"
    \"qz_resources_${ID}:\\n\"
${blobs}    \".popsection\\n\");

namespace {

constexpr const char* kNames[] = {
${names}};
constexpr const char* kDigests[] = {
${digests}};
constexpr unsigned long kSizes[] = {
${sizes}};
constexpr unsigned long kOffsets[] = {
${offsets}};

const qz::rc::impl::Module module(${count}, qz_resources_${ID}, kNames, kDigests, kSizes,
                                  kOffsets);

}  // namespace
")
