// SPDX-License-Identifier: MIT
#include "Inputs.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <tuple>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <qz/ext/LogLine.h>

namespace qzlog {

namespace {

bool isFolder(const std::string& path)
{
    struct stat status = {};
    return path != "-" && ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool hasForm(std::string_view name, std::string_view start, std::string_view end)
{
    return name[0] != '.' && name.size() >= start.size() + end.size() &&
           name.substr(0, start.size()) == start && name.substr(name.size() - end.size()) == end;
}

bool isOlder(const FoundFile& left, const FoundFile& right)
{
    return std::tie(left.changed.tv_sec, left.changed.tv_nsec, left.path) <
           std::tie(right.changed.tv_sec, right.changed.tv_nsec, right.path);
}

}  // namespace

bool listFolder(const std::string& folder, const std::string& nameStart, const std::string& nameEnd,
                std::vector<FoundFile>& files)
{
    const auto close = [](DIR* stream) { ::closedir(stream); };
    const std::unique_ptr<DIR, decltype(close)> stream(::opendir(folder.c_str()), close);
    if (!stream) return false;
    errno = 0;
    while (const dirent* const entry = ::readdir(stream.get())) {
        struct stat status = {};
        const bool isThere = hasForm(entry->d_name, nameStart, nameEnd) &&
                             ::fstatat(::dirfd(stream.get()), entry->d_name, &status, 0) == 0;
        if (isThere && S_ISREG(status.st_mode))
            files.push_back({folder + '/' + entry->d_name,
                             FileIdentity(::dirfd(stream.get()), entry->d_name, status),
                             status.st_mtim, status.st_size == 0});
        errno = 0;
    }
    std::sort(files.begin(), files.end(), isOlder);
    return errno == 0;
}

bool isLog(const std::string& path)
{
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0) return true;
    char bytes[4096];
    const ssize_t count = ::read(file, bytes, sizeof bytes);
    ::close(file);
    if (count < 0) return true;
    const std::string_view begin(bytes, static_cast<std::size_t>(count));
    qz::ext::LogLine line;
    return begin.substr(0, 3) == "\xEF\xBB\xBF" ||
           qz::ext::parseLogLine(begin.substr(0, begin.find('\n')), line);
}

std::vector<std::string> findInputs(const std::vector<std::string>& arguments, Problems& problems)
{
    std::vector<std::string> paths;
    for (const std::string& argument : arguments) {
        if (!isFolder(argument)) {
            paths.push_back(argument);
            continue;
        }
        std::vector<FoundFile> files;
        if (!listFolder(argument, "", "", files)) problems.report(argument, errno);
        for (const FoundFile& file : files)
            if (isLog(file.path)) paths.push_back(file.path);
    }
    return paths;
}

}  // namespace qzlog
