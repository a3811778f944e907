// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "EntryReader.h"

namespace qzlog {

/// The standard output, in blocks.
class Output {
public:
    /// What is appended is written when there is enough of it.
    std::string& edit() { return mPending; }
    /// Writes what is pending if that is enough for a block. @return false if there is no output
    /// any more.
    bool writeBlock() { return mPending.size() < kBlockBytes || flush(); }
    /// Writes all that is pending. @return false if there is no output any more.
    bool flush();

    /// Whether a write has failed for another reason than a reader that has gone.
    bool hasFailed() const { return mError != 0 && !mIsReaderGone; }
    /// Whether something has ended the output.
    bool hasEnded() const { return mError != 0; }

private:
    static constexpr std::size_t kBlockBytes = 64UL * 1024;

    std::string mPending;
    int mError = 0;
    bool mIsReaderGone = false;
};

/// How entries are shown.
enum class Style {
    Plain,     ///< As they are in the files.
    Terminal,  ///< With colours, and without what a terminal would obey.
    Json,      ///< One object a line.
};

/// Appends an entry in a style.
void appendEntry(std::string& text, const Entry& entry, Style style);

}  // namespace qzlog
