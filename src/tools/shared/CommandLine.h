// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace shared {

/// The command line of a program: options that begin with "-", and plain arguments.
///
/// An option's value is the next argument or follows a "=". "-h" and "--help" print the usage text.
/// After "--" every argument is a plain one, and "-" alone always is.
class CommandLine {
public:
    /// The exit status for a command line that makes no sense.
    static constexpr int kStatusRefused = 2;

    /// @param program the name that begins the messages.
    /// @param failureStatus the exit status for a usage text that can't be printed.
    CommandLine(std::string program, std::string usage, int failureStatus);

    /// Adds an option without a value, which sets `flag`. What is set must outlive the call of
    /// `parse`, here and below.
    void addFlag(const std::string& name, bool& flag);
    /// Adds an option with a text that must not be empty.
    void addText(const std::string& name, std::string& text);
    /// Adds an option with a number that must be at least 1.
    void addCount(const std::string& name, unsigned long& count);
    /// Adds an option whose value `take` stores; it returns false for an impossible value.
    void addOption(const std::string& name, std::function<bool(const std::string& value)> take);

    /// Reads the arguments. What is wrong with them is reported in one line on standard error.
    /// @return the exit status when the program must end now, after the usage text as well.
    std::optional<int> parse(int argumentCount, char** arguments);
    /// Reports what is wrong with the command line. @return kStatusRefused.
    int refuse(const std::string& problem) const;

    /// The arguments that are no options.
    const std::vector<std::string>& getPlainArguments() const { return mPlainArguments; }
    /// How many of them come before "--".
    std::size_t getCountBeforeDashes() const { return mCountBeforeDashes; }

private:
    struct Option {
        bool hasValue;
        std::function<bool(const std::string&)> take;
    };

    int printUsage() const;
    std::optional<int> parseOption(const std::string& argument, char**& next, char** end);

    const std::string mProgram;
    const std::string mUsage;
    const int mFailureStatus;
    std::map<std::string, Option> mOptions;
    std::vector<std::string> mPlainArguments;
    std::size_t mCountBeforeDashes = 0;
};

}  // namespace shared
