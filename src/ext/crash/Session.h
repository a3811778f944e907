// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include <qz/ext/CrashKit.h>

#include "CrashFile.h"
#include "EntryRing.h"
#include "Frames.h"
#include "Modules.h"
#include "Report.h"
#include "SafeText.h"

namespace qz::ext::crash {

/// One installation of the kit, with its file.
class Session {
public:
    /// @return null after a failure.
    static std::unique_ptr<Session> Make(const CrashOptions& options, SystemFailure* failure);

    /// Writes a report, over the last ones if there is no more space. Safe in a signal handler, by
    /// the holder of the lock of reports.
    void report(const Cause& cause);
    /// At a normal end: notes it in a file with reports, and removes a file without.
    void finish();

    EntryRing& editRing() { return *mRing; }
    const std::string& getPath() const { return mFile.getPath(); }
    const CrashOptions& getOptions() const { return mOptions; }

private:
    explicit Session(const CrashOptions& options) : mOptions(options) {}

    bool make(SystemFailure* failure);
    void describeProcess(const std::string& program, long startMs);

    const CrashOptions mOptions;
    CrashFile mFile;
    std::optional<EntryRing> mRing;
    std::optional<SafeText> mOut;
    Modules mModules;
    Frames mFrames;
    long mReportCount = 0;
    std::size_t mLastReports = 0;  // where the reports begin that further ones replace
};

}  // namespace qz::ext::crash
