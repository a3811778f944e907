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
    // Owned here, so that an exception of a handler of lines ends the programs.
    const std::unique_ptr<Impl> impl = std::move(mImpl);
    if (!impl) return {};
    Communication communication(std::move(impl->options), impl->streams, impl->programs);
    ChildResult result = communication.run(wait);
    result.ends = impl->programs.reap(result.failure);
    return result;
}

bool ChildProcess::isRunning() const
{
    return mImpl && !mImpl->programs.updateEnds();
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
