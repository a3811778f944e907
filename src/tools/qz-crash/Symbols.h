// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <qz/ext/CrashReport.h>

/// A function and its place in the source.
struct SourcePlace {
    std::string function;  // "??" if it is unknown
    std::string line;      // "FILE:LINE"; "??:0" if it is unknown

    /// A line without a number is of a file without debug information.
    bool hasLine() const;
};

/// Finds functions and lines by build id, with the first of `addr2line`, `eu-addr2line` and
/// `llvm-symbolizer` that is installed.
class Symbols {
public:
    /// Looks up all frames of a report.
    explicit Symbols(const qz::ext::CrashReport& report);

    /// The places of a frame: the function itself first, then those into which the compiler has
    /// put it. Empty if nothing is known.
    const std::vector<SourcePlace>& find(const qz::ext::CrashFrame& frame) const;
    /// What the user should know: a program that is missing, or a file; empty if nothing.
    const std::vector<std::string>& getRemarks() const { return mRemarks; }

private:
    using Module = std::pair<std::string, std::string>;  // file and build id
    using Places = std::map<std::uint64_t, std::vector<SourcePlace>>;

    void lookUp(const Module& module, Places& places);
    bool run(const std::string& object, Places& places);
    static void dropGuesses(const std::string& object, Places& places);

    std::map<Module, Places> mModules;
    std::vector<std::string> mRemarks;
    bool mIsMissing = false;  // no program is installed
};
