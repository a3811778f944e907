#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// The process and the machine that it runs on: clocks, identity, memory.
///
/// Threads: every call from any thread. The calls below need no start of the library, but for
/// `ExtractCommandLineUtf8`.
class QZ_API qzSystemUtils {
public:
    /// Which memory figure of the process is asked for.
    enum RamMetric : int {
        RamResident = 0,  ///< Bytes that are in memory now.
        RamReserved = 1,  ///< Not known on Linux: the answer is always 0.
    };

    qzSystemUtils() = delete;

    /// Milliseconds of the monotonic clock, which no change of the wall clock moves; 0 on failure.
    static unsigned long GetTimeBaseMs();
    /// `GetTimeBaseMs` in whole seconds.
    static unsigned long GetTimeBaseSec();
    /// Milliseconds since 1970-01-01 00:00 UTC, from the wall clock.
    static long GetMSecElapsedSinceEpoch();
    /// `GetMSecElapsedSinceEpoch` in whole seconds.
    static long GetSecElapsedSinceEpoch();

    /// The id of the calling process, right in a forked child too.
    static long GetCurrentProcessID();
    /// The id of the parent process.
    static long GetParentProcessID();

    /// Gives the arguments that the process was started with.
    ///
    /// The first one is the program's file, whatever the starter passed in its place: its whole
    /// path, without symbolic links, in the process's character set. Only when the file is gone is
    /// it the starter's word. An argument that can't be converted to UTF-8 is empty, as all but the
    /// first are before the library's start. A process that overwrote its arguments gets what it
    /// wrote.
    /// @param arguments receives them, in UTF-8, in place of what it held. It is empty when nothing
    ///     could be found out, which is reported to the log as critical.
    static void ExtractCommandLineUtf8(std::vector<std::string>& arguments);

    /// Writes a point in time as text, in UTF-8.
    /// @param seconds seconds since 1970-01-01 00:00 UTC; negative ones lie before it.
    /// @param format the format of `strftime`, in the process's character set; null gives "".
    /// @param localTime true for the zone of the process, false for UTC.
    /// @return the text; empty when it has more than 128 bytes, when the year can't be
    ///     represented, or when the text can't be converted to UTF-8.
    static std::string ConvertSecElapsedSinceEpochToString(long seconds, const char* format,
                                                           bool localTime);
    /// Writes the present time as `ConvertSecElapsedSinceEpochToString` does.
    static std::string GetCurrentTimeAsString(const char* format, bool localTime);
    /// Writes the present time in the form 2026-11-14T20:17:56+0000.
    static std::string GetCurrentDateTimeISO(bool localTime);

    /// Bytes of memory that the process uses now; 0 when the system doesn't tell.
    static unsigned long GetUsedRamQuantityInBytes(RamMetric metric);
};

}  // namespace qz
