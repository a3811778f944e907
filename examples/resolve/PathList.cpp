// SPDX-License-Identifier: MIT
#include "PathList.h"

#include <cerrno>
#include <iostream>

#include <qz/SystemError.h>

namespace resolve {

PathList::PathList(const std::string& listPath)
    : mListPath(listPath), mStream(listPath == "-" ? std::cin : mFile)
{
    if (&mStream == &std::cin) return;
    errno = 0;
    mFile.open(listPath);
    if (!mFile) setError();
}

bool PathList::readNext(std::string& path)
{
    errno = 0;
    while (std::getline(mStream, path)) {
        if (!path.empty() && path.back() == '\r') path.pop_back();
        if (!path.empty()) return true;
    }
    if (!mStream.eof() && mError.empty()) setError();
    return false;
}

bool PathList::hasMoreAtHand() const
{
    return mStream.rdbuf()->in_avail() > 0;
}

void PathList::setError()
{
    const int systemError = errno;
    mError = "cannot read '" + mListPath + "': " + qz::SystemError(systemError).toString();
}

}  // namespace resolve
