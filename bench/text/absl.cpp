// SPDX-License-Identifier: MIT
#include <absl/strings/str_replace.h>

#include "rows.h"

namespace bench {

namespace {

struct Absl {
    using Text = std::string;

    static void replace(Text& text, const std::string& from, const std::string& to)
    {
        absl::StrReplaceAll({{from, to}}, &text);
    }
    static std::size_t escape(const std::string& text)
    {
        return absl::StrReplaceAll(text, {{"\"", "&quot;"},
                                          {"'", "&apos;"},
                                          {"&", "&amp;"},
                                          {"<", "&lt;"},
                                          {">", "&gt;"}})
            .size();
    }
};

const char* const kName = "Abseil";
const ReplaceRows<Absl> kReplace(kName);
const EscapeRows<Absl> kEscape(kName);

}  // namespace

}  // namespace bench
