// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzSystem.h>

/// The second library, libqzSystemExt: other programs, files, locks, messages, JSON, loops and
/// progress. Its headers are in `<qz/ext/...>`; link `qzSystem::ext`.
namespace qz::ext {

/// Starts the library and stops it at the end of the scope. Objects that use the library must be
/// destroyed before:
///
/// @code
/// #include <qz/ext/LibraryStart.h>
/// #include <qz/qzLogObject.h>
///
/// int main()
/// {
///     const qz::ext::LibraryStart library;
///     qz::logInfo() << "started";
/// }
/// @endcode
///
/// Threads: no other thread may use the library while this object is made or destroyed.
class LibraryStart {
public:
    /// Starts the library; see `initializeQzSystem`. If that throws, there is no object whose
    /// destructor would undo the start: call `terminateQzSystem` where you catch the exception.
    explicit LibraryStart(InitType type = LightInit) { initializeQzSystem(type); }
    /// Undoes the start.
    ~LibraryStart() { terminateQzSystem(); }
    LibraryStart(const LibraryStart&) = delete;
    LibraryStart& operator=(const LibraryStart&) = delete;
};

}  // namespace qz::ext
