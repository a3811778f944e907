// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace qzdoctor {

/// What one check has found.
struct Finding {
    /// How good that is.
    enum class State {
        Good,
        Note,     ///< The library works, but a part of what it offers doesn't.
        Missing,  ///< Something that the library relies on.
    };

    State state = State::Good;
    std::string subject;  ///< What was checked.
    std::string text;     ///< What was found, and what follows.
};

/// Checks what the library needs on this machine, for this user.
std::vector<Finding> checkMachine();

}  // namespace qzdoctor
