// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kFed = "3 'text'";
const std::string kPiped = "0 'text'";
const std::string kAllRun = kFed + "; " + kPiped;

}  // namespace

FaultTable getChildProcessFaults()
{
    return {
        "child_process",
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
            {"read",
             EIO,
             {"read failed, ended; " + kPiped, kFed + "; read failed, ended"},
             {kAllRun}},
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
        {"std::bad_alloc", kAllRun}};
}

}  // namespace qz::faults
