#include "SignalReport.h"

namespace qz::log {

namespace {

thread_local int depth = 0;

}  // namespace

SignalReport::SignalReport() noexcept
{
    ++depth;
}

SignalReport::~SignalReport()
{
    --depth;
}

bool SignalReport::IsUnderWay()
{
    return depth != 0;
}

}  // namespace qz::log
