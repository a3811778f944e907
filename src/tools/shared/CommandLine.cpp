// SPDX-License-Identifier: MIT
#include "CommandLine.h"

#include <charconv>
#include <iostream>
#include <system_error>
#include <utility>

#include <qz/ext/PrintableText.h>

namespace shared {

namespace {

bool parseCount(const std::string& text, unsigned long& count)
{
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, count);
    return error == std::errc() && rest == end && count != 0;
}

}  // namespace

CommandLine::CommandLine(std::string program, std::string usage, int failureStatus)
    : mProgram(std::move(program)), mUsage(std::move(usage)), mFailureStatus(failureStatus)
{
}

void CommandLine::addFlag(const std::string& name, bool& flag)
{
    mOptions[name] = {/*hasValue=*/false, [&flag](const std::string&) { return flag = true; }};
}

void CommandLine::addText(const std::string& name, std::string& text)
{
    addOption(name, [&text](const std::string& value) {
        text = value;
        return !text.empty();
    });
}

void CommandLine::addCount(const std::string& name, unsigned long& count)
{
    addOption(name, [&count](const std::string& value) { return parseCount(value, count); });
}

void CommandLine::addOption(const std::string& name,
                            std::function<bool(const std::string& value)> take)
{
    mOptions[name] = {/*hasValue=*/true, std::move(take)};
}

std::optional<int> CommandLine::parse(int argumentCount, char** arguments)
{
    char** const end = arguments + argumentCount;
    bool areAllPlain = false;
    for (char** next = arguments + 1; next < end;) {
        const std::string argument = *next++;
        if (areAllPlain || argument == "-" || argument.rfind('-', 0) != 0) {
            mPlainArguments.push_back(argument);
            if (!areAllPlain) ++mCountBeforeDashes;
        } else if (argument == "--") {
            areAllPlain = true;
        } else if (argument == "--help" || argument == "-h") {
            return printUsage();
        } else if (const std::optional<int> status = parseOption(argument, next, end)) {
            return status;
        }
    }
    return std::nullopt;
}

// `next` is the argument after the option, and moves on if it is the option's value.
std::optional<int> CommandLine::parseOption(const std::string& argument, char**& next, char** end)
{
    const std::size_t split = argument.find('=');
    const bool isJoined = split != std::string::npos;
    const std::string name = argument.substr(0, split);
    if (name == "--help" || name == "-h") return refuse("option '" + name + "' takes no value");
    const auto found = mOptions.find(name);
    if (found == mOptions.end()) return refuse("unknown option '" + name + "'");
    const Option& option = found->second;
    if (!option.hasValue && isJoined) return refuse("option '" + name + "' takes no value");
    if (option.hasValue && !isJoined && next == end)
        return refuse("option '" + name + "' requires a value");

    std::string value;
    if (isJoined)
        value = argument.substr(split + 1);
    else if (option.hasValue)
        value = *next++;
    if (!option.take(value)) return refuse("option '" + name + "' can't be '" + value + "'");
    return std::nullopt;
}

// An argument may be the name of somebody else's file, which the shell has inserted for "*".
int CommandLine::refuse(const std::string& problem) const
{
    std::cerr << mProgram << ": " << qz::ext::EscapedText(problem) << " (--help shows the usage)\n";
    return kStatusRefused;
}

int CommandLine::printUsage() const
{
    if (std::cout << mUsage << std::flush) return 0;
    std::cerr << mProgram << ": cannot print the usage\n";
    return mFailureStatus;
}

}  // namespace shared
