#pragma once

#include <cstring>
#include <string>

#include <qz/qzStringUtils.h>

namespace qz::text {

/// Converts a path for the system, right at the call of it. A path that can't be converted becomes
/// empty, which names nothing.
inline std::string toLocal(const std::string& path)
{
    return qzStringUtils::convertCharset(path, qzStringUtils::CharSetUtf8,
                                         qzStringUtils::CharSetLocal);
}

/// Converts a path that came from the system to UTF-8.
inline std::string fromLocal(const std::string& localPath)
{
    return qzStringUtils::convertCharset(localPath, qzStringUtils::CharSetLocal,
                                         qzStringUtils::CharSetUtf8);
}

/// Ends a path where it ends for the system: at its first zero byte.
inline std::string endAtZeroByte(std::string localPath)
{
    localPath.resize(std::strlen(localPath.c_str()));
    return localPath;
}

}  // namespace qz::text
