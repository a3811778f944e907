// SPDX-License-Identifier: MIT
// Runs the steps that its arguments name, and prints the calls of the system log and the look-ups
// of the thread's number beside the lines of the log. The clock, the process and the thread have
// fixed numbers, so that lines can be compared whole.
//
// The parts of a step stand between '|'; "-" is a null text:
//   start | full | stop                   of the library
//   create | destroy                      the logger alone
//   level|NUMBER
//   locale                                takes the environment's locale, as programs do at first
//   merge                                 sends the standard error stream to the standard output
//   handler                               installs a handler that prints the size of its batch
//   report|TYPE|SUBTYPE|TAG|TEXT          a whole report
//   repeat|TYPE|SUBTYPE|TAG|TEXT|COUNT    a whole report, whose text is the given one COUNT times
//   begin|TYPE|SUBTYPE|TAG|TEXT, end      a report that stays open between the two
//   clock|MILLISECONDS
//   zone|TZ                               sets the zone
//   surprise|TZ                           sets the zone in the midst of the next line's making
//   entry|TYPE|TAG|PREFIX|MESSAGE|ECHO    a direct call of the way to the system log
//   nul|TYPE|TAG|PREFIX|MESSAGE|REST      the same, with a NUL and the rest after the message

#include <dlfcn.h>
#include <locale.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>

namespace {

long gNowMs = 1794687476789;  // Sat Nov 14 20:17:56 2026 in UTC
std::string gSurpriseZone;
// The thread of the steps alone has the fixed number. The library asks once while it is loaded,
// before the streams, and on its log thread.
thread_local bool gIsThreadOfSteps = false;

void setZone(const std::string& zone)
{
    ::setenv("TZ", zone.c_str(), /*overwrite=*/1);
    ::tzset();
}

void printSystemLogCall(int priority, const char* format, va_list arguments)
{
    std::cout << "[syslog " << priority << ' ' << format << "] ";
    if (std::strcmp(format, "%s") == 0) std::cout << va_arg(arguments, const char*);
    std::cout << std::endl;
}

}  // namespace

extern "C" {

void openlog(const char* identity, int options, int facility)
{
    std::cout << "[openlog " << (identity == nullptr ? "null" : identity) << ' ' << options << ' '
              << facility << ']' << (qz::qzLog::msInstance == nullptr ? " before the logger" : "")
              << std::endl;
}

void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printSystemLogCall(priority, format, arguments);
    va_end(arguments);
}

// What hardened builds call in its stead.
void __syslog_chk(int priority, int /*flag*/, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printSystemLogCall(priority, format, arguments);
    va_end(arguments);
}

int gettimeofday(timeval* now, void* /*zone*/) noexcept
{
    *now = {gNowMs / 1000, gNowMs % 1000 * 1000};
    return 0;
}

tm* localtime_r(const time_t* time, tm* parts) noexcept
{
    using Call = tm* (*)(const time_t*, tm*);
    static const auto realCall = reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "localtime_r"));
    if (!gSurpriseZone.empty()) setZone(std::exchange(gSurpriseZone, {}));
    return realCall(time, parts);
}

pid_t getpid() noexcept
{
    return 4711;
}

long syscall(long number, ...) noexcept
{
    if (number == SYS_gettid && gIsThreadOfSteps) {
        std::cout << "[gettid]" << std::endl;
        return 4712;
    }
    using Call = long (*)(long, long, long, long, long, long, long);
    static const auto realCall = reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "syscall"));
    va_list arguments;
    va_start(arguments, number);
    long argument[6];
    for (long& value : argument)
        value = va_arg(arguments, long);
    va_end(arguments);
    return realCall(number, argument[0], argument[1], argument[2], argument[3], argument[4],
                    argument[5]);
}

}  // extern "C"

