// SPDX-License-Identifier: MIT
#include "Session.h"

#include <cerrno>

#include <limits.h>
#include <unistd.h>

#include <qz/qzSystemUtils.h>

#include "ReportLayout.h"
#include "base/LocalText.h"

namespace qz::ext::crash {

namespace {

// What a report of common length takes. If less is left, the last reports are replaced, so that the
// first ones remain, and that of the crash that ends the process.
constexpr std::size_t kLeastForReport = 16UL * 1024;
constexpr std::size_t kLastReports = kReportOffset + kReportBytes - 64UL * 1024;
constexpr std::size_t kEndLine = 16;

std::string readProgramPath()
{
    char path[PATH_MAX];
    const ssize_t size = ::readlink("/proc/self/exe", path, sizeof path);
    return size > 0 ? std::string(path, static_cast<std::size_t>(size)) : "program";
}

}  // namespace

std::unique_ptr<Session> Session::Make(const CrashOptions& options, SystemFailure* failure)
{
    std::unique_ptr<Session> session(new Session(options));
    if (!session->make(failure)) return nullptr;
    return session;
}

bool Session::make(SystemFailure* failure)
{
    const std::string program = readProgramPath();
    const long startMs = qzSystemUtils::GetMSecElapsedSinceEpoch();
    if (!mFile.make(mOptions.folder, program, startMs, mOptions.entryBytes, failure)) return false;
    mRing.emplace(mFile.getRing(), mFile.getRingBytes());
    mOut.emplace(mFile.getDescriptor(), kReportOffset, kReportOffset + kReportBytes);
    mModules.fill(program.c_str());
    describeProcess(program, startMs);
    return true;
}

void Session::describeProcess(const std::string& program, long startMs)
{
    *mOut << "program " << SafeText::Foreign{program.c_str()};
    mOut->endLine();
    *mOut << "pid " << SafeText::Number{::getpid()};
    mOut->endLine();
    *mOut << "start " << SafeText::Number{startMs};
    mOut->endLine();
    mOut->reserve(kLeastForReports);
    mModules.write(*mOut);
    mOut->release(kLeastForReports);
    mOut->reserve(kEndLine);
}

void Session::report(const Cause& cause)
{
    ++mReportCount;
    mFile.keep();
    if (mOut->getPosition() <= kLastReports) mLastReports = mOut->getPosition();
    if (mOut->getSpace() < kLeastForReport) mOut->rewind(mLastReports);
    Report(cause, mReportCount, mModules, mFrames, *mOut).write();
}

void Session::finish()
{
    if (mReportCount == 0) {
        mFile.removeUnkept();
        return;
    }
    mOut->release(kEndLine);
    *mOut << "ended";
    mOut->endLine();
}

}  // namespace qz::ext::crash
