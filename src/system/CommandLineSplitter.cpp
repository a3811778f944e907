// SPDX-License-Identifier: MIT
#include "CommandLineSplitter.h"

#include <utf8.h>

namespace qz::system {

namespace {

bool isBlank(std::string_view codePoint)
{
    return codePoint == " " || codePoint == "\t";
}

bool isQuote(std::string_view codePoint)
{
    return codePoint == "\"";
}

// Takes a command line one code point at a time.
class Splitter {
public:
    Splitter(std::string& program, std::vector<std::string>& arguments)
        : mProgram(program), mArguments(arguments)
    {
    }

    // False for a quote where none may stand.
    bool take(std::string_view codePoint)
    {
        switch (mState) {
            case State::BetweenTokens:
                if (!isBlank(codePoint)) beginToken(codePoint);
                break;
            case State::Plain:
                if (isQuote(codePoint)) return false;
                takeInToken(codePoint, isBlank(codePoint));
                break;
            case State::Quoted:
                takeInToken(codePoint, isQuote(codePoint));
                break;
        }
        return true;
    }

    // A quote that was never closed ends here, as a plain token does.
    void end()
    {
        if (mState != State::BetweenTokens) finishToken();
    }

private:
    enum class State { BetweenTokens, Plain, Quoted };

    void beginToken(std::string_view codePoint)
    {
        mState = isQuote(codePoint) ? State::Quoted : State::Plain;
        if (mState == State::Plain) mToken = codePoint;
    }

    void takeInToken(std::string_view codePoint, bool isItsEnd)
    {
        if (isItsEnd)
            finishToken();
        else
            mToken += codePoint;
    }

    // Empty tokens count: `"" x` has the argument x, and a program that is empty.
    void finishToken()
    {
        if (mHasProgram)
            mArguments.push_back(mToken);
        else
            mProgram = mToken;
        mHasProgram = true;
        mToken.clear();
        mState = State::BetweenTokens;
    }

    std::string& mProgram;
    std::vector<std::string>& mArguments;
    std::string mToken;  // empty between tokens
    bool mHasProgram = false;
    State mState = State::BetweenTokens;
};

}  // namespace

SplitEnd splitCommandLine(std::string_view commandLine, std::string& program,
                          std::vector<std::string>& arguments)
{
    Splitter splitter(program, arguments);
    const char* position = commandLine.data();
    const char* const end = position + commandLine.size();
    try {
        // The first code point is read without a test of the length, so an empty command line
        // fails, while one of blanks alone does not.
        do {
            const char* const begin = position;
            utf8::next(position, end);
            if (!splitter.take({begin, position})) return SplitEnd::QuoteInToken;
        } while (position != end);
    } catch (const utf8::exception&) {
        return SplitEnd::NotUtf8;
    }
    splitter.end();
    return SplitEnd::EndOfText;
}

}  // namespace qz::system
