// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include <qz/qzExport.h>

/// @file
/// Text from outside in a line of a log or a terminal. A line feed in it would begin a line that
/// the program never wrote, and an escape sequence could change what a terminal shows.
///
/// The library need not be started. Threads: any.

namespace qz::ext {

/// Makes visible what would change the lines around a text.
///
/// | Part of the text                                              | Result                   |
/// | ------------------------------------------------------------- | ------------------------ |
/// | line feed, carriage return, tab                               | `\n`, `\r`, `\t`         |
/// | other ASCII control characters                                | `\x1B`                   |
/// | control characters from U+0080 to U+009F, the line breaks     | `\u2028`, `\U000E0001`   |
/// | U+2028 and U+2029, marks of the direction of writing, and     |                          |
/// | other characters that aren't shown (see below)                |                          |
/// | bytes that aren't UTF-8                                       | `\xC3`                   |
/// | all other characters, the backslash as well                   | unchanged                |
///
/// Characters that aren't shown are those that Unicode calls "default ignorable", such as U+200B
/// (a space without width), U+200D (which joins emojis) and U+FEFF, but not the selectors of a
/// variant (U+FE0F). A name that contains one looks like another name.
///
/// To escape the result again changes nothing, because a backslash stays as it is. For the same
/// reason the result doesn't show whether the text itself contained the characters of an escape.
QZ_API std::string escaped(std::string_view text);

/// A manipulator for streams and log reports that inserts `escaped(text)`. In a report that is off
/// it costs nothing.
///
/// @code
/// qz::logWarning("login") << "unknown user " << qz::ext::EscapedText(name);
/// @endcode
class EscapedText {
public:
    /// @param text is not copied, so it must exist until the insertion.
    explicit EscapedText(std::string_view text) : mText(text) {}

    /// The text that was passed.
    std::string_view getText() const { return mText; }

private:
    std::string_view mText;
};

/// Inserts the text, escaped.
QZ_API std::ostream& operator<<(std::ostream& stream, const EscapedText& text);

/// Hides what would change the lines around a text, for tables and progress bars, where each
/// character takes a column: "?" in place of each character that `escaped` would escape. If the
/// text isn't UTF-8, each byte beyond ASCII is replaced.
QZ_API std::string makePrintable(std::string text);

}  // namespace qz::ext
