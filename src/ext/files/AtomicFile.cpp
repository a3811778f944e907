// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string_view>
#include <vector>

#include <qz/ext/SafeFiles.h>

#include "WorkFile.h"
#include "base/LocalText.h"

namespace qz::ext {

namespace {

constexpr std::size_t kBufferSize = 65536;

}  // namespace

struct AtomicFile::State {
    std::string path;
    WorkFile file;
    std::vector<char> buffer;  // its memory is reserved by `openUtf8`
    SystemFailure failure;
    bool hasFailed = false;  // also if there is no failure because of an exception
};

// A step that an exception or a cancellation of the thread ends counts as failed.
template <typename Step>
bool AtomicFile::attempt(const Step& step)
{
    mState->hasFailed = true;
    SystemFailure reason;
    if (!step(reason)) return refuse(reason);
    mState->hasFailed = false;
    return true;
}

AtomicFile::AtomicFile() : qzIoDevice(DataWayWrite), mState(std::make_unique<State>()) {}

AtomicFile::~AtomicFile()
{
    discard();
}

bool AtomicFile::openUtf8(const std::string& path, SystemFailure* failure)
{
    State& state = *mState;
    discard();
    clearDeviceError();
    state.failure = {};
    state.path = path;
    state.buffer.reserve(kBufferSize);
    const auto open = [&](SystemFailure& reason) { return state.file.open(path, reason); };
    return attempt(open) || fail(failure, state.failure.step, state.failure.error);
}

bool AtomicFile::commit(SystemFailure* failure)
{
    State& state = *mState;
    const auto commitFile = [&](SystemFailure& reason) { return state.file.commit(reason); };
    if (!state.hasFailed && hasOwnError()) {
        // Set by the program, which may know that the content is not complete.
        refuse({"commit to " + state.path + ", a device in error", EIO});
    } else if (!state.hasFailed && writeOut() && attempt(commitFile)) {
        return true;
    } else if (!state.failure) {
        refuse({"commit to " + state.path, ENOMEM});
    }
    return fail(failure, state.failure.step, state.failure.error);
}

void AtomicFile::discard()
{
    mState->buffer.clear();
    mState->file.discard();
}

bool AtomicFile::isOpen() const
{
    return mState->file.isOpen();
}

bool AtomicFile::isCommitted() const
{
    return mState->file.isInPlace();
}

const SystemFailure& AtomicFile::getFailure() const
{
    return mState->failure;
}

unsigned long AtomicFile::readBytes(char* /*dst*/, unsigned long /*size*/)
{
    return 0;
}

unsigned long AtomicFile::writeBytes(const char* src, unsigned long size)
{
    State& state = *mState;
    if (state.hasFailed || hasOwnError()) return 0;
    if (!isOpen()) {
        refuse({"write for " + state.path, EBADF});
        return 0;
    }
    const std::string_view bytes(src, size);
    const bool isFitting = size <= kBufferSize - state.buffer.size();
    if (!isFitting && !writeOut()) return 0;
    if (size < kBufferSize) {
        state.buffer.insert(state.buffer.end(), bytes.begin(), bytes.end());
        return size;
    }
    const auto write = [&](SystemFailure& reason) { return state.file.write(bytes, reason); };
    return attempt(write) ? size : 0;
}

bool AtomicFile::atEnd() const
{
    return true;
}

// Nothing may follow a failure, so the file is removed at once. @return false, for the caller.
bool AtomicFile::refuse(const SystemFailure& reason)
{
    mState->hasFailed = true;
    discard();
    if (!mState->failure) mState->failure = reason;
    setDeviceError(reason.toString());
    return false;
}

bool AtomicFile::writeOut()
{
    State& state = *mState;
    const auto write = [&](SystemFailure& reason) {
        return state.file.write({state.buffer.data(), state.buffer.size()}, reason);
    };
    if (!attempt(write)) return false;
    state.buffer.clear();
    return true;
}

}  // namespace qz::ext
