#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// Programs and how they are called.
class QZ_API qzProcess {
public:
    qzProcess() = delete;

    /// Takes a command line apart, as a user or a configuration file wrote it.
    ///
    /// Spaces and tabs separate the parts. A part that begins with a double quote goes up to the
    /// next one, or to the end of the text, blanks included; the quotes themselves don't show, and
    /// `""` is an empty part. This is no shell: a backslash, a single quote, a dollar sign and a
    /// line feed stand for themselves, so that `"C:\Program Files\x.exe"` needs no doubling, and
    /// nothing puts a double quote into a part.
    ///
    /// A text that is empty or isn't UTF-8, and one with a double quote in the midst of an unquoted
    /// part, as in `a"b`, is reported to the log as critical.
    /// Threads: any.
    /// @param commandLine the text, in UTF-8; no part of the outputs.
    /// @param program receives the first part, and is empty when there is none.
    /// @param arguments receives the other parts. What either held before is lost. After a failure
    ///     they hold the parts that were finished before it.
    /// @return whether there is a program. Without a report false stands for a text of blanks
    ///     alone, and for one that begins with `""`.
    static bool SplitCommandLine(const std::string& commandLine, std::string& program,
                                 std::vector<std::string>& arguments);
};

}  // namespace qz
