// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Session.h"

namespace qz::ext::crash {

/// Makes a session the one that crashes are reported to, with the process's handlers installed;
/// null restores the previous ones. @return the session before; null if a crash keeps it busy.
std::unique_ptr<Session> replaceSession(std::unique_ptr<Session> session);

/// The session in force in this process; null if there is none.
Session* getSession();

/// Whether the kit has installed its handlers, and those before it were installed over them: by a
/// new start of the library.
bool areHandlersReplaced();

}  // namespace qz::ext::crash
