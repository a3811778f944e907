// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace qz::support {

/// Redirects a descriptor into memory until the end of the scope, and so the output of C++ and C
/// streams, system calls and children.
class OutputCapture {
public:
    explicit OutputCapture(int fd);
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /// Everything that was written until now.
    std::string getText() const;

private:
    int mFd;
    int mSavedFd;
    int mMemoryFd;
};

/// Captures the standard output.
class StdoutCapture : public OutputCapture {
public:
    StdoutCapture() : OutputCapture(1) {}
};

/// Captures the standard error stream.
class StderrCapture : public OutputCapture {
public:
    StderrCapture() : OutputCapture(2) {}
};

/// Makes a descriptor of a nameless file in memory that holds `content`, positioned at its start.
int makeMemoryFile(const std::string& content = {});
/// The whole content of a file by its descriptor, whose position stays.
std::string readWholeFile(int fd);
/// Empties the buffers of the C and C++ standard streams.
void flushStandardStreams();

}  // namespace qz::support
