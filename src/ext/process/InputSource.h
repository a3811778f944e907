// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <qz/ext/ChildStreams.h>
#include <qz/ext/SystemFailure.h>

namespace qz::ext {

/// Provides the bytes of an input that this process writes.
class InputSource {
public:
    explicit InputSource(ChildInput source);

    /// The bytes to write next; empty at the end.
    std::string_view getNext();
    /// Removes bytes that have been written.
    void remove(std::size_t count) { mPosition += count; }
    /// Set after a device that failed.
    const SystemFailure& getFailure() const { return mFailure; }

private:
    void fill();

    ChildInput mSource;
    std::string mBuffer;        // of a device; the bytes of memory stay in the source
    std::size_t mPosition = 0;  // of the next byte, in the buffer or in the memory
    std::size_t mLeft;          // bytes up to the limit of the device
    SystemFailure mFailure;
};

}  // namespace qz::ext
