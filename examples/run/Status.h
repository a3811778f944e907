// SPDX-License-Identifier: MIT
#pragma once

namespace run {

/// The exit statuses that aren't the program's; those that shells and `timeout` use.
enum Status {
    StatusTimeout = 124,
    StatusFailed = 125,
    StatusNotExecuted = 126,
    StatusMissing = 127,
    StatusSignal = 128,  // and the number of the signal
    StatusInterrupted = 130,
};

}  // namespace run
