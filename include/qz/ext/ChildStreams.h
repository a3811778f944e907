// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include <qz/qzExport.h>
#include <qz/qzLog.h>

namespace qz {
class qzIoDevice;
}  // namespace qz

namespace qz::ext {

/// A size that is never reached.
constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);

/// Where a child's standard input comes from; made by the static functions.
struct QZ_API ChildInput {
    /// The kinds of source.
    enum class Kind { Nothing, Inherited, File, Device, Memory };

    /// The end of the input at once, from /dev/null; the same as `ChildInput()`.
    static ChildInput Nothing();
    /// The standard input of this process.
    static ChildInput Inherited();
    /// A file, which must exist. The start waits for the other end of a named pipe.
    static ChildInput File(const std::string& path);
    /// A device, which `communicate` reads to its end, or to at most `limitBytes`. It must live
    /// until then. A device that waits for its data also makes `communicate` wait.
    static ChildInput Device(qzIoDevice& device, std::size_t limitBytes = kNoLimit);
    /// These bytes.
    static ChildInput Memory(std::string bytes);

    Kind kind = Kind::Nothing;          ///< What the other fields mean.
    std::string text = {};              ///< The path of the file, or the bytes.
    qzIoDevice* device = nullptr;       ///< The device, owned by the caller.
    std::size_t limitBytes = kNoLimit;  ///< How many bytes of the device are read at most.
};

/// Where one of a child's two outputs goes; made by the static functions.
struct QZ_API ChildOutput {
    /// The kinds of target.
    enum class Kind { Nothing, Inherited, File, Device, Memory, Lines, Log, SameAsOutput };
    /// What happens to the old content of a file.
    enum class FileWay { Truncate, Append };
    /// Receives a line without its line feed. The view is valid during the call only. The function
    /// may use `isRunning`, `getPids` and `sendSignal` of the object that calls it. An exception
    /// leaves `communicate`, which kills and reaps the programs before.
    using LineHandler = std::function<void(std::string_view line)>;

    /// The longest line that is passed on in one piece, unless told otherwise.
    static constexpr std::size_t kMaxLineBytes = 16384;

    /// Nowhere, to /dev/null; the same as `ChildOutput()`.
    static ChildOutput Nothing();
    /// The same stream of this process.
    static ChildOutput Inherited();
    /// A file, which is made if it doesn't exist. The start waits for the other end of a named
    /// pipe.
    static ChildOutput File(const std::string& path, FileWay way = FileWay::Truncate);
    /// A device, which `communicate` writes to and which must live until then. What exceeds
    /// `limitBytes` is dropped, and the result says so.
    static ChildOutput Device(qzIoDevice& device, std::size_t limitBytes = kNoLimit);
    /// The text of that name in the result. What exceeds `limitBytes` is dropped, and the result
    /// says so.
    static ChildOutput Memory(std::size_t limitBytes = kNoLimit);
    /// A function, line by line, called by `communicate` on its thread. A line of more than
    /// `maxLineBytes` comes in several pieces; the last one need not end in a line feed.
    static ChildOutput Lines(LineHandler onLine, std::size_t maxLineBytes = kMaxLineBytes);
    /// The log, an entry a line. One carriage return at the end of a line is left out, as some
    /// programs end their lines with it too, and so are lines that are empty then.
    static ChildOutput Log(qzLog::EntryType type, const std::string& subType = {});
    /// For the standard error stream only: wherever the output of the last program goes.
    static ChildOutput SameAsOutput();

    Kind kind = Kind::Nothing;               ///< What the other fields mean.
    std::string text = {};                   ///< The path of the file, or the sub-type of entries.
    FileWay way = FileWay::Truncate;         ///< What happens to the content of the file.
    qzIoDevice* device = nullptr;            ///< The device, owned by the caller.
    std::size_t limitBytes = kNoLimit;       ///< The limit of device and memory, or of a line.
    LineHandler onLine = {};                 ///< The function.
    qzLog::EntryType type = qzLog::Unknown;  ///< The type of entries.
};

}  // namespace qz::ext
