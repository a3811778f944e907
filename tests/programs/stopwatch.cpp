// SPDX-License-Identifier: MIT
// Runs a timer under a wall clock that stands still between its readings and rises by a second and
// a microsecond more at each: what the timer says, and how often it has read the clock.

#include <sys/time.h>

#include <iostream>

#include <qz/qzHighResTimer.h>

namespace {

bool gIsWatching = false;
int gReadings = 0;
long gSeconds = 1'700'000'000;
long gMicroseconds = 0;

}  // namespace

extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept
{
    if (gIsWatching) {
        ++gReadings;
        ++gSeconds;
        gMicroseconds += gReadings;
    }
    *now = {gSeconds, gMicroseconds};
    return 0;
}

namespace {

void show(const char* what, qzHighResTimer& timer)
{
    const double us = timer.getElapsedTimeInMicroSec();
    std::cout << what << ": " << (timer.isRunning() ? "running " : "stopped ") << us << " us, "
              << gReadings << " readings\n";
}

}  // namespace

int main()
{
    std::cout.precision(17);
    gIsWatching = true;
    qzHighResTimer timer;
    show("made", timer);
    timer.stop();
    show("stopped unstarted", timer);
    timer.start();
    show("started", timer);
    show("asked again", timer);
    timer.stop();
    show("stopped", timer);
    show("asked again", timer);
    timer.stop();
    show("stopped again", timer);
    std::cout << timer.getElapsedTimeInMilliSec() << " ms, " << timer.getElapsedTimeInSec()
              << " s\n";
    timer.start();
    timer.start();
    show("started twice", timer);
    timer.clearTimer();
    show("cleared while running", timer);
    timer.start();
    timer.stop();
    timer.clearTimer();
    show("cleared", timer);
    gIsWatching = false;
    return 0;
}
