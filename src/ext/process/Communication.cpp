// SPDX-License-Identifier: MIT
#include "Communication.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include <signal.h>
#include <unistd.h>

#include <qz/qzCancelInterface.h>

#include "base/QuietWrite.h"

namespace qz::ext {

namespace {

constexpr int kPollPeriodMs = 20;
constexpr std::size_t kBufferBytes = 65536;

bool isTemporary(int error)
{
    return error == EAGAIN || error == EINTR;
}

}  // namespace

Communication::Communication(ChildOptions options, StreamEnds& streams, ProgramGroup& programs)
    : mStreams(streams),
      mPrograms(programs),
      mInput(std::move(options.input)),
      mOutput(options.output),
      mError(options.error),
      mBuffer(kBufferBytes),
      mDeadline(-1)
{
}

ChildResult Communication::run(const ChildWait& wait)
{
    mDeadline = Deadline(wait.timeoutMs);
    while (!isOver()) {
        waitForEvents(chooseTimeoutMs(wait));
        passBytes();
        stopIfNecessary(wait);
    }
    // What the programs have started and left must not survive them, once they are stopped.
    if (mStage != Stage::Running) mPrograms.sendSignal(SIGKILL);
    drainOutputs();
    mOutput.finish();
    mError.finish();
    noteFailure(mInput.getFailure());
    noteFailure(mOutput.getFailure());
    noteFailure(mError.getFailure());
    mResult.isOutputCut = mOutput.isCut();
    mResult.isErrorCut = mError.isCut();
    mResult.output = mOutput.takeText();
    mResult.error = mError.takeText();
    return std::move(mResult);
}

bool Communication::isOver() const
{
    if (!mPrograms.haveAllEnded()) return false;
    // A process that has left the group may have an output open for ever.
    if (mStage == Stage::Killed) return true;
    return !mStreams.output.isOpen() && !mStreams.error.isOpen();
}

int Communication::chooseTimeoutMs(const ChildWait& wait) const
{
    const int remainingMs = mDeadline.getRemainingMs();
    const bool isCancelled = wait.cancel != nullptr && mStage == Stage::Running;
    if (!isCancelled && !mPrograms.mustPoll()) return remainingMs;
    return remainingMs < 0 ? kPollPeriodMs : std::min(remainingMs, kPollPeriodMs);
}

// `poll` passes over negative descriptors, those of what is closed.
void Communication::waitForEvents(int timeoutMs)
{
    mWaits.clear();
    mWaits.push_back({mStreams.input.get(), POLLOUT, 0});
    mWaits.push_back({mStreams.output.get(), POLLIN, 0});
    mWaits.push_back({mStreams.error.get(), POLLIN, 0});
    mPrograms.addWaits(mWaits);
    if (::poll(mWaits.data(), mWaits.size(), timeoutMs) >= 0 || errno == EINTR) return;
    noteFailure({"poll", errno});
    // Without `poll` a wait would take all of a processor.
    mPrograms.sendSignal(SIGKILL);
    mStage = Stage::Killed;
}

void Communication::passBytes()
{
    if (mWaits[0].revents != 0) writeInput();
    if (mWaits[1].revents != 0) readOutput(mStreams.output, mOutput);
    if (mWaits[2].revents != 0) readOutput(mStreams.error, mError);
    const bool hasOneEnded = std::any_of(mWaits.begin() + 3, mWaits.end(),
                                         [](const pollfd& wait) { return wait.revents != 0; });
    // After a failed `poll` nothing else shows the ends.
    if (hasOneEnded || mPrograms.mustPoll() || mStage == Stage::Killed) mPrograms.updateEnds();
}

// After a kill the outputs may be open, with bytes from before.
void Communication::drainOutputs()
{
    constexpr int kMaxReads = 16;  // what the largest pipe holds; another process may fill it again
    for (int i = 0; i < kMaxReads && readOutput(mStreams.output, mOutput); ++i) {
    }
    for (int i = 0; i < kMaxReads && readOutput(mStreams.error, mError); ++i) {
    }
}

// Whether a limit is reached, which the result then says.
bool Communication::mustStop(const ChildWait& wait)
{
    const bool isCancelled = wait.cancel != nullptr && wait.cancel->shouldCancel();
    if (!isCancelled && !mDeadline.hasPassed()) return false;
    // Programs that have ended in time were not stopped, though their outputs are still unread.
    if (mPrograms.haveAllEnded()) drainOutputs();
    if (isOver()) return false;
    mResult.isCancelled = isCancelled;
    mResult.hasTimedOut = !isCancelled;
    return true;
}

void Communication::stopIfNecessary(const ChildWait& wait)
{
    if (isOver()) return;
    if (mStage == Stage::Running) {
        if (!mustStop(wait)) return;
        mPrograms.sendSignal(SIGTERM);
        mStage = Stage::Terminated;
        mDeadline = Deadline(std::max(wait.graceMs, 0));
    } else if (mStage == Stage::Terminated && mDeadline.hasPassed()) {
        mPrograms.sendSignal(SIGKILL);
        mStage = Stage::Killed;
        mDeadline = Deadline(-1);
    }
}

void Communication::writeInput()
{
    const std::string_view bytes = mInput.getNext();
    if (bytes.empty()) return mStreams.input.close();
    const ssize_t written = writeQuietly(mStreams.input.get(), bytes);
    if (written >= 0) return mInput.remove(static_cast<std::size_t>(written));
    if (isTemporary(errno)) return;
    // A program need not read all of its input.
    if (errno != EPIPE) noteFailure({"write", errno});
    mStreams.input.close();
}

// Whether bytes have been read.
bool Communication::readOutput(OwnDescriptor& from, OutputSink& to)
{
    if (!from.isOpen()) return false;
    const ssize_t count = ::read(from.get(), mBuffer.data(), mBuffer.size());
    if (count > 0) {
        to.add({mBuffer.data(), static_cast<std::size_t>(count)});
        return true;
    }
    if (count < 0 && isTemporary(errno)) return false;
    if (count < 0) noteFailure({"read", errno});
    from.close();
    return false;
}

void Communication::noteFailure(const SystemFailure& failure)
{
    if (!mResult.failure) mResult.failure = failure;
}

}  // namespace qz::ext
