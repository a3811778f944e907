// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "LogFile.h"
#include "Options.h"

namespace qzlog {

/// Brings the entries of several files into the order of their times. Those of one file stay in
/// their order, and of entries of one time those of the earlier file come first.
class Merge {
public:
    explicit Merge(const Filter& filter) : mFilter(filter) {}

    /// Adds an open file.
    void add(std::shared_ptr<LogFile> file);
    /// Finds the next entry. @return its file, until the next call; null at the end.
    LogFile* next();

private:
    struct Waiting {
        long timeMs;
        std::size_t number;  // in the order of addition
        std::shared_ptr<LogFile> file;
    };

    static bool IsLater(const Waiting& left, const Waiting& right);
    void push(std::size_t number, std::shared_ptr<LogFile> file);

    const Filter& mFilter;
    std::size_t mCount = 0;
    std::vector<Waiting> mWaiting;  // a heap, whose earliest entry is first
    Waiting mCurrent{0, 0, nullptr};
};

}  // namespace qzlog
