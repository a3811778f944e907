// SPDX-License-Identifier: MIT
#include <boost/algorithm/string/find.hpp>
#include <boost/algorithm/string/replace.hpp>

#include "rows.h"

namespace bench {

namespace {

struct Boost {
    using Text = std::string;

    static std::size_t findCaseless(const std::string& text, const std::string& needle)
    {
        const auto found = boost::algorithm::ifind_first(text, needle);
        return static_cast<std::size_t>(found.begin() - text.begin());
    }
    static void replace(Text& text, const std::string& from, const std::string& to)
    {
        boost::algorithm::replace_all(text, from, to);
    }
};

const FindCaselessRows<Boost> kFindCaseless("Boost");
const ReplaceRows<Boost> kReplace("Boost");

}  // namespace

}  // namespace bench
