// SPDX-License-Identifier: MIT
#pragma once

namespace fingerprint {

/// The exit statuses of the program.
enum Status : int {
    StatusDone = 0,
    StatusIncomplete = 1,
    StatusUsage = 2,
    StatusTooMuchMemory = 3,
    StatusInterrupted = 130,
};

}  // namespace fingerprint
