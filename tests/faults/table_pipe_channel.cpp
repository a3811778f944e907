// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kSecondRefused = "refused: lock: " + describe(EAGAIN) + "; ";
const std::string kAnswered = "texttext, receive: " + describe(ENOTCONN);

}  // namespace

FaultTable getPipeChannelFaults()
{
    return {
        "pipe_channel",
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
        {"std::bad_alloc"}};
}

}  // namespace qz::faults
