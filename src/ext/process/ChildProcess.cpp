#include <qz/ext/ChildProcess.h>

#include <cerrno>
#include <utility>

#include "Communication.h"
#include "ProgramGroup.h"
#include "StreamEnds.h"

namespace qz::ext {

struct ChildProcess::Impl {
    ChildOptions options;
    StreamEnds streams;
    ProgramGroup programs;
    bool isCommunicating = false;
};

ChildProcess::ChildProcess() = default;

ChildProcess::~ChildProcess() = default;

bool ChildProcess::start(ChildOptions options, SystemFailure* failure)
{
    SystemFailure ignored;
    SystemFailure& found = failure != nullptr ? *failure : ignored;
    if (mImpl || options.programs.empty()) {
        found = {"start", mImpl ? EBUSY : EINVAL};
        return false;
    }
    auto started = std::make_unique<Impl>();
    started->options = std::move(options);
    if (!started->streams.open(started->options, found) ||
        !started->programs.start(started->options, started->streams, found))
        return false;
    started->streams.closeSources();
    mImpl = std::move(started);
    return true;
}

ChildResult ChildProcess::communicate(const ChildWait& wait)
{
    if (!mImpl || mImpl->isCommunicating) return {};
    mImpl->isCommunicating = true;
    // After an exception of a handler of lines, this ends the programs.
    struct Reset {
        ~Reset() { impl.reset(); }
        std::unique_ptr<Impl>& impl;
    } const atEnd{mImpl};
    Communication communication(std::move(mImpl->options), mImpl->streams, mImpl->programs);
    ChildResult result = communication.run(wait);
    result.ends = mImpl->programs.reap(result.failure);
    return result;
}

bool ChildProcess::isRunning() const
{
    if (!mImpl) return false;
    mImpl->programs.updateEnds();
    return !mImpl->programs.haveAllEnded();
}

std::vector<int> ChildProcess::getPids() const
{
    return mImpl ? mImpl->programs.getPids() : std::vector<int>();
}

bool ChildProcess::sendSignal(int number)
{
    return mImpl && mImpl->programs.sendSignal(number);
}

ChildResult ChildProcess::Run(ChildOptions options, const ChildWait& wait)
{
    ChildProcess process;
    ChildResult result;
    if (!process.start(std::move(options), &result.failure)) return result;
    return process.communicate(wait);
}

}  // namespace qz::ext
