#pragma once

#include <qz/qzSystem.h>

/// Conveniences over the library, in headers alone.
namespace qz::ext {

/// Keeps the library started for as long as it lives. What uses the library goes first.
/// Threads: make it and let it go while no other thread uses the library.
class LibraryStart {
public:
    /// Starts the library; see `initializeQzSystem`.
    explicit LibraryStart(InitType type = LightInit) { initializeQzSystem(type); }
    /// Undoes the start.
    ~LibraryStart() { terminateQzSystem(); }
    LibraryStart(const LibraryStart&) = delete;
    LibraryStart& operator=(const LibraryStart&) = delete;
};

}  // namespace qz::ext
