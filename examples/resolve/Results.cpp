// SPDX-License-Identifier: MIT
#include "Results.h"

#include <qz/AsciiTableBuilder.h>
#include <qz/ext/PrintableText.h>

namespace resolve {

namespace {

using qz::qzXRefResolverSearchPath;

const char* describe(qzXRefResolverSearchPath::MatchResultType type)
{
    switch (type) {
        case qzXRefResolverSearchPath::MatchFull:
            return "full";
        case qzXRefResolverSearchPath::MatchPartial:
            return "partial";
        default:
            return "none";
    }
}

}  // namespace

std::string toTable(const std::vector<Result>& results)
{
    using qz::AsciiTableBuilder;
    using qz::ext::makePrintable;
    // A line feed would break the frame, and the table gives malformed UTF-8 no width.
    AsciiTableBuilder table("Resolved paths");
    table << "Match"
          << "Agreement"
          << "Path"
          << "File" << AsciiTableBuilder::EndOfRow{};
    for (const auto& [path, match] : results)
        table << describe(match.type) << match.matchLength << makePrintable(path)
              << makePrintable(match.path) << AsciiTableBuilder::EndOfRow{};
    return table.toString() + '\n';
}

std::string toPlainLine(const Result& result)
{
    const auto& [path, match] = result;
    return describe(match.type) + ('\t' + std::to_string(match.matchLength)) + '\t' + path + '\t' +
           match.path + '\n';
}

}  // namespace resolve
