// SPDX-License-Identifier: MIT
#include <cerrno>
#include <cstring>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kName = "a name of 26";

std::string fail(const std::string& step, int error)
{
    return "no random bytes, " + step + ": " + std::strerror(error);
}

}  // namespace

FaultTable getSecureRandomFaults()
{
    const std::string good = kName + ", " + kName;
    return {
        "secure_random",
        "C.UTF-8",
        good,
        {
            {"getrandom", EINTR, {good}},
            {"getrandom", ENOSYS, {good}},
            {"getrandom", EPERM, {good}},
            {"getrandom",
             EIO,
             {fail("getrandom", EIO) + ", " + kName, kName + ", " + fail("getrandom", EIO)}},
            {"open",
             EMFILE,
             {kName + ", " + fail("/dev/random", EMFILE),
              kName + ", " + fail("/dev/urandom", EMFILE)}},
            {"open", EINTR, {good}},
            {"fstat",
             EIO,
             {kName + ", " + fail("/dev/random", EIO), kName + ", " + fail("/dev/urandom", EIO)}},
            {"poll", ENOMEM, {kName + ", " + fail("/dev/random", ENOMEM)}},
            {"poll", EINTR, {good}},
            {"read", EIO, {kName + ", " + fail("/dev/urandom", EIO)}},
            {"read", EINTR, {good}},
            {"close", EIO, {good}},
        },
        {"std::bad_alloc"}};
}

}  // namespace qz::faults
