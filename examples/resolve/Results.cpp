#include "Results.h"

#include <algorithm>

#include <qz/AsciiTableBuilder.h>
#include <qz/qzStringUtils.h>

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

// A line feed would break the frame, and the table gives malformed UTF-8 no width.
std::string makeVisible(std::string text)
{
    const bool isUtf8 = qz::qzStringUtils::IsUtf8String(text);
    const auto isHidden = [isUtf8](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F || (byte >= 0x80 && !isUtf8);
    };
    std::replace_if(text.begin(), text.end(), isHidden, '?');
    return text;
}

}  // namespace

std::string toTable(const std::vector<Result>& results)
{
    using qz::AsciiTableBuilder;
    AsciiTableBuilder table("Resolved paths");
    table << "Match"
          << "Agreement"
          << "Path"
          << "File" << AsciiTableBuilder::EndOfRow{};
    for (const auto& [path, match] : results)
        table << describe(match.type) << match.matchLength << makeVisible(path)
              << makeVisible(match.path) << AsciiTableBuilder::EndOfRow{};
    return table.toString() + '\n';
}

std::string toPlainLine(const Result& result)
{
    const auto& [path, match] = result;
    return describe(match.type) + ('\t' + std::to_string(match.matchLength)) + '\t' + path + '\t' +
           match.path + '\n';
}

}  // namespace resolve
