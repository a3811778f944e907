// SPDX-License-Identifier: MIT
#include "Part.h"

#include <utility>

#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>

namespace recorder {

namespace {

constexpr const char* kChannel = "recorder";

class StopWatch {
public:
    unsigned long getElapsedMs() const { return qz::qzSystemUtils::GetTimeBaseMs() - mStart; }

private:
    unsigned long mStart = qz::qzSystemUtils::GetTimeBaseMs();
};

}  // namespace

Part::Part(std::vector<std::string> paths, const std::string& outputPath, const Options& options,
           const qz::qzCancelInterfaceReadOnly& cancel, Progress& progress)
    : mPaths(std::move(paths)),
      mOutputPath(outputPath),
      mOutput(outputPath),
      mIsOutputMade(mOutput.make(mOutputError)),
      mOptions(options),
      mCancel(cancel),
      mProgress(progress)
{
    if (options.isBuffered) mSwapFolder.emplace();
}

void Part::discard()
{
    mOutput.discard();
    if (mSwapFolder) mSwapFolder->remove();
}

void Part::run()
{
    mIsWritten = record();
    const bool hasMatched = mIsWritten && !mCancel.shouldCancel() && compare();
    mIsDone = hasMatched && !mHasFailures;
    mProgress.countEndedPart();
}

void Part::keep()
{
    std::string error;
    if (!mIsWritten || mOutput.keep(error)) return;
    qz::logCritical(kChannel) << "cannot make '" << mOutputPath << "': " << error;
    mIsDone = false;
}

bool Part::record()
{
    const StopWatch watch;
    if (!mIsOutputMade) {
        qz::logCritical(kChannel) << "cannot make '" << mOutputPath << "': " << mOutputError;
        return false;
    }
    std::string error;
    RecordWriter writer(mOutput.getWorkPath(), mOptions.endianness,
                        mSwapFolder ? &*mSwapFolder : nullptr, mCancel);
    for (const std::string& path : mPaths) {
        if (mCancel.shouldCancel()) {
            mMissingPaths.push_back(path);
            continue;
        }
        if (!writer.isOk()) break;
        RecordedFile file;
        if (!writer.recordFile(path, file, error)) {
            qz::logWarning(kChannel) << "cannot record '" << path << "': " << error;
            mHasFailures = true;
        }
        if (!file.path.empty()) mRecordedFiles.push_back(file);
        if (mCancel.shouldCancel()) mMissingPaths.push_back(path);
        mProgress.countRecordedFile();
    }
    const bool isComplete = writer.finish();
    mWritten = {writer.getCounts(), watch.getElapsedMs()};
    mChecksum = writer.getChecksum();
    if (isComplete) return true;
    qz::logCritical(kChannel) << "cannot write '" << mOutput.getWorkPath()
                              << "': " << writer.getError();
    return false;
}

bool Part::compare()
{
    const StopWatch watch;
    RecordReader reader(mOutput.getWorkPath(), mOptions.endianness, mCancel);
    bool hasMatched = true;
    for (const RecordedFile& file : mRecordedFiles) {
        hasMatched = reader.compareFile(file);
        if (mCancel.shouldCancel()) return false;
        mProgress.countComparedFile();
        if (hasMatched) continue;
        qz::logCritical(kChannel) << "the recording differs from '" << file.path << "' "
                                  << reader.getError();
        break;
    }
    mReadBack = {reader.getCounts(), watch.getElapsedMs()};
    return hasMatched && reader.isAtEnd() && reader.getChecksum() == mChecksum;
}

PartThread::PartThread(Part& part)
{
    startThread("recorder");
    beginWake();
    addJob(&part);
    endWake();
}

PartThread::~PartThread()
{
    stop();
}

}  // namespace recorder
