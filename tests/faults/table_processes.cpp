// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kRan = "ran 3 (process return an error)";
const std::string kInspected = "self with arguments, a parent with program, memory";
const std::string kAllStarted = kRan + "; missing; detached; " + kInspected;

}  // namespace

FaultTable getProcessesFaults()
{
    return {
        "processes",
        "C.UTF-8",
        kAllStarted,
        {
            // What can't be read of a process stays empty; a file that can't be opened is no
            // process.
            {"open",
             EMFILE,
             {kRan +
                  "; missing; detached; not self, no arguments, a parent with program, no memory",
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
             {kRan +
              "; missing; detached; not self, no arguments, a parent with program, no memory"}},
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
         kRan + "; missing; detached; self with arguments, a parent with program, no memory"}};
}

}  // namespace qz::faults
