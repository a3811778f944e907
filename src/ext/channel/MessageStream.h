// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// Messages in a stream of bytes.

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <qz/ext/SystemFailure.h>

namespace qz::ext {

/// Puts messages together from what a socket receives, and into what it sends.
///
/// A message is its length (4 bytes), the CRC-32C of those 4 bytes and of the content (4 bytes),
/// and the content; numbers are little-endian. No call waits, if the socket doesn't. The first
/// failure is final.
class MessageStream {
public:
    /// What is sent besides the content of a message.
    static constexpr std::size_t kHeaderBytes = 8;

    /// What a call has found.
    enum class Step {
        Moved,     ///< Some bytes went through.
        MustWait,  ///< The socket isn't ready.
        Broken,    ///< The connection is of no more use; see `getFailure`.
    };

    /// @param messageLimit the longest content in bytes, in both directions.
    explicit MessageStream(std::size_t messageLimit)
        : mMessageLimit(std::min<std::size_t>(messageLimit, UINT32_MAX))
    {
    }

    /// Receives once. The buffer grows with what was received, whatever length a header claims.
    Step receive(int socket);
    /// Takes the oldest message that was received whole.
    /// @return false if there is none, or after a failure.
    bool take(std::string& message);
    /// Whether something was received and not taken: after a `take` that gave nothing, a part of a
    /// message.
    bool hasInput() const { return mBegin != mEnd; }
    /// Whether a reader should receive: the buffer isn't full, and the input hasn't ended.
    bool canReceive() const { return !mHasEnded && mEnd - mBegin < kHeaderBytes + mMessageLimit; }

    /// Queues a message. @return false if it is longer than the limit.
    bool append(std::string_view message);
    /// Sends once.
    Step send(int socket);
    /// How many queued bytes are not sent.
    std::size_t getOutputBytes() const { return mOutput.size() - mSent; }

    /// Why the stream is of no more use: ENOTCONN after an end between two messages, ECONNRESET
    /// after one inside, EMSGSIZE for a length beyond the limit, EBADMSG for a wrong CRC, or what
    /// the system reported.
    SystemFailure getFailure() const;

private:
    void reserveInput();
    Step breakOff(std::string step, int error);

    std::size_t mMessageLimit;
    std::vector<char> mInput;  // its size is the room; the bytes from mBegin to mEnd are received
    std::size_t mBegin = 0;
    std::size_t mEnd = 0;
    std::string mOutput;
    std::size_t mSent = 0;
    bool mHasEnded = false;
    SystemFailure mFailure;
};

}  // namespace qz::ext
