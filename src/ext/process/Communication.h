// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include <poll.h>

#include <qz/ext/ChildProcess.h>

#include "InputSource.h"
#include "OutputSink.h"
#include "ProgramGroup.h"
#include "StreamEnds.h"
#include "base/Deadline.h"

namespace qz::ext {

/// Passes bytes between this process and its programs until all is over.
class Communication {
public:
    /// @param options the sources and targets; the other parts were used by the start.
    Communication(ChildOptions options, StreamEnds& streams, ProgramGroup& programs);

    /// Runs to the end. Its result has no ends of programs yet.
    ChildResult run(const ChildWait& wait);

private:
    enum class Stage { Running, Terminated, Killed };

    void waitForEvents(int timeoutMs);
    void passBytes();
    void drainOutputs();
    int chooseTimeoutMs(const ChildWait& wait) const;
    bool isOver() const;
    bool mustStop(const ChildWait& wait);
    void stopIfNecessary(const ChildWait& wait);
    void writeInput();
    bool readOutput(OwnDescriptor& from, OutputSink& to);
    void noteFailure(const SystemFailure& failure);

    StreamEnds& mStreams;
    ProgramGroup& mPrograms;
    InputSource mInput;
    OutputSink mOutput;
    OutputSink mError;
    std::vector<char> mBuffer;
    std::vector<pollfd> mWaits;  // input, output, error, and the ends of the programs
    Deadline mDeadline;
    Stage mStage = Stage::Running;
    ChildResult mResult;
};

}  // namespace qz::ext
