// SPDX-License-Identifier: MIT
#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace qz {

/// Stands behind std::cout until the end of the scope, and tells what was flushed from what was
/// only written.
class ConsoleRecorder : private std::stringbuf {
public:
    ConsoleRecorder() : mOldBuffer(std::cout.rdbuf(this)) {}
    ~ConsoleRecorder() override { std::cout.rdbuf(mOldBuffer); }
    ConsoleRecorder(const ConsoleRecorder&) = delete;
    ConsoleRecorder& operator=(const ConsoleRecorder&) = delete;

    std::string getText() const { return str(); }
    const std::string& getFlushedText() const { return mFlushedText; }
    int getFlushCount() const { return mFlushCount; }

private:
    int sync() override
    {
        mFlushedText = str();
        ++mFlushCount;
        return 0;
    }

    std::streambuf* mOldBuffer;
    std::string mFlushedText;
    int mFlushCount = 0;
};

}  // namespace qz
