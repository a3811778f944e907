// SPDX-License-Identifier: MIT
#pragma once

namespace qz::ext::crash {

/// The signals that are reported.
inline constexpr int kSignalCount = 7;
extern const int kSignals[kSignalCount];

/// "SIGSEGV"; "signal" for one that isn't reported. Safe in a signal handler.
const char* getSignalName(int signal);
/// How a signal came about, for example "SEGV_MAPERR"; "code" for an unknown one. Safe in a signal
/// handler.
const char* getCodeName(int signal, int code);

}  // namespace qz::ext::crash
