// SPDX-License-Identifier: MIT
// Runs the steps that its arguments name, under a clock and a process number of its own, so that
// the names of log files are known ahead.
//
// The parts of a step stand between '|':
//   start | full | stop                        of the library
//   install|PATH|FLAGS|SIZE|COUNT|INTERVAL
//   remove
//   write|TEXT                                 an entry; it is out when the step ends, unless held
//   fill|COUNT                                 an entry of that many "x"
//   debug|TEXT                                 the same of type DEBUG
//   off|NAMES                                  switches sub-types off
//   hold | release                             the log thread, after an entry "held": what is
//                                              written between the two is one batch
//   clock|SECONDS
//   tick|SECONDS                               advances the clock
//   zone|TZ                                    changes the time zone
// An entry "tick SECONDS" advances the clock when its echo reaches the console, in the midst of the
// batch that it stands in.

#include <stdlib.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <iostream>
#include <list>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <qz/qzLog.h>
#include <qz/qzSystem.h>

namespace {

std::atomic<long> gNow = 1794687476;  // Sat Nov 14 20:17:56 2026 in UTC

}  // namespace

extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept
{
    *now = {gNow, 0};
    return 0;
}

extern "C" pid_t getpid() noexcept
{
    return 4711;
}

namespace {

using qz::qzLog;

// The console: it shows nothing, and moves the clock for those who ask.
class TickingConsole : public std::streambuf {
private:
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        const std::string line(text, static_cast<std::size_t>(size));
        const std::size_t place = line.find(" : tick ");
        if (place != std::string::npos) gNow += std::stol(line.substr(place + 8));
        return size;
    }
};

class Gate {
public:
    void hold()
    {
        qzLog::msInstance->flush();
        qzLog::msInstance->installCustomHandler(&Gate::Receive, this);
        qzLog::msInstance->flush();
        mIsHeld = true;
        writeEntry("held");
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [this] { return mIsInside; });
    }
    void release()
    {
        {
            const std::lock_guard lock(mMutex);
            mIsHeld = false;
            mIsInside = false;
            mChanged.notify_all();
        }
        qzLog::msInstance->flush();
        qzLog::msInstance->installCustomHandler(nullptr, nullptr);
    }
    bool isHeld() const { return mIsHeld; }

    static void writeEntry(const std::string& text, int type = qzLog::Info)
    {
        qzLog::LogEntry entry;
        entry.type = type;
        entry.message = text;
        entry.timeMs = 1794687476000;
        qzLog::msInstance->Write(entry, /*synchronous=*/false);
    }

private:
    static void Receive(std::list<qzLog::LogEntry>& /*batch*/, void* gate)
    {
        auto* self = static_cast<Gate*>(gate);
        std::unique_lock lock(self->mMutex);
        self->mIsInside = true;
        self->mChanged.notify_all();
        self->mChanged.wait(lock, [self] { return !self->mIsHeld; });
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsInside = false;
    std::atomic<bool> mIsHeld = false;
};

Gate gGate;

void write(const std::string& text, int type = qzLog::Info)
{
    Gate::writeEntry(text, type);
    if (!gGate.isHeld()) qzLog::msInstance->flush();
}

void setZone(const std::string& zone)
{
    ::setenv("TZ", zone.c_str(), /*overwrite=*/1);
    ::tzset();
}

using Parts = std::vector<std::string>;

Parts split(const std::string& text)
{
    Parts parts;
    std::istringstream stream(text + '|');
    for (std::string part; std::getline(stream, part, '|');)
        parts.push_back(part);
    return parts;
}

void install(const Parts& parts)
{
    qzLog::msInstance->installFileHandlerExUtf8(
        parts.at(1), std::stoi(parts.at(2)), std::stol(parts.at(3)), std::stoi(parts.at(4)),
        static_cast<qzLog::TimeRotationInterval>(std::stoi(parts.at(5))));
    qzLog::msInstance->flush();
}

const std::map<std::string, std::function<void(const Parts&)>> kSteps = {
    {"start", [](const Parts&) { qz::initializeQzSystem(qz::LightInit); }},
    {"full", [](const Parts&) { qz::initializeQzSystem(qz::FullInit); }},
    {"stop", [](const Parts&) { qz::terminateQzSystem(); }},
    {"install", install},
    {"remove", [](const Parts&) { qzLog::msInstance->removeFileHandler(); }},
    {"write", [](const Parts& parts) { write(parts.at(1)); }},
    {"fill", [](const Parts& parts) { write(std::string(std::stoul(parts.at(1)), 'x')); }},
    {"debug", [](const Parts& parts) { write(parts.at(1), qzLog::Debug); }},
    {"off",
     [](const Parts& parts) { qzLog::msInstance->setSubTypeEnabled(parts.at(1).c_str(), false); }},
    {"hold", [](const Parts&) { gGate.hold(); }},
    {"release", [](const Parts&) { gGate.release(); }},
    {"clock", [](const Parts& parts) { gNow = std::stol(parts.at(1)); }},
    {"zone", [](const Parts& parts) { setZone(parts.at(1)); }},
    {"tick", [](const Parts& parts) { gNow += std::stol(parts.at(1)); }},
};

}  // namespace

int main(int argumentCount, char** arguments)
{
    TickingConsole console;
    std::streambuf* const oldBuffer = std::cout.rdbuf(&console);
    for (int i = 1; i < argumentCount; ++i) {
        const Parts parts = split(arguments[i]);
        kSteps.at(parts.at(0))(parts);
    }
    std::cout.rdbuf(oldBuffer);
    return 0;
}
