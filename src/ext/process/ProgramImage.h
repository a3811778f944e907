// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/ext/ChildProcess.h>

namespace qz::ext {

/// What a child executes, in the form of the system. It is made before the child exists, which may
/// not allocate memory.
class ProgramImage {
public:
    /// Looks at PATH and at the variables of this process.
    explicit ProgramImage(const ChildProgram& program);
    ProgramImage(const ProgramImage&) = delete;
    ProgramImage& operator=(const ProgramImage&) = delete;

    /// Whether the system can take over the texts as they are: none holds a zero byte, which it
    /// would take for the end, and no name of a variable to set is empty or has a '='.
    bool isValid() const { return mIsValid; }
    /// The paths to try, in their order, with a null at the end.
    const char* const* getPaths() const { return mPathPointers.data(); }
    char* const* getArguments() const { return mArgumentPointers.data(); }
    char* const* getEnvironment() const { return mEnvironmentPointers.data(); }
    /// The working folder; null for that of this process.
    const char* getFolder() const { return mFolder.empty() ? nullptr : mFolder.c_str(); }

private:
    void addPaths();
    void addEnvironment(const ChildProgram& program);
    bool hasZeroByte() const;

    std::string mFolder;
    std::vector<std::string> mPaths;
    std::vector<std::string> mArguments;  // with the program as argument 0
    std::vector<std::string> mEnvironment;
    std::vector<char*> mPathPointers;
    std::vector<char*> mArgumentPointers;
    std::vector<char*> mEnvironmentPointers;
    bool mIsValid = true;
};

}  // namespace qz::ext
