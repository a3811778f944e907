#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// Questions and operations on files and folders. Paths are UTF-8.
///
/// Threads: every call from any thread.
class QZ_API qzDirUtils {
public:
    qzDirUtils() = delete;

    /// Tells whether anything stands at `path`: a file, a folder, a device.
    ///
    /// Links are followed, so a link whose target is missing doesn't count. A path that can't be
    /// converted to the process's character set doesn't exist.
    static bool FileExistsUtf8(const std::string& path);
};

}  // namespace qz
