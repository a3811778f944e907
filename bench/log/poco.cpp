// SPDX-License-Identifier: MIT
#include <Poco/AutoPtr.h>
#include <Poco/Message.h>
#include <Poco/PatternFormatter.h>

#include "../support.h"
#include "lines.h"

namespace bench {

namespace {

using FormatterPtr = Poco::AutoPtr<Poco::PatternFormatter>;

FormatterPtr makeFormatter()
{
    FormatterPtr formatter(
        new Poco::PatternFormatter("%p(%s) PID %P TID %I %w %b %d %H:%M:%S%Z %Y : "));
    formatter->setProperty("times", "local");
    formatter->setProperty("priorityNames", "FATAL,CRITICAL,ERROR,WARNING,NOTICE,INFO,DEBUG,TRACE");
    return formatter;
}

Poco::Message makeMessage()
{
    Poco::Message message(kSubType, "", Poco::Message::PRIO_INFORMATION);
    message.setTid(kThreadNumber);
    message.setTime(Poco::Timestamp(kFirstTimeMs * 1000));
    return message;
}

bool isPrefixRight()
{
    useFixedTimeZone();
    std::string line;
    makeFormatter()->format(makeMessage(), line);
    return isSameText(line, getExpectedPrefix());
}

void measurePrefix(benchmark::State& state)
{
    FormatterPtr formatter = makeFormatter();
    Poco::Message message = makeMessage();
    Poco::Timestamp time = message.getTime();
    for (auto _ : state) {
        std::string line;
        formatter->format(message, line);
        keep(line);
        time += kLineDistanceMs * 1000;
        message.setTime(time);
    }
}

const Check kPrefixCheck("prefix by POCO", isPrefixRight);
const Case kPrefix("prefix of a line", "POCO", measurePrefix);

}  // namespace

}  // namespace bench
