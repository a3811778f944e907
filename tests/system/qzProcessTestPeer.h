// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzProcess.h>

#include "io/VirtualSlots.h"
#include "system/ProcessState.h"

namespace qz {

/// Looks into a process object.
class qzProcessTestPeer {
public:
    using State = qzProcess::Impl;
    static State& getState(const qzProcess& process) { return *process.mImpl; }

    static Offsets getOffsets(const qzProcess& process)
    {
        return {findOffset(process, process.mImpl)};
    }
    static Offsets getStateOffsets(const qzProcess& process)
    {
        const State& state = *process.mImpl;
        return {findOffset(state, state.environment),
                findOffset(state, state.arguments),
                findOffset(state, state.workingDirectory),
                findOffset(state, state.program),
                findOffset(state, state.state),
                findOffset(state, state.pid),
                findOffset(state, state.exitCode)};
    }
};

}  // namespace qz
