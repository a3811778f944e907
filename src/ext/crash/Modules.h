// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "SafeText.h"

namespace qz::ext::crash {

/// A program or shared object in memory.
struct Module {
    std::uintptr_t first = 0;
    std::uintptr_t last = 0;  // the last byte
    std::uintptr_t bias = 0;  // what its addresses are moved by
    char buildId[129] = {};   // in hexadecimal digits; empty if it has none
    char path[1024] = {};
};

/// The modules of the process, which `fill` takes while nothing is wrong yet.
class Modules {
public:
    /// @param program the path of the program, whose module has no name.
    void fill(const char* program);
    /// Writes a line for each module.
    void write(SafeText& out) const;
    /// Finds the module of an address, also of a module that was loaded after `fill`. Safe in a
    /// signal handler, apart from faults: see `runPart`. @return null if there is none; a module
    /// that is valid until the next call.
    const Module* find(std::uintptr_t address);

private:
    const Module* findKnown(std::uintptr_t address) const;

    std::vector<Module> mKnown;
    Module mFound;
};

}  // namespace qz::ext::crash
