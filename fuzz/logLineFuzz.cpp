// SPDX-License-Identifier: MIT
// Takes lines of chance apart, and writes each as JSON, which must be one line that can be read.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <qz/ext/Json.h>
#include <qz/ext/LogLine.h>
#include <qz/ext/PrintableText.h>

#include "support/FuzzInput.h"

namespace {

using qz::ext::LogLine;
using qz::fuzz::expectSame;

bool isPart(std::string_view part, std::string_view line)
{
    return part.empty() ||
           (part.data() >= line.data() && part.data() + part.size() <= line.data() + line.size());
}

void checkJson(const LogLine& line)
{
    std::string json;
    qz::ext::appendJsonLine(json, line);
    expectSame(json.find('\n') == json.size() - 1, "one line: " + json);
    expectSame(qz::ext::readJson(json).isSuccess(), "JSON: " + json);
}

void checkLine(std::string_view line)
{
    LogLine parsed;
    if (qz::ext::parseLogLine(line, parsed)) {
        expectSame(isPart(parsed.subType, line) && isPart(parsed.threadId, line), "parts");
        expectSame(parsed.text.data() + parsed.text.size() == line.data() + line.size(), "text");
        expectSame(line.substr(0, 2) == std::string_view(qz::ext::getTypeName(parsed.type), 2),
                   "type");
        checkJson(parsed);
    } else {
        LogLine unparsed;
        unparsed.text = line;
        checkJson(unparsed);
    }
    const std::string escaped = qz::ext::escaped(line);
    expectSame(qz::ext::escaped(escaped) == escaped, "escaped twice: " + escaped);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view text(reinterpret_cast<const char*>(data), size);
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        checkLine(text.substr(0, end));
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    return 0;
}
