// SPDX-License-Identifier: MIT
#include "Conversation.h"

#include <array>
#include <cerrno>
#include <iostream>

#include <poll.h>
#include <unistd.h>

namespace chat {

namespace {

constexpr std::size_t kMaxQueuedBytes = 10'240;
// A longer line is shown in parts, so that the other side can't fill the memory.
constexpr std::size_t kMaxLineBytes = 64UL * 1024;

}  // namespace

// The pipe waits for its own bytes only, so this waits for those and for the terminal.
bool Conversation::waitForBoth() const
{
    const bool mayRead = !mHasInputEnded && mPipe.editWriteQueue().size() < kMaxQueuedBytes;
    const auto pipeEvents = static_cast<short>(mPipe.hasPendingWrite() ? POLLIN | POLLOUT : POLLIN);
    std::array<pollfd, 2> waiting = {{
        {mPipe.getSocket(), pipeEvents, 0},
        {mayRead ? STDIN_FILENO : -1, POLLIN, 0},
    }};
    ::poll(waiting.data(), waiting.size(), -1);
    return waiting[1].revents != 0;
}

void Conversation::readInput()
{
    std::array<char, 4096> bytes;
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) return;
    mHasInputEnded = count <= 0;
    if (mHasInputEnded) return;
    std::vector<char>& queue = mPipe.editWriteQueue();
    queue.insert(queue.end(), bytes.begin(), bytes.begin() + count);
}

bool Conversation::ShowLine(const std::string& line)
{
    std::cout << "> ";
    // What the other side sends must not control this terminal.
    unsigned char before = 0;
    for (const char c : line) {
        const auto byte = static_cast<unsigned char>(c);
        // Some terminals also obey U+0080 to U+009F, of two bytes.
        const bool isLateControl = before == 0xC2 && byte >= 0x80 && byte < 0xA0;
        std::cout << (byte < ' ' || byte == 0x7F || isLateControl ? '?' : c);
        before = byte;
    }
    return static_cast<bool>(std::cout << std::endl);
}

bool Conversation::showReceived()
{
    std::vector<char>& queue = mPipe.editReadQueue();
    for (const char c : queue) {
        if (c != '\n') mPartOfLine += c;
        if (c != '\n' && mPartOfLine.size() < kMaxLineBytes) continue;
        if (!ShowLine(mPartOfLine)) return false;
        mPartOfLine.clear();
    }
    queue.clear();
    return true;
}

Conversation::End Conversation::run()
{
    while (!mHasInputEnded || mPipe.hasPendingWrite()) {
        if (waitForBoth()) readInput();
        mUnsentBytes = mPipe.editWriteQueue().size();
        mPipe.processNamedPipeEvents(/*timeoutMs=*/0, /*waitWhenIdle=*/false);
        if (!mPipe.hasWriteFailed()) mUnsentBytes = mPipe.editWriteQueue().size();
        if (!showReceived()) return End::Output;
        if (mPipe.isReadChannelClosed() || mPipe.hasWriteFailed()) {
            if (!mPartOfLine.empty() && !ShowLine(mPartOfLine)) return End::Output;
            return End::Peer;
        }
    }
    return End::Input;
}

}  // namespace chat
