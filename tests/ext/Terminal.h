// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "support/Waiting.h"

namespace qz::ext {

/// A terminal for a test, which reads what was written to it.
class Terminal {
public:
    explicit Terminal(int columns)
    {
        char name[100] = "";
        EXPECT_GE(mScreen, 0);
        EXPECT_EQ(::grantpt(mScreen), 0);
        EXPECT_EQ(::unlockpt(mScreen), 0);
        EXPECT_EQ(::ptsname_r(mScreen, name, sizeof name), 0);
        mDescriptor = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(mDescriptor, 0);
        termios settings = {};
        EXPECT_EQ(::tcgetattr(mDescriptor, &settings), 0);
        ::cfmakeraw(&settings);
        settings.c_iflag |= IXON;
        EXPECT_EQ(::tcsetattr(mDescriptor, TCSANOW, &settings), 0);
        setColumns(columns);
    }
    ~Terminal()
    {
        ::close(mDescriptor);
        hangUp();
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void setColumns(int columns)
    {
        winsize size = {};
        size.ws_row = 24;
        size.ws_col = static_cast<unsigned short>(columns);
        EXPECT_EQ(::ioctl(mScreen, TIOCSWINSZ, &size), 0);
    }
    /// Stops the output as Ctrl-S does, or continues it as Ctrl-Q does.
    void setStopped(bool isStopped)
    {
        const char key = isStopped ? '\x13' : '\x11';
        EXPECT_EQ(::write(mScreen, &key, 1), 1);
        EXPECT_TRUE(support::waitUntil([&] {
            pollfd output = {mDescriptor, POLLOUT, 0};
            return (::poll(&output, 1, 0) == 0) == isStopped;
        }));
    }
    /// Closes the window.
    void hangUp()
    {
        if (mScreen >= 0) ::close(mScreen);
        mScreen = -1;
    }
    /// What a program writes to.
    int getDescriptor() const { return mDescriptor; }

    /// What was written since the last call. The bytes arrive later than their `write` returns, so
    /// it reads up to a mark of its own.
    std::string takeText()
    {
        const char mark = '\x04';
        EXPECT_EQ(::write(mDescriptor, &mark, 1), 1);
        std::string text;
        char byte = 0;
        while (::read(mScreen, &byte, 1) == 1 && byte != mark)
            text += byte;
        EXPECT_EQ(byte, mark) << "the terminal has ended";
        return text;
    }

private:
    int mScreen = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    int mDescriptor = -1;
};

}  // namespace qz::ext
