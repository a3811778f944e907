// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace qz::log {

/// The outlet to the descriptors of the standard output and the standard error stream.
///
/// A line goes to its descriptor whole, in one write. What the application has printed before and
/// not flushed comes first, unless a thread is printing at that moment: the outlet never waits for
/// the lock of a stream, because the thread that holds it may wait for the log. The state bits of
/// the standard streams don't matter, and their construction isn't awaited. If the application has
/// given a stream another buffer, the line goes through that buffer.
class Console {
public:
    /// Writes the two texts and a line end to the standard output.
    static void WriteLine(std::string_view prefix, std::string_view message);
    /// The same for the standard error stream.
    static void WriteErrorLine(std::string_view text);

    /// To be called in a forked child: what the parent has printed and not flushed is the parent's.
    static void ResumeChild();
};

}  // namespace qz::log
