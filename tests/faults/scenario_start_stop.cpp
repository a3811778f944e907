// A full start and the stop of the library.

#include <new>
#include <string>

#include <qz/qzLog.h>
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

bool isDown()
{
    return qzLog::msInstance == nullptr && qzStringUtils::msCLocale == nullptr &&
           qzStringUtils::msCplusLocale == nullptr && qzStringUtils::msThreadContent == nullptr &&
           !qz::IsQzSystemThreadSafe();
}

// Keeps the library started, whatever is thrown meanwhile.
struct Started {
    Started() { start(); }
    ~Started() { qz::terminateQzSystem(); }
    Started(const Started&) = delete;
    Started& operator=(const Started&) = delete;
};

std::string startAndStop(const std::string& /*folder*/)
{
    std::string text;
    {
        const qz::faults::Watch watch;
        const Started started;
        text = describe();
    }
    return text + (isDown() ? ", down" : ", not down");
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    return qz::faults::runScenario(argumentCount, arguments, &startAndStop);
}
