// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <qz/qzCancelInterface.h>
#include <qz/qzWorkThread.h>

#include "Options.h"
#include "Progress.h"
#include "Recording.h"
#include "SwapFolder.h"
#include "shared/OutputFile.h"

namespace recorder {

/// The counts and the time of one direction, writing or reading back.
struct Way {
    Counts counts;
    unsigned long durationMs = 0;
};

/// A share of the files with a recording of its own: records them, reads them back and compares.
class Part : public qz::qzJob {
public:
    /// @param outputPath the path of the recording; empty for a temporary one.
    Part(std::vector<std::string> paths, const std::string& outputPath, const Options& options,
         const qz::qzCancelInterfaceReadOnly& cancel, Progress& progress);

    /// Does the work.
    void run();
    /// Gives the recording its name, after the work. An interruption may discard it until then.
    void keep();
    /// Removes the recording and its swap file because the process ends. From any
    /// thread.
    void discard();

    /// Whether all files were recorded, were read back the same, and the recording has its name.
    bool isDone() const { return mIsDone; }
    /// The files that an interruption left out; the first one is the one that it cut short.
    const std::vector<std::string>& getMissingPaths() const { return mMissingPaths; }
    const Way& getWritten() const { return mWritten; }
    const Way& getReadBack() const { return mReadBack; }

private:
    bool record();
    bool compare();

    std::vector<std::string> mPaths;
    std::vector<RecordedFile> mRecordedFiles;
    std::vector<std::string> mMissingPaths;
    std::string mOutputPath;
    shared::OutputFile mOutput;
    std::optional<SwapFolder> mSwapFolder;
    std::string mOutputError;  // why the file of the recording can't be made
    bool mIsOutputMade;
    const Options& mOptions;
    const qz::qzCancelInterfaceReadOnly& mCancel;
    Progress& mProgress;
    Way mWritten;
    Way mReadBack;
    std::uint64_t mChecksum = 0;
    bool mHasFailures = false;
    bool mIsWritten = false;
    bool mIsDone = false;
};

/// Works on parts, one after the other.
class PartThread : public qz::qzWorkThread {
public:
    /// Starts the thread with a part to work on, which must outlive it.
    explicit PartThread(Part& part);
    /// Waits for the current part.
    ~PartThread() override;

    void processJob(qz::qzJob* job) override { static_cast<Part*>(job)->run(); }
};

}  // namespace recorder
