// SPDX-License-Identifier: MIT
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/log/attributes/attribute_set.hpp>
#include <boost/log/attributes/constant.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/utility/formatting_ostream.hpp>
#include <boost/make_shared.hpp>

#include <unistd.h>

#include "../support.h"
#include "lines.h"

namespace bench {

namespace {

namespace attributes = boost::log::attributes;
namespace expressions = boost::log::expressions;
namespace posix_time = boost::posix_time;

// A record needs a sink that wants it; the formatter itself is called by hand.
class IdleBackend
    : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
public:
    void consume(const boost::log::record_view&) {}
};

// The process id, and the zone that Boost's local clock doesn't know, stand in attributes of the
// logger: filled in once, as a program would do it.
boost::log::record_view makeRecord()
{
    const auto sink = boost::make_shared<boost::log::sinks::synchronous_sink<IdleBackend>>();
    const auto core = boost::log::core::get();
    core->add_sink(sink);

    const posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
    const posix_time::ptime localTime =
        epoch + posix_time::milliseconds(kFirstTimeMs) + posix_time::hours(1);
    boost::log::attribute_set fields;
    fields["Severity"] = attributes::constant<const char*>("INFO");
    fields["Channel"] = attributes::constant<std::string>(kSubType);
    fields["Process"] = attributes::constant<int>(::getpid());
    fields["Thread"] = attributes::constant<long>(kThreadNumber);
    fields["Time"] = attributes::constant<posix_time::ptime>(localTime);
    boost::log::record_view record = core->open_record(fields).lock();
    core->remove_sink(sink);
    return record;
}

boost::log::formatter makeFormatter()
{
    return expressions::stream << expressions::attr<const char*>("Severity") << '('
                               << expressions::attr<std::string>("Channel") << ") PID "
                               << expressions::attr<int>("Process") << " TID "
                               << expressions::attr<long>("Thread") << ' '
                               << expressions::format_date_time<posix_time::ptime>(
                                      "Time", "%a %b %d %H:%M:%S+0100 %Y")
                               << " : ";
}

bool isPrefixRight()
{
    std::string line;
    boost::log::formatting_ostream stream(line);
    makeFormatter()(makeRecord(), stream);
    stream.flush();
    return isSameText(line, getExpectedPrefix());
}

// A sink keeps its stream and the text behind it from line to line, so they are kept here.
void measurePrefix(benchmark::State& state)
{
    const boost::log::formatter formatter = makeFormatter();
    const boost::log::record_view record = makeRecord();
    std::string line;
    boost::log::formatting_ostream stream(line);
    for (auto _ : state) {
        formatter(record, stream);
        stream.flush();
        keep(line);
        line.clear();
    }
}

const Check kPrefixCheck("prefix by Boost.Log", isPrefixRight);
const Case kPrefix("prefix of a line", "Boost.Log", measurePrefix);

}  // namespace

}  // namespace bench
