// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzNamedPipe.h>

namespace chat {

/// Carries lines between the terminal and a pipe, until one of them ends.
class Conversation {
public:
    enum class End {
        Input,   ///< The own input has ended, and all of it was sent.
        Peer,    ///< The other side has left.
        Output,  ///< The output can't be written.
    };

    /// @param pipe connected; it outlives the object.
    explicit Conversation(qz::qzNamedPipe& pipe) : mPipe(pipe) {}

    /// Runs until the end.
    End run();
    /// How many bytes of the own input were read and not handed over to the system.
    std::size_t getUnsentBytes() const { return mUnsentBytes; }

private:
    bool waitForBoth() const;
    void readInput();
    bool showReceived();
    static bool ShowLine(const std::string& line);

    qz::qzNamedPipe& mPipe;
    std::string mPartOfLine;  // received without its end
    std::size_t mUnsentBytes = 0;
    bool mHasInputEnded = false;
};

}  // namespace chat
