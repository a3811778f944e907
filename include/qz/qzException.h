// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzExport.h>

/// What is reported when a program crashes, or when nobody catches an exception.
namespace qz::exception {

/// Whether the library's signal watcher is installed: from the end of a full start to the stop.
QZ_API bool IsSigWatcherRegistered();

/// The guard that every `qzThread` runs in; other threads may use it as well.
namespace impl {

/// Calls a function and reports an exception that leaves it, with its type and text, as a CRITICAL
/// entry that also goes to the system log.
///
/// The guard reports and doesn't swallow: the caller gets a new `std::exception` for one that
/// derives from it, or a `std::runtime_error` "Unknown exception" for anything else. `pthread_exit`
/// and the cancellation of a thread pass without a report.
QZ_API void ExecGuardedCode(void (*function)(void*), void* argument);
/// The same for a function without an argument.
QZ_API void ExecGuardedCode(void (*function)());

}  // namespace impl

}  // namespace qz::exception
