#include "LogFileBatch.h"

#include <cerrno>
#include <iostream>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include <qz/qzDirUtils.h>

#include "LogFile.h"
#include "LogLine.h"
#include "text/TextServices.h"

namespace qz::log {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kBlockSize = 65536;

// An error ends the block: there is nobody to tell.
void writeBlock(int descriptor, std::string_view block)
{
    while (!block.empty()) {
        const ssize_t written = ::write(descriptor, block.data(), block.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        block.remove_prefix(static_cast<std::size_t>(written));
    }
}

}  // namespace

void LogFileBatch::write(const qzLog::LogEntry& entry)
{
    if (!mHasBegun) begin();
    if (mParameters.maxFileSize > 0 && mPosition > mParameters.maxFileSize) rotate();
    if (mDescriptor < 0) {
        // For the next batch, which will find the folder; this one has lost its file.
        if (text::areServicesUp()) qzDirUtils::MkpathUtf8(mParameters.folder);
        if (!mParameters.echoToConsole) writeLine(std::cout, entry.prefix, entry.message);
        return;
    }
    const std::size_t sizeBefore = mLines.size();
    if (mPosition == 0) mLines += kByteOrderMark;
    mLines.append(entry.prefix).append(entry.message) += '\n';
    mPosition += static_cast<long>(mLines.size() - sizeBefore);
    if (mLines.size() >= kBlockSize) flush();
}

void LogFileBatch::close()
{
    flush();
    if (mDescriptor >= 0) ::close(mDescriptor);
    mDescriptor = -1;
    mHasBegun = false;
}

void LogFileBatch::begin()
{
    mHasBegun = true;
    // The calendar has given the file a new name.
    if (mParameters.rotationPending && text::areServicesUp()) pruneOldFiles(mParameters);
    open(/*mode=*/0);
    mPosition = mDescriptor >= 0 ? ::lseek(mDescriptor, 0, SEEK_END) : -1;
}

void LogFileBatch::rotate()
{
    if (!text::areServicesUp()) return;  // the last lines of a process go into the file as it is
    close();
    mHasBegun = true;
    renamePreviousFile(mParameters);
    pruneOldFiles(mParameters);
    open(O_TRUNC);
    mPosition = 0;
}

// Appends also to a file that is cut first: a process without the lock may write to it too.
void LogFileBatch::open(int mode)
{
    mDescriptor = ::open(mParameters.currentFileLocal.c_str(),
                         O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | mode, 0666);
}

void LogFileBatch::flush()
{
    if (mDescriptor >= 0) writeBlock(mDescriptor, mLines);
    mLines.clear();
}

}  // namespace qz::log
