#pragma once

#include <string>
#include <vector>

#include <qz/qzCancelInterface.h>
#include <qz/qzWorkThread.h>

#include "Options.h"
#include "OutputFile.h"
#include "Progress.h"
#include "Recording.h"

namespace recorder {

/// What the work of one way came to.
struct Way {
    Counts counts;
    unsigned long durationMs = 0;
};

/// A share of the files with a recording of its own: records them, reads them back and compares.
class Part : public qz::qzJob {
public:
    /// @param outputPath where the recording is to stand; empty for a temporary one.
    Part(std::vector<std::string> paths, const std::string& outputPath, const Options& options,
         const qz::qzCancelInterfaceReadOnly& cancel, Progress& progress);

    /// Does the work.
    void run();

    /// Whether all files were recorded and came back the same.
    bool isDone() const { return mIsDone; }
    /// The files that an interruption left out, the one that it cut short first.
    const std::vector<std::string>& getMissingPaths() const { return mMissingPaths; }
    const Way& getWritten() const { return mWritten; }
    const Way& getReadBack() const { return mReadBack; }

private:
    bool record();
    bool compare();
    bool keep();

    std::vector<std::string> mPaths;
    std::vector<std::string> mRecordedPaths;
    std::vector<std::string> mMissingPaths;
    std::string mOutputPath;
    OutputFile mOutput;
    const Options& mOptions;
    const qz::qzCancelInterfaceReadOnly& mCancel;
    Progress& mProgress;
    Way mWritten;
    Way mReadBack;
    std::uint64_t mChecksum = 0;
    bool mHasFailures = false;
    bool mIsDone = false;
};

/// Works on parts, one after the other.
class PartThread : public qz::qzWorkThread {
public:
    /// Starts the thread with a part to work on, which must outlive it.
    explicit PartThread(Part& part);
    /// Waits for the part at work.
    ~PartThread() override;

    void processJob(qz::qzJob* job) override { static_cast<Part*>(job)->run(); }
};

}  // namespace recorder
