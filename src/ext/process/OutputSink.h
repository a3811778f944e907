// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <qz/ext/ChildStreams.h>
#include <qz/ext/SystemFailure.h>

#include "LineSplitter.h"

namespace qz::ext {

/// Receives the bytes of an output that this process reads.
class OutputSink {
public:
    explicit OutputSink(const ChildOutput& target);

    /// Takes over bytes, and drops those beyond the limit.
    void add(std::string_view bytes);
    /// Passes on what was kept until the end.
    void finish();

    bool isCut() const { return mIsCut; }
    /// Set after a device that didn't take all.
    const SystemFailure& getFailure() const { return mFailure; }
    std::string takeText() { return std::move(mText); }

private:
    ChildOutput::Kind mKind;
    std::size_t mLeft;  // bytes up to the limit of memory or device
    bool mIsCut = false;
    qzIoDevice* mDevice;
    std::string mText;
    SystemFailure mFailure;
    std::optional<LineSplitter> mLines;
};

}  // namespace qz::ext
