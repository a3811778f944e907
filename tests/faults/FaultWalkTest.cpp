// Runs each scenario with each of its system calls, and each of its allocations, failing once.

#include <cerrno>
#include <cstdlib>
#include <map>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>

#include "TestPaths.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ChildResult;
using support::ScratchFolder;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsSubsetOf;
using ::testing::IsSupersetOf;

namespace {

using Outcomes = std::set<std::string>;

// A call that a scenario makes and the error that it fails with. What the scenario then comes to,
// over all the times that it makes the call, holds all that must come up, and nothing else but what
// may: how often a call is made is the library's own affair, and a fast road may spare some.
struct CallRow {
    std::string call;
    int error;
    Outcomes must;
    Outcomes may = {};
};

struct Scenario {
    std::string name;
    std::string locale;
    std::string goodOutcome;
    std::vector<CallRow> calls;
    Outcomes allocations;  // empty for a scenario whose allocations are failed elsewhere
};

void PrintTo(const Scenario& scenario, std::ostream* out)
{
    *out << scenario.name;
}

std::string describe(int error)
{
    return SystemError(error).toString();
}

const std::string kReadError = "std sub stream bad bit is set after a read";
const std::string kWriteError = "std sub stream fail bit is set after a write";
const std::string kSeekError = "std sub stream is in error after a seekp";
const std::string kCopyError = "Fail to write on destination";
const std::string kTailError = "Could not keep enough terminal bytes";
const std::string kOpenError = "failed to open file: 'FILE' (bits 10)";
const std::string kSwapWrite = "Fail to write to swap file ";
const std::string kSwapRead = "Not enought data in swap file ";
const std::string kSwapSeek = "Fail to seek in swap file ";
const char* const kAllDone = "all done";
const char* const kUp = "log, full, local text '\xc3\xa9', down";
const char* const kAllEntries = "entries 3, dated 3, timed 3, console good";
const char* const kOneUntimed = "entries 3, dated 3, timed 2, console good";
const char* const kAllLines = "in files: from earlier, line 1, line 2, line 3,";
const char* const kWithoutLine1 = "in files: from earlier, line 2, line 3,";
const char* const kWithoutLine2 = "in files: from earlier, line 1, line 3,";
const char* const kWithoutLine3 = "in files: from earlier, line 1, line 2,";
// What stood in the file before its rotation is gone.
const char* const kRotatedInPlace = "in files: line 2, line 3,";
const char* const kNoThread =
    "no thread: Resource temporarily unavailable; log, full, local text '\xc3\xa9', written 1, "
    "down";

const char* const kWholeWalk = "entered 4, folders 3, files 3, left 4";
const char* const kWholeIndex = "found top p.prt.1 p.prt.2, newest p.prt.2";

const char* const kWholeTable = "+++, flushed, files whole whole, rows 3 2";
const std::string kNoFirstFile = ", Fail to open csv file FOLDER/base.csv";
const std::string kNoSecondFile = ", Fail to open csv file FOLDER/base (1).csv";

const char* const kLockThreadWait = "file; ran 1; over";
const char* const kNoLock = "no file; ran 1; over";

const std::string kRan = "ran 3 (process return an error)";
const std::string kInspected = "self with arguments, a parent with program, memory";
const std::string kAllStarted = kRan + "; missing; detached; " + kInspected;
const std::string kFed = "3 'text'";
const std::string kPiped = "0 'text'";
const std::string kAllRun = kFed + "; " + kPiped;
const char* const kChildLeft = "; a child is left";

const char* const kAllPassed = "all passed";

const std::string kAllLocked =
    "locked, refused: Fail to acquire lock on existing file, " + describe(EWOULDBLOCK);

const std::string kHolderFound = "found, refused: held: " + describe(ECANCELED);
const std::string kHolderNotFound = "not found, refused: held: " + describe(ECANCELED);

const std::string kSecondRefused = "refused: lock: " + describe(EAGAIN) + "; ";
const std::string kAnswered = "texttext, receive: " + describe(ENOTCONN);

const Scenario kScenarios[] = {
    {"start_stop",
     "C.UTF-8",
     kUp,
     {
         {"newlocale",
          ENOMEM,
          {"log, full, no number locale, local text '\xc3\xa9', down",
           "log, full, local text '?', down", kUp}},
         {"pthread_key_create", EAGAIN, {"log, full, no text services, down"}},
         {"pthread_setspecific", ENOMEM, {kUp}},
         {"iconv_open", EMFILE, {kUp, "log, full, local text '', down"}},
         {"iconv", EILSEQ, {}, {kUp}},
         {"iconv_close", EBADF, {kUp}},
         {"pthread_create", EAGAIN, {kNoThread}},
         {"mmap", ENOMEM, {}, {kUp}},
         {"madvise", EINVAL, {}, {kUp}},
         // The log notes the time zone for children that are forked later.
         {"gettimeofday", EFAULT, {kUp}},
         {"localtime_r", EOVERFLOW, {kUp}},
     },
     {"std::bad_alloc", kUp, "log, full, no text services, down", "log, full, local text '?', down",
      "log, full, local text '', down"}},

    {"threads",
     "C.UTF-8",
     kLockThreadWait,
     {
         {"open", EACCES, {kNoLock}},
         {"open", EINTR, {kLockThreadWait}},
         // An interrupted call is repeated; the result of any other is ignored.
         {"flock", EINTR, {kLockThreadWait}},
         {"flock", ENOLCK, {kLockThreadWait}},
         {"close", EIO, {kLockThreadWait}},
         {"remove", EBUSY, {"file; ran 1; over; file kept"}},
         {"pthread_create", EAGAIN, {"file; Resource temporarily unavailable, running; over"}},
         // There is nothing left to wait for either way.
         {"clock_gettime", EINVAL, {kLockThreadWait}},
     },
     // A text of a thread that stays short is nothing that it would fail for.
     {"std::bad_alloc", kNoLock, kLockThreadWait}},

    {"charset",
     "de_DE.ISO-8859-1",
     "up",
     {
         {"newlocale", ENOMEM, {"up", "up without 01 other 10 'caf?' without long"}},
         {"pthread_key_create", EAGAIN, {"not up"}},
         {"pthread_setspecific", ENOMEM, {"up"}},
         {"iconv_open",
          EMFILE,
          {"up", "up without wide0", "up without wide1", "up without wide2",
           "up without 01 without long", "up without 02", "up without 10", "up without 12",
           "up without 20", "up without 21"}},
         {"iconv",
          E2BIG,
          {},
          {"up", "up without 01", "up without 10", "up without wide0", "up without wide1",
           "up without wide2", "up without long"}},
         {"iconv_close", EBADF, {"up"}},
     },
     {"std::bad_alloc", "not up", "up", "up without 01 other 10 'caf?' without long",
      "up without 01 without long", "up without 02", "up without 10", "up without 12",
      "up without 20", "up without 21", "up without wide0", "up without wide1",
      "up without wide2"}},

    {"log_dispatch",
     "C.UTF-8",
     kAllEntries,
     {
         // A line that can't be written is lost, and the application's stream is as it was.
         {"write", ENOSPC, {kAllEntries}},
         // One failure costs one entry its time, and none of those after it.
         {"strftime", ENOMEM, {kOneUntimed}, {kAllEntries}},
         {"localtime_r", EOVERFLOW, {kOneUntimed}, {kAllEntries}},
         {"gettimeofday", EFAULT, {"entries 3, dated 2, timed 3, console good"}},
         {"iconv", EILSEQ, {}, {kAllEntries}},
     },
     {}},

    {"log_file",
     "C.UTF-8",
     kAllLines,
     {
         // A line that can't be written goes to the console, or nowhere, and the next one is tried.
         {"open", EMFILE, {kWithoutLine1, kWithoutLine2, kWithoutLine3}, {kAllLines}},
         {"write", ENOSPC, {kWithoutLine1, kWithoutLine2, kWithoutLine3}},
         {"lseek", ESPIPE, {}, {kAllLines}},
         {"close", EIO, {}, {kAllLines}},
         // A file that can't be looked at is taken for missing: the trial of the installation
         // empties it, and so does the rotation.
         {"stat", EIO, {"in files: line 1, line 2, line 3,", kRotatedInPlace}, {kAllLines}},
         {"rename", EACCES, {kRotatedInPlace}},
         // Without a time the old file has no name to go to.
         {"localtime_r", EOVERFLOW, {kRotatedInPlace}, {kAllLines}},
         {"strftime", ENOMEM, {kRotatedInPlace}, {kAllLines}},
         {"gettimeofday", EFAULT, {}, {kAllLines}},
         {"mmap", ENOMEM, {}, {kAllLines}},
         {"madvise", EINVAL, {}, {kAllLines}},
     },
     {}},

    {"file_device",
     "C.UTF-8",
     "all done",
     {
         // A file that can't be looked at is taken for missing, and made anew.
         {"stat", EIO, {"read before the change: "}},
         {"open",
          EMFILE,
          {"open to write: " + kOpenError, "open to read: " + kOpenError,
           "open to change: " + kOpenError}},
         {"read",
          EIO,
          {"small read: " + kReadError, "large read: " + kReadError, "load: " + kReadError,
           "read before the change: " + kReadError, "end: "},
          {"look: " + kReadError}},
         {"write",
          ENOSPC,
          {"seek to look: " + kSeekError},
          {"flush: " + kWriteError, "large write: " + kWriteError, "seek to write: " + kSeekError}},
         // A failed move of the place to read is no error in itself; what comes next is short.
         {"lseek",
          EIO,
          {"load: ", "seek to write: " + kSeekError, "seek to change: " + kSeekError,
           "seek to look: " + kSeekError},
          {"all done", "look: ", "change: " + kWriteError}},
         // Only folders need it.
         {"fstat", EIO, {"all done"}},
         {"close", EIO, {"all done"}},
         {"read", EINTR, {"all done"}},
         {"write", EINTR, {"all done"}},
     },
     {"std::bad_alloc", "open to write: " + kOpenError, "open to read: " + kOpenError,
      "open to change: " + kOpenError}},

    {"files",
     "C.UTF-8",
     kAllDone,
     {
         // A folder that can't be looked at is made, which fails as it is there; a file is taken
         // for missing, and a folder for a file. To clear a folder that can't be looked at is done.
         {"stat",
          EIO,
          {kAllDone, "make", "info", "permissions", "left over",
           "clear: unlink error " + describe(EISDIR) + " for FOLDER/work/deep",
           "clear: unlink error " + describe(EISDIR) + " for FOLDER/work/deep/deeper"}},
         {"mkdir", EEXIST, {"make"}},
         {"open",
          EMFILE,
          {"copy: fail to open source file 'FOLDER/file'",
           "copy: fail to open destination file 'FOLDER/work/a'"}},
         {"open", EINTR, {kAllDone}},
         // Errors with both files open are ignored.
         {"read", EIO, {"content"}, {kAllDone}},
         {"read", EINTR, {kAllDone}},
         {"write", ENOSPC, {"content"}},
         {"write", EINTR, {kAllDone}},
         {"rename", EXDEV, {"rename: rename error " + describe(EXDEV)}},
         {"chmod", EPERM, {"permissions"}},
         {"remove", EBUSY, {"remove: remove error " + describe(EBUSY) + " for 'FOLDER/work/b'"}},
         {"mkostemp", EMFILE, {"temporary file"}},
         {"close", EIO, {kAllDone}},
         {"statvfs", EIO, {"free space"}},
         {"chdir", EACCES, {"change"}},
         {"getcwd", EACCES, {"current folder"}},
         // What can't be resolved for another reason counts as missing too.
         {"readlink", EACCES, {"program", "absolute"}},
         {"realpath", EACCES, {kAllDone, "absolute"}},
         {"statfs", EIO, {kAllDone}},
         {"opendir", ENOMEM, {"clear: opendir error " + describe(ENOMEM) + " for "}},
         // Below the root, a folder above is closed for the missing descriptor.
         {"opendir", EMFILE, {kAllDone, "clear: opendir error " + describe(EMFILE) + " for "}},
         // A folder that can't be read to its end isn't empty when its turn comes.
         {"readdir",
          EIO,
          {kAllDone, "clear: rmdir error " + describe(ENOTEMPTY) + " for FOLDER/work",
           "clear: rmdir error " + describe(ENOTEMPTY) + " for FOLDER/work/deep"}},
         {"closedir", EIO, {kAllDone}},
         {"unlink",
          EBUSY,
          {"clear: unlink error " + describe(EBUSY) + " for FOLDER/work/deep/file"}},
         {"rmdir",
          EBUSY,
          {"clear: rmdir error " + describe(EBUSY) + " for FOLDER/work",
           "clear: rmdir error " + describe(EBUSY) + " for FOLDER/work/deep",
           "clear: rmdir error " + describe(EBUSY) + " for FOLDER/work/deep/deeper"}},
     },
     {"std::bad_alloc", "current folder", "clear: opendir error " + describe(ENOMEM) + " for ",
      kAllDone}},

    {"traversal",
     "C.UTF-8",
     kWholeWalk,
     {
         // A folder that can't be opened is skipped; what can't be looked at is a file.
         {"opendir",
          ENOMEM,
          {"entered 0, folders 0, files 0, left 0", "entered 2, folders 2, files 1, left 2",
           "entered 3, folders 3, files 2, left 3"}},
         // Below the root, a folder above is closed for the missing descriptor.
         {"opendir", EMFILE, {"entered 0, folders 0, files 0, left 0", kWholeWalk}},
         {"opendir", ENFILE, {"entered 0, folders 0, files 0, left 0", kWholeWalk}},
         {"opendir", EACCES, {kWholeWalk}},
         {"stat", EIO, {"entered 3, folders 2, files 3, left 3"}},
         // A folder that can't be read on is at its end; what came before depends on its order.
         {"readdir",
          EIO,
          {kWholeWalk, "entered 1, folders 0, files 0, left 1",
           "entered 4, folders 3, files 2, left 4"},
          {"entered 3, folders 2, files 2, left 3", "entered 2, folders 1, files 1, left 2",
           "entered 3, folders 2, files 1, left 3"}},
         {"closedir", EIO, {kWholeWalk}},
     },
     {"std::bad_alloc", kWholeWalk, "entered 0, folders 0, files 0, left 0",
      "entered 2, folders 2, files 1, left 2", "entered 3, folders 3, files 2, left 3"}},

    {"resolver",
     "C.UTF-8",
     kWholeIndex,
     {
         {"opendir", ENOMEM, {"found, newest none", "found top, newest none"}},
         {"opendir", EMFILE, {"found, newest none", kWholeIndex}},
         {"opendir", EACCES, {kWholeIndex}},
         {"readdir",
          EIO,
          {kWholeIndex, "found, newest none", "found top, newest none"},
          {"found p.prt.1 p.prt.2, newest p.prt.2", "found top p.prt.1, newest p.prt.1",
           "found top p.prt.2, newest p.prt.2"}},
         {"closedir", EIO, {kWholeIndex}},
     },
     {"std::bad_alloc", kWholeIndex, "found, newest none", "found top, newest none"}},

    {"data_stream",
     "C.UTF-8",
     "all equal",
     {
         {"open", EMFILE, {"write: " + kOpenError, "read: " + kOpenError}},
         {"read", EIO, {"read: " + kReadError}},
         {"write", ENOSPC, {"write: " + kWriteError}},
         {"close", EIO, {"all equal"}},
         {"read", EINTR, {"all equal"}},
         {"write", EINTR, {"all equal"}},
     },
     {"std::bad_alloc", "write: " + kOpenError, "read: " + kOpenError}},

    {"filter_chain",
     "C.UTF-8",
     "all passed",
     {
         {"open", EMFILE, {"begin to write: " + kOpenError, "begin to read: " + kOpenError}},
         // The text of what failed after them comes after those of the filters.
         {"read", EIO, {"read: " + kReadError, "read: " + kTailError + ", " + kReadError}},
         {"write", ENOSPC, {"write: " + kWriteError, "write: " + kCopyError + ", " + kWriteError}},
         // A failed move of the place to read is no error in itself; what comes next is short.
         {"lseek", EIO, {"read: " + kTailError}, {"all passed"}},
         {"close", EIO, {"all passed"}},
         {"read", EINTR, {"all passed"}},
         {"write", EINTR, {"all passed"}},
     },
     {"std::bad_alloc", "begin to write: " + kOpenError, "begin to read: " + kOpenError}},

    {"buffers",
     "C.UTF-8",
     kAllDone,
     {
         // Only the first making of the folder is needed. A file that can't be opened by its
         // descriptor is opened by its name.
         {"mkdir", EACCES, {"write: " + kSwapWrite + kOpenError}},
         {"stat", EIO, {"write: " + kSwapWrite + kOpenError, kAllDone}},
         {"open",
          EMFILE,
          {"write: " + kSwapWrite + kOpenError, "write after a clear: " + kSwapWrite + kOpenError,
           kAllDone}},
         {"gettimeofday", EFAULT, {kAllDone}},
         // All done: atEnd, which the copy calls before each read, found no byte. That counts as
         // "not at the end", and the read that follows gets the byte or reports the error.
         {"read",
          EIO,
          {"read: " + kSwapRead + kReadError,
           "copy: ", "read after a clear: " + kSwapRead + kReadError, kAllDone}},
         {"write",
          ENOSPC,
          {"copy: ", "write: " + kSwapWrite + kWriteError,
           "write after a clear: " + kSwapWrite + kWriteError}},
         // A failed move of the position to read is no error in itself; what comes next is short.
         {"lseek",
          EIO,
          {"read: " + kSwapSeek + kSeekError, "overwrite: " + kSwapSeek + kSeekError,
           "copy: ", "read after a clear: " + kSwapSeek + kSeekError, kAllDone,
           "read: " + kSwapRead, "overwrite: " + kSwapWrite + kWriteError,
           "write after a clear: " + kSwapWrite + kWriteError, "read after a clear: " + kSwapRead}},
         {"unlink", EBUSY, {"all done; a file is left"}},
         {"close", EIO, {kAllDone}},
         {"read", EINTR, {kAllDone}},
         {"write", EINTR, {kAllDone}},
         {"open", EINTR, {kAllDone}},
         {"mmap", ENOMEM, {}, {kAllDone}},
         {"madvise", EINVAL, {}, {kAllDone}},
     },
     {"std::bad_alloc", kAllDone}},

    {"ini_file",
     "C.UTF-8",
     "done, file last",
     {
         // A file whose `stat` fails counts as missing, and nothing is merged.
         {"stat", EIO, {"done, file cut"}},
         {"open",
          EMFILE,
          {"not saved, file empty", "not loaded, file first", "not merged, file first"}},
         // What follows a failed read is missing, also in a file that is merged with others.
         {"read", EIO, {"done, file cut", "done, tree , file last"}, {"done, file last"}},
         {"write",
          ENOSPC,
          {"not saved, file cut", "not merged, file cut"},
          {"not saved, file empty", "not merged, file empty"}},
         {"close", EIO, {"done, file last"}},
         {"read", EINTR, {"done, file last"}},
         {"write", EINTR, {"done, file last"}},
         // Without a word of a thread's end, no memory is kept for it.
         {"pthread_key_create", EAGAIN, {}, {"done, file last"}},
         {"pthread_setspecific", ENOMEM, {}, {"done, file last"}},
     },
     {"std::bad_alloc"}},

    {"csv",
     "C.UTF-8",
     kWholeTable,
     {
         {"open",
          EMFILE,
          {"---, not flushed, files empty empty, rows 0 0" + kNoFirstFile,
           "++-, not flushed, files whole empty, rows 3 0" + kNoSecondFile,
           "+++, flushed, files whole whole, rows 0 (Failed to open the file) 2",
           "+++, flushed, files whole whole, rows 3 0 (Failed to open the file)"}},
         // A file that can't be read or measured is an empty table.
         {"read",
          EIO,
          {"+++, flushed, files whole whole, rows 0 2",
           "+++, flushed, files whole whole, rows 3 0"}},
         {"lseek",
          EIO,
          {"+++, flushed, files whole whole, rows 0 2",
           "+++, flushed, files whole whole, rows 3 0"},
          {kWholeTable}},
         // The close tries again, and may tell nobody.
         {"write",
          ENOSPC,
          {"+++, not flushed, files whole whole, rows 3 2"},
          {"+++, not flushed, files empty whole, rows 0 2",
           "+++, not flushed, files whole empty, rows 3 0"}},
         {"fstat", EIO, {kWholeTable}},
         {"close", EIO, {kWholeTable}},
         {"read", EINTR, {kWholeTable}},
         {"write", EINTR, {kWholeTable}},
         {"pthread_key_create", EAGAIN, {}, {kWholeTable}},
         {"pthread_setspecific", ENOMEM, {}, {kWholeTable}},
     },
     {"std::bad_alloc", "---, not flushed, files empty empty, rows 0 0" + kNoFirstFile,
      "++-, not flushed, files whole empty, rows 3 0" + kNoSecondFile,
      "+++, flushed, files whole whole, rows 0 (Failed to open the file) 2",
      "+++, flushed, files whole whole, rows 3 0 (Failed to open the file)",
      "+++, flushed, files whole whole, rows 0 (std::bad_alloc) 2",
      "+++, flushed, files whole whole, rows 1 (std::bad_alloc) 2",
      "+++, flushed, files whole whole, rows 2 (std::bad_alloc) 2",
      "+++, flushed, files whole whole, rows 3 0 (std::bad_alloc)",
      "+++, flushed, files whole whole, rows 3 1 (std::bad_alloc)"}},

    {"processes",
     "C.UTF-8",
     kAllStarted,
     {
         // What can't be read of a process stays empty; a file that can't be opened is no process.
         {"open",
          EMFILE,
          {kRan + "; missing; detached; not self, no arguments, a parent with program, no memory",
           kRan + "; missing; detached; self with no arguments, a parent with program, memory",
           kRan + "; missing; detached; self with arguments, a parent, memory"},
          {kAllStarted}},
         {"read",
          EIO,
          {kAllStarted,
           kRan + "; missing; detached; self with no arguments, a parent with program, memory",
           kRan + "; missing; detached; self with arguments, a parent, memory"}},
         {"read", EINTR, {kAllStarted}},
         {"close", EIO, {kAllStarted}},
         {"fopen",
          EMFILE,
          {kRan + "; missing; detached; self with arguments, a parent with program, no memory"}},
         {"fclose", EIO, {kAllStarted}},
         {"getcwd",
          EACCES,
          {kRan + "; missing; detached; not self, no arguments, a parent with program, no memory"}},
         // A start that can't share memory forks.
         {"posix_spawn", EAGAIN, {kAllStarted}},
         {"posix_spawn", ENOMEM, {kAllStarted}},
         {"fork",
          EAGAIN,
          {kRan + "; no child; detached; " + kInspected,
           kRan + "; missing; not detached; " + kInspected}},
         // That reads as if something else had waited for the child.
         {"waitid",
          ECHILD,
          {"ran -3 (process has crashed); missing; detached; " + kInspected + kChildLeft,
           kRan + "; missing; not detached; " + kInspected + kChildLeft},
          // A poll that fails before the child has ended is repeated.
          {kRan + "; started, exit code 0; detached; " + kInspected + kChildLeft, kAllStarted}},
         {"waitid", EINTR, {kAllStarted}},
         {"poll", ENOMEM, {}, {kAllStarted}},
         {"poll", EINTR, {}, {kAllStarted}},
         {"clock_gettime", EINVAL, {}, {kAllStarted}},
         {"clock_nanosleep", EINTR, {}, {kAllStarted}},
         {"getpriority", EACCES, {kAllStarted}},
         {"realpath", EACCES, {kAllStarted}},
         {"stat", EIO, {kAllStarted}},
         {"fflush", EIO, {kAllStarted}},
     },
     {"std::bad_alloc", kAllStarted,
      kRan + "; missing; detached; self with arguments, a parent with program, no memory"}},

    {"child_process",
     "C.UTF-8",
     kAllRun,
     {
         {"pipe2", EMFILE, {"pipe2 failed; " + kPiped, kFed + "; pipe2 failed"}},
         {"fcntl", EMFILE, {"fcntl failed; " + kPiped, kFed + "; fcntl failed"}},
         {"clone", EAGAIN, {"clone failed; " + kPiped, kFed + "; clone failed"}},
         {"setpgid", EPERM, {"setpgid failed; " + kPiped, kFed + "; setpgid failed"}},
         {"dup2", EMFILE, {"dup2 failed; " + kPiped, kFed + "; dup2 failed"}},
         {"rt_sigaction",
          EPERM,
          {"rt_sigaction failed; " + kPiped, kFed + "; rt_sigaction failed"}},
         {"rt_sigprocmask",
          EPERM,
          {"rt_sigprocmask failed; " + kPiped, kFed + "; rt_sigprocmask failed"}},
         {"execve", ENOEXEC, {"execve failed; " + kPiped, kFed + "; execve failed"}},
         {"chdir", EACCES, {"chdir failed; " + kPiped}},
         {"open", EACCES, {kFed + "; open failed"}},
         {"open", EINTR, {kAllRun}},
         {"pthread_create", EAGAIN, {kFed + "; pthread_create failed"}},
         {"prctl", EINVAL, {kFed + "; prctl failed"}},
         {"getppid", ESRCH, {kFed + "; getppid failed"}},
         // Kernels before 5.9 don't have it.
         {"close_range", ENOSYS, {kAllRun}},
         {"poll",
          ENOMEM,
          {"poll failed, ended; " + kPiped, kFed + "; poll failed, ended"},
          {kAllRun}},
         {"read", EIO, {"read failed, ended; " + kPiped, kFed + "; read failed, ended"}, {kAllRun}},
         {"write", EIO, {"write failed, ended; " + kPiped}},
         {"poll", EINTR, {kAllRun}},
         {"read", EINTR, {kAllRun}},
         {"write", EINTR, {kAllRun}},
         {"waitid", EINTR, {kAllRun}},
         {"wait4", EINTR, {kAllRun}},
         {"waitid", ECHILD, {kAllRun}},
         // That reads as if something else had waited for the child.
         {"wait4",
          ECHILD,
          {"wait4 failed, ended; " + kPiped + kChildLeft,
           kFed + "; wait4 failed, ended" + kChildLeft}},
         {"close", EIO, {kAllRun}},
         // A time that is not known may be after the deadline.
         {"clock_gettime", EINVAL, {}, {kAllRun, "-1 ''; " + kPiped, "-1 'text'; " + kPiped}},
         {"mmap", ENOMEM, {}, {kAllRun, kFed + "; pthread_create failed"}},
         {"madvise", EINVAL, {}, {kAllRun}},
     },
     {"std::bad_alloc", kAllRun}},

    {"pipes",
     "C.UTF-8",
     kAllPassed,
     {
         {"unlink", EACCES, {kAllPassed}},
         {"socket",
          EMFILE,
          {"not listening: Cannot open socket in qzNamedPipeServer::listenUtf8, socket() returned "
           "INVALID_SOCKET",
           "not connected"}},
         {"bind", EACCES, {"not listening: Fail to bind on qzNamedPipeServer::listenUtf8"}},
         {"listen",
          EADDRINUSE,
          {"not listening: Cannot listen to socket in qzNamedPipeServer::listenUtf8, listen() "
           "returned SOCKET_ERROR"}},
         {"fcntl",
          EBADF,
          {"not listening: Failed to set socket as non-blocking in qzNamedPipeServer::listenUtf8, "
           "SetNonBlocking returned code -1",
           "not connected"}},
         {"connect", ECONNREFUSED, {"not connected"}},
         {"connect", EINTR, {kAllPassed}},
         {"accept", EMFILE, {"accepted later"}},
         {"accept", EINTR, {kAllPassed}},
         // A wait that fails closes its side, which the other one sees.
         {"poll",
          ENOMEM,
          {"not accepted", "to: read channel closed", "to: pipe closed",
           "back: read channel closed", "back: pipe closed", "pipe closed at the end"}},
         {"poll", EINTR, {kAllPassed}},
         {"send", ENOBUFS, {"to: write failed", "back: write failed"}},
         {"send", EAGAIN, {kAllPassed}},
         {"send", EINTR, {kAllPassed}},
         {"recv", ECONNRESET, {"to: read channel closed", "back: read channel closed", kAllPassed}},
         // The queue keeps its zero bytes.
         {"recv", EAGAIN, {"to: other bytes", "back: other bytes", "no end seen"}},
         {"recv", EINTR, {kAllPassed}},
         {"shutdown", ENOTCONN, {kAllPassed}},
         {"close", EIO, {kAllPassed}},
         {"clock_gettime", EINVAL, {}, {kAllPassed}},
         {"mmap", ENOMEM, {}, {kAllPassed}},
         {"madvise", EINVAL, {}, {kAllPassed}},
     },
     {"std::bad_alloc"}},

    {"lock_files",
     "C.UTF-8",
     kAllLocked,
     {
         {"open",
          EMFILE,
          {kAllLocked, "new: Fail to open lock file in w+, " + describe(EMFILE),
           "locked, refused: Fail to set lock on created file, " + describe(EWOULDBLOCK),
           "as a new file, " + kAllLocked}},
         {"open", EINTR, {kAllLocked}},
         {"fdopen",
          ENOMEM,
          {"new: Fail to open lock file in w+, " + describe(ENOMEM),
           "locked, refused: Fail to set lock on created file, " + describe(EWOULDBLOCK),
           "as a new file, " + kAllLocked}},
         {"flock",
          ENOLCK,
          {"new: Fail to set lock on created file, " + describe(ENOLCK),
           "locked, refused: Fail to acquire lock on existing file, " + describe(ENOLCK),
           "release: Fail to release lock on file, " + describe(ENOLCK),
           "existing: Fail to acquire lock on existing file, " + describe(ENOLCK),
           "removal: Fail to release lock on file, " + describe(ENOLCK)}},
         {"flock", EINTR, {kAllLocked}},
         // A file that can't be compared with the one at the path is opened anew.
         {"fstat",
          EIO,
          {kAllLocked, "the new file was there", "removal: Fail to remove lock file"}},
         {"stat", EIO, {kAllLocked, "the new file was there", "removal: Fail to remove lock file"}},
         // The lock itself needs none of these calls.
         {"fcntl", ENOMEM, {kAllLocked}},
         // What is in the file is for people alone.
         {"fwrite", ENOSPC, {kAllLocked}},
         {"fflush", ENOSPC, {kAllLocked}},
         {"fclose", EIO, {kAllLocked}},
         {"remove", EBUSY, {"removal: Fail to remove lock file"}},
         {"mmap", ENOMEM, {}, {kAllLocked}},
         {"madvise", EINVAL, {}, {kAllLocked}},
     },
     {"std::bad_alloc", kAllLocked, "as a new file, " + kAllLocked,
      "new: Fail to open lock file in w+, " + describe(ENOMEM),
      "locked, refused: Fail to set lock on created file, " + describe(EWOULDBLOCK)}},

    {"file_lock",
     "C.UTF-8",
     kHolderFound,
     {
         {"open",
          EMFILE,
          {"new: failed: " + describe(EMFILE), kHolderNotFound,
           "found, refused: failed: " + describe(EMFILE), "existing: failed: " + describe(EMFILE)}},
         {"open", EINTR, {kHolderFound}},
         // The close of the file makes up for an explicit unlock that fails.
         {"fcntl",
          ENOLCK,
          {"new: failed: " + describe(ENOLCK), kHolderNotFound,
           "found, refused: failed: " + describe(ENOLCK), "existing: failed: " + describe(ENOLCK),
           kHolderFound}},

         {"fcntl", EINTR, {kHolderFound, kHolderNotFound}},
         // A file that can't be compared with the one at the path is opened anew.
         {"fstat", EIO, {kHolderFound, "elsewhere, " + kHolderFound}},
         {"lstat", EIO, {kHolderFound, "elsewhere, " + kHolderFound}},
         // A file that can't be read is not overwritten.
         {"pread",
          EIO,
          {"new: failed: " + describe(EIO), kHolderNotFound,
           "found, refused: failed: " + describe(ECANCELED), "existing: failed: " + describe(EIO)},
          {kHolderFound}},
         {"pread", EINTR, {kHolderFound}},
         // The line is for people; the lock is taken without it.
         {"pwrite", ENOSPC, {"not found, refused: failed: " + describe(ECANCELED)}},
         {"pwrite", EINTR, {kHolderFound}},
         {"ftruncate", EIO, {kHolderFound}},
         {"close", EIO, {kHolderFound}},
         // A time that is not known may be after the deadline.
         {"clock_gettime",
          EINVAL,
          {},
          {kHolderFound, "found, refused: held: " + describe(ETIMEDOUT)}},
         {"mmap", ENOMEM, {}, {kHolderFound}},
         {"madvise", EINVAL, {}, {kHolderFound}},
     },
     {"std::bad_alloc"}},

    {"pipe_channel",
     "C.UTF-8",
     kSecondRefused + kAnswered,
     {
         {"lstat",
          EACCES,
          {"listen: lstat: " + describe(EACCES),
           "refused: lstat: " + describe(EACCES) + "; " + kAnswered,
           kSecondRefused + "connect: lstat: " + describe(EACCES), kSecondRefused + kAnswered}},
         {"socket",
          EMFILE,
          {"listen: socket: " + describe(EMFILE),
           "refused: socket: " + describe(EMFILE) + "; " + kAnswered,
           kSecondRefused + "connect: socket: " + describe(EMFILE)}},
         {"open",
          EMFILE,
          {"listen: lock: " + describe(EMFILE),
           "refused: lock: " + describe(EMFILE) + "; " + kAnswered}},
         {"fcntl",
          ENOLCK,
          {"listen: lock: " + describe(ENOLCK),
           "refused: lock: " + describe(ENOLCK) + "; " + kAnswered, kSecondRefused + kAnswered}},
         {"fstat", EIO, {kSecondRefused + kAnswered}},
         {"pread", EIO, {"listen: lock: " + describe(EIO), kSecondRefused + kAnswered}},
         {"pwrite", ENOSPC, {kSecondRefused + kAnswered}},
         {"ftruncate", EIO, {kSecondRefused + kAnswered}},
         {"unlink", EACCES, {kSecondRefused + kAnswered}},
         {"bind", EACCES, {"listen: bind: " + describe(EACCES)}},
         {"listen", EADDRINUSE, {"listen: listen: " + describe(EADDRINUSE)}},
         {"connect",
          ECONNREFUSED,
          {kSecondRefused + "connect: connect: " + describe(ECONNREFUSED)}},
         {"connect", EAGAIN, {kSecondRefused + kAnswered}},
         {"connect", EINTR, {kSecondRefused + kAnswered}},
         {"accept", EMFILE, {kSecondRefused + kAnswered}},
         {"accept", EINTR, {kSecondRefused + kAnswered}},
         {"getsockopt",
          EINVAL,
          {kSecondRefused + "connect: SO_PEERCRED: " + describe(EINVAL),
           kSecondRefused + "receive: receive: " + describe(ECONNRESET) +
               ", at the server SO_PEERCRED: " + describe(EINVAL)}},
         {"poll",
          ENOMEM,
          {kSecondRefused + "serve: poll: " + describe(ENOMEM),
           kSecondRefused + "texttext, serve: poll: " + describe(ENOMEM)}},
         {"poll", EINTR, {kSecondRefused + kAnswered}},
         // Any failed send ends the connection, and both sides see the end.
         {"send",
          ENOBUFS,
          {kSecondRefused + "send: send: " + describe(ENOBUFS),
           kSecondRefused + "receive: receive: " + describe(ENOTCONN) +
               ", at the server send: " + describe(ENOBUFS)}},
         {"send", EAGAIN, {kSecondRefused + kAnswered}},
         {"send", EINTR, {kSecondRefused + kAnswered}},
         {"recv",
          ECONNRESET,
          {kSecondRefused + "receive: receive: " + describe(ECONNRESET) +
               ", at the server receive: " + describe(ECONNRESET),
           kSecondRefused + "receive: receive: " + describe(ECONNRESET) + ", at the server ",
           kSecondRefused + "texttext, receive: " + describe(ECONNRESET)}},
         {"recv", EAGAIN, {kSecondRefused + kAnswered}},
         {"recv", EINTR, {kSecondRefused + kAnswered}},
         {"close", EIO, {kSecondRefused + kAnswered}},
         // A time that is not known may be after the deadline.
         {"clock_gettime", EINVAL, {}, {kSecondRefused + kAnswered, kSecondRefused + "no news"}},
         {"mmap", ENOMEM, {}, {kSecondRefused + kAnswered}},
         {"madvise", EINVAL, {}, {kSecondRefused + kAnswered}},
     },
     {"std::bad_alloc"}},
};

struct Fault {
    std::string call = {};
    long occurrence = 0;
    int error = 0;
};

// The environment under which a scenario runs with the preload library.
std::map<std::string, std::optional<std::string>> makeEnvironment(const Scenario& scenario)
{
    const char* asanOptions = std::getenv("ASAN_OPTIONS");
    const std::string ahead = asanOptions != nullptr ? std::string(asanOptions) + ":" : "";
    return {{"LOCPATH", QZ_TEST_LOCPATH},
            {"LC_ALL", scenario.locale},
            {"TZ", "UTC0"},
            // It takes a library before its own for a mistake.
            {"ASAN_OPTIONS", ahead + "verify_asan_link_order=0"}};
}

ChildResult runScenario(const Scenario& scenario, const std::string& argument)
{
    support::ProgramRun run;
    run.program = QZ_TEST_SCENARIOS_DIR "/scenario_" + scenario.name;
    run.environment = makeEnvironment(scenario);
    run.arguments = {argument};
    return runProgram(run);
}

ChildResult runWithFault(const Scenario& scenario, const Fault& fault,
                         const std::string& countsPath)
{
    support::ProgramRun run;
    run.program = QZ_TEST_SCENARIOS_DIR "/scenario_" + scenario.name;
    run.environment = makeEnvironment(scenario);
    run.environment["LD_PRELOAD"] = QZ_TEST_FAULTS_LIBRARY;
    run.environment["QZ_FAULT_CALL"] = fault.call;
    run.environment["QZ_FAULT_OCCURRENCE"] = std::to_string(fault.occurrence);
    run.environment["QZ_FAULT_ERRNO"] = std::to_string(fault.error);
    run.environment["QZ_FAULT_COUNTS"] = countsPath;
    return runProgram(run);
}

// The outcomes that a run printed; a run that crashed or kept a descriptor reads differently.
Outcomes takeOutcomes(const ChildResult& result)
{
    Outcomes outcomes;
    std::istringstream lines(result.out);
    std::string line;
    std::string last;
    const std::string mark = "outcome: ";
    while (std::getline(lines, line)) {
        if (line.rfind(mark, 0) == 0) outcomes.insert(line.substr(mark.size()));
        last = line;
    }
    if (result.getEnd() != "exit 0") outcomes.insert(result.getEnd() + ' ' + result.err);
    if (last != "descriptors kept: 0") outcomes.insert(last);
    return outcomes;
}

std::map<std::string, long> countCalls(const Scenario& scenario)
{
    const ScratchFolder folder;
    runWithFault(scenario, Fault(), folder.getPath("counts"));
    std::map<std::string, long> counts;
    std::istringstream lines(folder.read("counts"));
    std::string call;
    long count = 0;
    while (lines >> call >> count)
        counts[call] = count;
    return counts;
}

class FaultWalk : public ::testing::TestWithParam<Scenario> {};

TEST_P(FaultWalk, FindsTheGoodOutcomeWithoutAFault)
{
    EXPECT_THAT(takeOutcomes(runWithFault(GetParam(), Fault(), "/dev/null")),
                ElementsAre(GetParam().goodOutcome));
}

TEST_P(FaultWalk, KnowsEachCallOfTheScenario)
{
    std::set<std::string> calls;
    for (const auto& [call, count] : countCalls(GetParam())) {
        calls.insert(call);
    }
    std::set<std::string> known;
    for (const CallRow& row : GetParam().calls) {
        known.insert(row.call);
    }
    EXPECT_THAT(calls, IsSubsetOf(known));
}

TEST_P(FaultWalk, FindsTheOutcomesOfItsTableWhenACallFails)
{
    std::map<std::string, long> counts = countCalls(GetParam());
    for (const CallRow& row : GetParam().calls) {
        Outcomes outcomes;
        for (long occurrence = 1; occurrence <= counts[row.call]; ++occurrence) {
            const Fault fault{row.call, occurrence, row.error};
            outcomes.merge(takeOutcomes(runWithFault(GetParam(), fault, "/dev/null")));
        }
        Outcomes allowed = row.must;
        allowed.insert(row.may.begin(), row.may.end());
        EXPECT_THAT(outcomes, IsSupersetOf(row.must)) << row.call;
        EXPECT_THAT(outcomes, IsSubsetOf(allowed)) << row.call;
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultWalk, ::testing::ValuesIn(kScenarios),
                         [](const auto& row) { return row.param.name; });

// What a log object's destructor can't allocate ends the process, so that scenario is not here.
std::vector<Scenario> getScenariosOfAllocations()
{
    std::vector<Scenario> scenarios;
    for (const Scenario& scenario : kScenarios) {
        if (!scenario.allocations.empty()) scenarios.push_back(scenario);
    }
    return scenarios;
}

class AllocationWalk : public ::testing::TestWithParam<Scenario> {};

// A sanitizer keeps the malloc family from failing, so that some outcomes stay away under it.
TEST_P(AllocationWalk, FindsOutcomesOfItsTableOnly)
{
    const Outcomes outcomes = takeOutcomes(runScenario(GetParam(), "--allocations"));
    EXPECT_THAT(outcomes, IsSubsetOf(GetParam().allocations));
    EXPECT_THAT(outcomes, Contains("std::bad_alloc"));
}

INSTANTIATE_TEST_SUITE_P(Scenarios, AllocationWalk,
                         ::testing::ValuesIn(getScenariosOfAllocations()),
                         [](const auto& row) { return row.param.name; });

}  // namespace

}  // namespace qz
