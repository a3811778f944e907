// SPDX-License-Identifier: MIT
#include "StreamEnds.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/LocalText.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

constexpr mode_t kFileMode = 0666;
const char* const kNowhere = "/dev/null";

bool openFile(const std::string& path, int flags, OwnDescriptor& descriptor, SystemFailure& failure)
{
    if (path.find('\0') != std::string::npos) return fail(&failure, "open " + path, EINVAL);
    // Outside of `Open`, because a named pipe waits for its other end.
    FileDescriptor opened(
        restart([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, kFileMode); }));
    if (!opened.isOpen()) return fail(&failure, "open " + path, errno);
    descriptor = OwnDescriptor::Open([&] { return opened.release(); });
    return descriptor.isOpen() || fail(&failure, "fcntl", errno);
}

bool openPipe(OwnDescriptor& read, OwnDescriptor& write, SystemFailure& failure)
{
    return OwnDescriptor::OpenPipe(read, write) || fail(&failure, "pipe2", errno);
}

bool setNonBlocking(const OwnDescriptor& descriptor, SystemFailure& failure)
{
    return ::fcntl(descriptor.get(), F_SETFL, O_NONBLOCK) == 0 || fail(&failure, "fcntl", errno);
}

// A stream that this process has closed leads nowhere.
bool inherit(int place, int flags, OwnDescriptor& descriptor, SystemFailure& failure)
{
    descriptor =
        OwnDescriptor::Open([&] { return ::fcntl(place, F_DUPFD_CLOEXEC, kFirstOtherDescriptor); });
    if (descriptor.isOpen()) return true;
    if (errno != EBADF) return fail(&failure, "fcntl", errno);
    return openFile(kNowhere, flags, descriptor, failure);
}

int getFlags(ChildOutput::FileWay way)
{
    const int change = way == ChildOutput::FileWay::Append ? O_APPEND : O_TRUNC;
    return O_WRONLY | O_CREAT | change;
}

}  // namespace

bool StreamEnds::open(const ChildOptions& options, SystemFailure& failure)
{
    mIsErrorOutput = options.error.kind == ChildOutput::Kind::SameAsOutput;
    return openInput(options.input, failure) &&
           OpenOutput(options.output, STDOUT_FILENO, mOutput, output, failure) &&
           (mIsErrorOutput || OpenOutput(options.error, STDERR_FILENO, mError, error, failure)) &&
           openBetween(options.programs.size(), failure);
}

bool StreamEnds::openInput(const ChildInput& from, SystemFailure& failure)
{
    switch (from.kind) {
        case ChildInput::Kind::File:
            return openFile(from.text, O_RDONLY, mInput, failure);
        case ChildInput::Kind::Device:
        case ChildInput::Kind::Memory:
            return openPipe(mInput, input, failure) && setNonBlocking(input, failure);
        case ChildInput::Kind::Inherited:
            return inherit(STDIN_FILENO, O_RDONLY, mInput, failure);
        case ChildInput::Kind::Nothing:
            break;
    }
    return openFile(kNowhere, O_RDONLY, mInput, failure);
}

bool StreamEnds::OpenOutput(const ChildOutput& to, int place, OwnDescriptor& source,
                            OwnDescriptor& own, SystemFailure& failure)
{
    switch (to.kind) {
        case ChildOutput::Kind::File:
            return openFile(to.text, getFlags(to.way), source, failure);
        case ChildOutput::Kind::Device:
        case ChildOutput::Kind::Memory:
        case ChildOutput::Kind::Lines:
        case ChildOutput::Kind::Log:
            return openPipe(own, source, failure) && setNonBlocking(own, failure);
        case ChildOutput::Kind::Inherited:
            return inherit(place, O_WRONLY, source, failure);
        case ChildOutput::Kind::SameAsOutput:  // of the standard output itself
        case ChildOutput::Kind::Nothing:
            break;
    }
    return openFile(kNowhere, O_WRONLY, source, failure);
}

bool StreamEnds::openBetween(std::size_t programs, SystemFailure& failure)
{
    mReads.resize(programs - 1);
    mWrites.resize(programs - 1);
    for (std::size_t i = 0; i + 1 < programs; ++i) {
        if (!openPipe(mReads[i], mWrites[i], failure)) return false;
    }
    return true;
}

int StreamEnds::getSource(std::size_t program, int place) const
{
    if (place == STDIN_FILENO) return program == 0 ? mInput.get() : mReads[program - 1].get();
    if (place == STDERR_FILENO && !mIsErrorOutput) return mError.get();
    if (place == STDERR_FILENO) return mOutput.get();
    return program == mWrites.size() ? mOutput.get() : mWrites[program].get();
}

void StreamEnds::closeSources()
{
    mInput.close();
    mOutput.close();
    mError.close();
    mReads.clear();
    mWrites.clear();
}

}  // namespace qz::ext
