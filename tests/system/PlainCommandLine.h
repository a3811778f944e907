// SPDX-License-Identifier: MIT
#pragma once

// The splitting of command lines in its plain form: it looks for the end of each token in the whole
// text, where the real one goes from state to state.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "../text/PlainText.h"

namespace qz::plain {

/// What comes of a command line.
struct CommandLine {
    bool isAccepted = false;
    std::string program = {};
    std::vector<std::string> arguments = {};
    std::vector<std::string> logLines = {};  ///< As "TYPE message", while DEBUG is on.

    friend bool operator==(const CommandLine&, const CommandLine&) = default;
};

inline std::size_t getWellFormedSize(std::string_view text)
{
    std::size_t size = 0;
    while (size < text.size()) {
        const std::size_t sequence = getSequenceSize(text.substr(size));
        if (sequence == 0) break;
        size += sequence;
    }
    return size;
}

/// The tokens of the command line, and whether it is split to its end.
struct Tokens {
    std::vector<std::string> texts = {};
    bool areAll = false;
    bool hasQuoteInside = false;
};

inline Tokens findTokens(const std::string& commandLine)
{
    Tokens tokens;
    const std::string text = commandLine.substr(0, getWellFormedSize(commandLine));
    const bool isWellFormed = !text.empty() && text == commandLine;
    for (std::size_t from = text.find_first_not_of(" \t"); from < text.size();
         from = text.find_first_not_of(" \t", from)) {
        const bool isQuoted = text[from] == '"';
        if (isQuoted) ++from;
        const std::size_t end = text.find_first_of(isQuoted ? "\"" : " \t\"", from);
        tokens.hasQuoteInside = !isQuoted && end != kNone && text[end] == '"';
        if (tokens.hasQuoteInside || (end == kNone && !isWellFormed)) return tokens;
        tokens.texts.push_back(text.substr(from, end - from));
        from = end == kNone ? text.size() : end + 1;
    }
    tokens.areAll = isWellFormed;
    return tokens;
}

inline CommandLine splitCommandLine(const std::string& text)
{
    const Tokens tokens = findTokens(text);
    CommandLine result;
    if (!tokens.texts.empty()) {
        result.program = tokens.texts.front();
        result.arguments.assign(tokens.texts.begin() + 1, tokens.texts.end());
    }
    result.isAccepted = tokens.areAll && !result.program.empty();
    if (tokens.hasQuoteInside)
        result.logLines.push_back("DEBUG Fail to split command line : '" + text + "'");
    if (!tokens.areAll) result.logLines.push_back("CRITICAL Invalid command line : " + text);
    return result;
}

}  // namespace qz::plain
