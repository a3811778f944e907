// SPDX-License-Identifier: MIT
#include "CsvFiles.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include <qz/SystemError.h>
#include <qz/qzDirUtils.h>

namespace inventory {

namespace {

constexpr const char* kLineEnd = "\n";

}  // namespace

CsvFiles::CsvFiles(const std::string& path, unsigned long rowsPerFile,
                   const std::vector<std::string>& headers, Report report)
    : mFirstPath(path),
      mRowsPerFile(rowsPerFile),
      mHeaders(headers),
      mReport(std::move(report)),
      mStream(nullptr, ',', '"', kLineEnd)
{
}

bool CsvFiles::begin()
{
    return beginFile();
}

bool CsvFiles::writeRow(const std::vector<std::string>& cells)
{
    if (!mError.empty()) return false;
    if (mFile.rows == mRowsPerFile && (!endFile() || !beginFile())) return false;
    if (!writeCells(cells)) return false;
    ++mFile.rows;
    return true;
}

bool CsvFiles::finish()
{
    return mError.empty() && endFile();
}

std::string CsvFiles::NumberPath(const std::string& path, unsigned long number)
{
    if (number == 0) return path;
    const std::string extension = ".csv";
    const std::string mark = " (" + std::to_string(number) + ")";
    const std::size_t stem = path.size() - std::min(path.size(), extension.size());
    if (path.substr(stem) != extension) return path + mark;
    return path.substr(0, stem) + mark + extension;
}

bool CsvFiles::beginFile()
{
    mFile = {NumberPath(mFirstPath, mFiles.size()), 0, 0};
    // To open it would empty a file whose rows were reported as written.
    if (const CsvFile* const same = findSameFile(mFile.path))
        return fail("it is a link to '" + same->path + "'");
    errno = 0;
    if (!mDevice.open(mFile.path, qz::qzIoDevice::DataWayWrite, /*truncate=*/true))
        return failForSystem();
    mCounter.beginDelegation(&mDevice, qz::qzIoDevice::DataWayWrite);
    mStream.setDevice(&mCounter);
    return writeCells(mHeaders);
}

const CsvFile* CsvFiles::findSameFile(const std::string& path) const
{
    const auto same = std::find_if(mFiles.begin(), mFiles.end(), [&path](const CsvFile& file) {
        std::error_code unknown;
        return std::filesystem::equivalent(path, file.path, unknown);
    });
    return same != mFiles.end() ? &*same : nullptr;
}

bool CsvFiles::endFile()
{
    mStream.setDevice(nullptr);
    // The stream puts line ends between rows only, and a text file has one at its end as well.
    mCounter << kLineEnd;
    mCounter.endDelegation();
    errno = 0;
    mDevice.flush();
    mDevice.writeBytes("", 0);  // learns how the flush went
    if (!mDevice.good()) return failForSystem();
    mDevice.close();

    qz::qzFileInfoUtf8 info;
    qz::qzDirUtils::GetFileInfoUtf8(mFile.path, info);
    if (!info.isFile) return fail("it is no regular file, its rows are lost");
    mFile.bytes = mCounter.getWrittenBytes();
    if (info.size != mFile.bytes)
        return fail("it has " + std::to_string(info.size) + " bytes instead of " +
                    std::to_string(mFile.bytes));
    mFiles.push_back(mFile);
    mReport(mFile);
    return true;
}

bool CsvFiles::writeCells(const std::vector<std::string>& cells)
{
    errno = 0;
    for (const std::string& cell : cells)
        mStream.writeCell(cell);
    mStream.endRow();
    return mStream.isOk() || failForSystem();
}

// The device says that the file failed; why, the system's own call has left in `errno`.
bool CsvFiles::failForSystem()
{
    const int error = errno;
    return fail(error != 0 ? qz::SystemError(error).toString() : mDevice.getDeviceErrorMsg());
}

bool CsvFiles::fail(const std::string& reason)
{
    mError = "cannot write '" + mFile.path + "': " + reason;
    return false;
}

}  // namespace inventory
