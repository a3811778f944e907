#pragma once

#include <qz/qzSystem.h>

namespace qz::support {

/// Keeps the library started until the end of the scope.
class LibraryStart {
public:
    explicit LibraryStart(InitType type = LightInit) { initializeQzSystem(type); }
    ~LibraryStart() { terminateQzSystem(); }
    LibraryStart(const LibraryStart&) = delete;
    LibraryStart& operator=(const LibraryStart&) = delete;
};

}  // namespace qz::support
