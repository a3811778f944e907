// SPDX-License-Identifier: MIT
#include "ProgramImage.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

namespace qz::ext {

namespace {

// What the C library searches without the variable PATH.
constexpr std::string_view kDefaultPath = "/bin:/usr/bin";

// The system declares its parameters without const, and changes nothing.
std::vector<char*> makePointers(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

ProgramImage::ProgramImage(const ChildProgram& program) : mFolder(program.workingFolder)
{
    mArguments.reserve(program.arguments.size() + 1);
    mArguments.push_back(program.program);
    mArguments.insert(mArguments.end(), program.arguments.begin(), program.arguments.end());
    addPaths();
    addEnvironment(program);
    if (hasZeroByte()) mIsValid = false;
    mPathPointers = makePointers(mPaths);
    mArgumentPointers = makePointers(mArguments);
    mEnvironmentPointers = makePointers(mEnvironment);
}

void ProgramImage::addPaths()
{
    const std::string& program = mArguments.front();
    // An empty name must not find a folder of PATH.
    if (program.empty() || program.find('/') != std::string::npos) {
        mPaths.push_back(program);
        return;
    }
    const char* const variable = std::getenv("PATH");
    std::string_view folders = variable != nullptr ? variable : kDefaultPath;
    for (bool isLast = false; !isLast;) {
        const std::string_view folder = folders.substr(0, folders.find(':'));
        isLast = folder.size() == folders.size();
        folders.remove_prefix(isLast ? folder.size() : folder.size() + 1);
        // An empty entry is the current folder.
        mPaths.push_back(folder.empty() ? program : std::string(folder) + '/' + program);
    }
}

void ProgramImage::addEnvironment(const ChildProgram& program)
{
    if (program.inheritsEnvironment && ::environ != nullptr) {
        for (char** variable = ::environ; *variable != nullptr; ++variable) {
            const std::string_view text = *variable;
            const std::string name(text.substr(0, text.find('=')));
            if (!program.environment.contains(name)) mEnvironment.emplace_back(text);
        }
    }
    for (const auto& [name, value] : program.environment) {
        if (!value) continue;
        mEnvironment.push_back(name + '=' + *value);
        // Otherwise it would be another variable.
        if (name.empty() || name.find('=') != std::string::npos) mIsValid = false;
    }
}

bool ProgramImage::hasZeroByte() const
{
    const auto hasZero = [](const std::string& text) {
        return text.find('\0') != std::string::npos;
    };
    return hasZero(mFolder) || std::any_of(mArguments.begin(), mArguments.end(), hasZero) ||
           std::any_of(mEnvironment.begin(), mEnvironment.end(), hasZero);
}

}  // namespace qz::ext