namespace {

using qz::qzLog;
using qz::qzLogObject;

// A step's name and its parts.
class Step {
public:
    explicit Step(const std::string& text)
    {
        std::istringstream parts(text + '|');
        for (std::string part; std::getline(parts, part, '|');)
            mParts.push_back(part);
    }
    const std::string& getName() const { return mParts.at(0); }
    const std::string& getText(std::size_t i) const { return mParts.at(i); }
    const char* getTextOrNull(std::size_t i) const
    {
        return getText(i) == "-" ? nullptr : getText(i).c_str();
    }
    long getNumber(std::size_t i) const { return std::stol(getText(i)); }

private:
    std::vector<std::string> mParts;
};

std::unique_ptr<qzLogObject> gOpenReport;

std::unique_ptr<qzLogObject> begin(const Step& step)
{
    const auto type = static_cast<qzLog::EntryType>(step.getNumber(1));
    return std::make_unique<qzLogObject>(type, /*synchronous=*/false, step.getTextOrNull(2),
                                         step.getTextOrNull(3));
}

void report(const Step& step)
{
    *begin(step) << step.getText(4);
}

void repeat(const Step& step)
{
    const auto object = begin(step);
    for (long i = 0; i < step.getNumber(5); ++i)
        *object << step.getText(4);
}

qzLog::LogEntry makeEntry(const Step& step)
{
    qzLog::LogEntry entry;
    entry.type = static_cast<int>(step.getNumber(1));
    entry.systemLogTag = step.getText(2);
    entry.prefix = step.getText(3);
    entry.message = step.getText(4);
    return entry;
}

void sendEntry(const Step& step)
{
    qzLog::WriteToSystemLog(makeEntry(step), /*echoToStdErr=*/step.getNumber(5) != 0);
}

void sendEntryWithNul(const Step& step)
{
    qzLog::LogEntry entry = makeEntry(step);
    entry.message += '\0' + step.getText(5);
    qzLog::WriteToSystemLog(entry, /*echoToStdErr=*/true);
}

void installHandler()
{
    const auto print = [](std::list<qzLog::LogEntry>& batch, void*) {
        std::cout << "[handler " << batch.size() << ']' << std::endl;
    };
    qzLog::msInstance->installCustomHandler(print, nullptr);
}

const std::map<std::string, std::function<void(const Step&)>> kSteps = {
    {"start", [](const Step&) { qz::initializeQzSystem(qz::LightInit); }},
    {"full", [](const Step&) { qz::initializeQzSystem(qz::FullInit); }},
    {"stop", [](const Step&) { qz::terminateQzSystem(); }},
    {"create", [](const Step&) { qzLog::createInstance(/*threadSafe=*/false); }},
    {"destroy", [](const Step&) { qzLog::destroyInstance(); }},
    {"level",
     [](const Step& step) {
         qzLog::msInstance->setLogLevel(static_cast<qz::qzLogLevel>(step.getNumber(1)));
     }},
    {"locale", [](const Step&) { ::setlocale(LC_ALL, ""); }},
    {"merge", [](const Step&) { ::dup2(STDOUT_FILENO, STDERR_FILENO); }},
    {"handler", [](const Step&) { installHandler(); }},
    {"report", report},
    {"repeat", repeat},
    {"begin",
     [](const Step& step) {
         gOpenReport = begin(step);
         *gOpenReport << step.getText(4);
     }},
    {"end", [](const Step&) { gOpenReport = nullptr; }},
    {"clock", [](const Step& step) { gNowMs = step.getNumber(1); }},
    {"zone", [](const Step& step) { setZone(step.getText(1)); }},
    {"surprise", [](const Step& step) { gSurpriseZone = step.getText(1); }},
    {"entry", sendEntry},
    {"nul", sendEntryWithNul},
};

}  // namespace

int main(int argumentCount, char** arguments)
{
    const std::vector<std::string> steps(arguments + 1, arguments + argumentCount);
    // On a thread of its own, which nobody has asked for its number before.
    std::thread([&steps] {
        gIsThreadOfSteps = true;
        for (const std::string& text : steps) {
            const Step step(text);
            kSteps.at(step.getName())(step);
        }
    }).join();
    return 0;
}
