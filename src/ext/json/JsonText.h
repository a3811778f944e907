// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The text that is read, and what may be wrong in it.

#include <string>
#include <string_view>

#include <qz/ext/Json.h>

namespace qz::ext {

/// The part of a text that has not been read yet.
struct JsonText {
    const char* at;
    const char* end;

    bool isAtEnd() const { return at == end; }
    /// The next byte; 0 at the end, which JSON has nowhere.
    char peek() const { return at != end ? *at : '\0'; }

    void skipSpace()
    {
        while (at != end && (*at == ' ' || *at == '\n' || *at == '\r' || *at == '\t'))
            ++at;
    }
};

/// What is wrong, and where. Made without arguments it stands for success.
struct JsonFault {
    JsonError::Kind kind = JsonError::Kind::None;
    const char* at = nullptr;
    const char* message = nullptr;

    explicit operator bool() const { return kind != JsonError::Kind::None; }
};

/// The fault of a text that has ended.
inline JsonFault makeEndFault(const JsonText& text)
{
    return {JsonError::Kind::Syntax, text.end, "The text ends too early"};
}

/// The fault of a text that isn't what `message` says, or has ended before.
inline JsonFault makeSyntaxFault(const JsonText& text, const char* message)
{
    if (text.isAtEnd()) return makeEndFault(text);
    return {JsonError::Kind::Syntax, text.at, message};
}

/// Determines lines and columns. Places must be given in ascending order, so that all of them
/// together take one pass over the text.
class JsonPlaces {
public:
    /// @param begin the first character of the text, after a byte order mark.
    JsonPlaces(std::string_view text, const char* begin) : mText(text.data()), mAt(begin) {}

    JsonPlace get(const char* at);

private:
    const char* mText;
    const char* mAt;
    std::size_t mLine = 1;
    std::size_t mColumn = 1;
};

}  // namespace qz::ext
