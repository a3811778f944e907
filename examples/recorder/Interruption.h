#pragma once

namespace recorder {

/// Turns Ctrl-C and the polite requests to end into a flag, so that nothing half-written stays.
void watchForInterruption();

/// Tells whether an end was asked for.
bool isInterrupted();

/// Ends the process the way the request would have ended it.
[[noreturn]] void endAsRequested();

}  // namespace recorder
