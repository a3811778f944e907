// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace qz::ext {

/// Cuts bytes that come in pieces into lines.
class LineSplitter {
public:
    using Handler = std::function<void(std::string_view line)>;

    /// @param maxLineBytes a longer line is passed on in pieces of this size; at least 1.
    LineSplitter(Handler onLine, std::size_t maxLineBytes);

    /// Passes on the lines that are complete now.
    void add(std::string_view bytes);
    /// Passes on a last line without a line feed.
    void finish();

private:
    void addPart(std::string_view bytes, bool isLineEnd);

    Handler mOnLine;
    std::size_t mMaxLineBytes;
    std::string mPending;  // a line without its end, shorter than the limit
    bool mIsCut = false;   // whether the line began in a piece that was passed on
};

}  // namespace qz::ext
