// SPDX-License-Identifier: MIT
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

    /// Null in a forked process as well, where nobody may wait for the programs.
    static Impl* GetOwn(const std::unique_ptr<Impl>& impl)
    {
        return impl && impl->programs.isOwn() ? impl.get() : nullptr;
    }
};

ChildProcess::ChildProcess() = default;

ChildProcess::~ChildProcess() = default;

bool ChildProcess::start(ChildOptions options, SystemFailure* failure)
{
    SystemFailure ignored;
    SystemFailure& found = failure != nullptr ? *failure : ignored;
    const bool isBusy = Impl::GetOwn(mImpl) != nullptr;
    if (isBusy || options.programs.empty()) {
        found = {"start", isBusy ? EBUSY : EINVAL};
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
    Impl* const own = Impl::GetOwn(mImpl);
    if (own == nullptr || own->isCommunicating) return {};
    own->isCommunicating = true;
    // After an exception of a handler of lines, this ends the programs.
    struct Reset {
        ~Reset() { impl.reset(); }
        std::unique_ptr<Impl>& impl;
    } const atEnd{mImpl};
    Communication communication(std::move(own->options), own->streams, own->programs);
    ChildResult result = communication.run(wait);
    result.ends = own->programs.reap(result.failure);
    return result;
}

bool ChildProcess::isRunning() const
{
    Impl* const own = Impl::GetOwn(mImpl);
    if (own == nullptr) return false;
    own->programs.updateEnds();
    return !own->programs.haveAllEnded();
}

std::vector<int> ChildProcess::getPids() const
{
    const Impl* const own = Impl::GetOwn(mImpl);
    return own != nullptr ? own->programs.getPids() : std::vector<int>();
}

bool ChildProcess::sendSignal(int number)
{
    const Impl* const own = Impl::GetOwn(mImpl);
    return own != nullptr && own->programs.sendSignal(number);
}

ChildResult ChildProcess::Run(ChildOptions options, const ChildWait& wait)
{
    ChildProcess process;
    ChildResult result;
    if (!process.start(std::move(options), &result.failure)) return result;
    return process.communicate(wait);
}

}  // namespace qz::ext
