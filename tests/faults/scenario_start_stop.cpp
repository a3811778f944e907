// SPDX-License-Identifier: MIT
// A full start and the stop of the library.

#include <list>
#include <new>
#include <string>
#include <system_error>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystem.h>

#include "faults/Scenario.h"

namespace {

using qz::qzLog;
using qz::qzStringUtils;

std::string describe()
{
    std::string text = qzLog::msInstance != nullptr ? "log" : "no log";
    text += qz::IsQzSystemThreadSafe() ? ", full" : ", not full";
    if (qzStringUtils::msCLocale == nullptr) return text + ", no text services";
    text += *qzStringUtils::msCLocale != nullptr ? "" : ", no number locale";
    const auto local = qzStringUtils::convertCharset("\xc3\xa9", qzStringUtils::CharSetUtf8,
                                                     qzStringUtils::CharSetLocal);
    return text + ", local text '" + local + "'";
}

void start()
{
    try {
        qz::initializeQzSystem(qz::FullInit);
    } catch (const std::bad_alloc&) {
        qz::terminateQzSystem();
        throw;
    }
}

void countEntries(std::list<qzLog::LogEntry>& batch, void* count)
{
    *static_cast<std::size_t*>(count) += batch.size();
}

// What the log does without its thread.
std::string describeWriting()
{
    std::size_t written = 0;
    qzLog::msInstance->setEchoToConsole(false);
    qzLog::msInstance->installCustomHandler(&countEntries, &written);
    qz::logWarning() << "written at once";
    qzLog::msInstance->flush();
    return ", written " + std::to_string(written);
}

bool isDown()
{
    return qzLog::msInstance == nullptr && qzStringUtils::msCLocale == nullptr &&
           qzStringUtils::msCplusLocale == nullptr && qzStringUtils::msThreadContent == nullptr &&
           !qz::IsQzSystemThreadSafe();
}

// Keeps the library started, whatever is thrown meanwhile. A start that got no thread throws too,
// and leaves the library to be looked at and stopped.
struct Started {
    Started() { start(); }
    ~Started() { qz::terminateQzSystem(); }
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;
};

std::string startAndStop(const std::string& /*folder*/)
{
    std::string text;
    try {
        const qz::faults::Watch watch;
        const Started started;
        text = describe();
    } catch (const std::system_error& error) {
        text = "no thread: " + error.code().message() + "; " + describe() + describeWriting();
        qz::terminateQzSystem();
    }
    return text + (isDown() ? ", down" : ", not down");
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    return qz::faults::runScenario(argumentCount, arguments, &startAndStop);
}
