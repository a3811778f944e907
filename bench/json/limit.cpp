// SPDX-License-Identifier: MIT
// No peer but the floor of writing: the way through the tree, and a copy of the same number of
// bytes.

#include <string_view>

#include <qz/ext/Json.h>

#include "documents.h"

namespace bench {

namespace {

using qz::qzVariant;

// In the place of each number; none is calculated.
constexpr std::string_view kNumber = "123456.1234567";

void writeText(const std::string& value, std::string& text)
{
    text += '"';
    text += value;
    text += '"';
}

void writeValue(const qzVariant& value, std::string& text)
{
    switch (value.getType()) {
        case qzVariant::INTEGER:
        case qzVariant::REAL:
            text += kNumber;
            return;
        case qzVariant::STRING:
            return writeText(*value.getString(), text);
        case qzVariant::LIST:
            text += '[';
            for (const qzVariant& element : *value.getList()) {
                writeValue(element, text);
                text += ',';
            }
            text.back() = ']';
            return;
        case qzVariant::MAP:
            text += '{';
            for (const auto& [key, element] : *value.getMap()) {
                writeText(key, text);
                text += ':';
                writeValue(element, text);
                text += ',';
            }
            text.back() = '}';
            return;
        default:
            text +=
                value.getType() == qzVariant::BOOL ? (value.toBool() ? "true" : "false") : "null";
    }
}

template <std::string Documents::*document>
void measureWrite(benchmark::State& state)
{
    const qzVariant tree = qz::ext::readJson(getDocuments().*document).value;
    for (auto _ : state) {
        std::string text;
        writeValue(tree, text);
        keep(text);
    }
}

const Case kRecords("write records", "limit", measureWrite<&Documents::records>);
const Case kNumbers("write numbers", "limit", measureWrite<&Documents::numbers>);
const Case kStrings("write long strings", "limit", measureWrite<&Documents::strings>);
const Case kNesting("write deep nesting", "limit", measureWrite<&Documents::nesting>);

}  // namespace

}  // namespace bench
