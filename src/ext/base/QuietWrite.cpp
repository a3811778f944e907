// SPDX-License-Identifier: MIT
#include "QuietWrite.h"

#include <cerrno>

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "Restart.h"

namespace qz::ext {

ssize_t writeQuietly(int descriptor, std::string_view bytes)
{
    sigset_t pipeSignal;
    sigset_t maskBefore;
    sigset_t pending;
    ::sigemptyset(&pipeSignal);
    ::sigaddset(&pipeSignal, SIGPIPE);
    ::sigpending(&pending);
    const bool wasPending = ::sigismember(&pending, SIGPIPE) == 1;
    ::pthread_sigmask(SIG_BLOCK, &pipeSignal, &maskBefore);
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    const int error = errno;
    if (written < 0 && error == EPIPE && !wasPending) {
        const timespec noTime = {};
        restart([&] { return ::sigtimedwait(&pipeSignal, nullptr, &noTime); });
    }
    ::pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
    errno = error;
    return written;
}

}  // namespace qz::ext
