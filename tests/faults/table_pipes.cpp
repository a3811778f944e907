// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kAllPassed = "all passed";

}  // namespace

FaultTable getPipesFaults()
{
    return {
        "pipes",
        "C.UTF-8",
        kAllPassed,
        {
            {"unlink", EACCES, {kAllPassed}},
            {"socket",
             EMFILE,
             {"not listening: Cannot open socket in qzNamedPipeServer::listenUtf8, socket() "
              "returned "
              "INVALID_SOCKET",
              "not connected"}},
            {"bind", EACCES, {"not listening: Fail to bind on qzNamedPipeServer::listenUtf8"}},
            {"listen",
             EADDRINUSE,
             {"not listening: Cannot listen to socket in qzNamedPipeServer::listenUtf8, listen() "
              "returned SOCKET_ERROR"}},
            {"fcntl",
             EBADF,
             {"not listening: Failed to set socket as non-blocking in "
              "qzNamedPipeServer::listenUtf8, "
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
            {"recv",
             ECONNRESET,
             {"to: read channel closed", "back: read channel closed", kAllPassed}},
            // The queue keeps its zero bytes.
            {"recv", EAGAIN, {"to: other bytes", "back: other bytes", "no end seen"}},
            {"recv", EINTR, {kAllPassed}},
            {"shutdown", ENOTCONN, {kAllPassed}},
            {"close", EIO, {kAllPassed}},
            {"clock_gettime", EINVAL, {}, {kAllPassed}},
            {"mmap", ENOMEM, {}, {kAllPassed}},
            {"madvise", EINVAL, {}, {kAllPassed}},
        },
        {"std::bad_alloc"}};
}

}  // namespace qz::faults
