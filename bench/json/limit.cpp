// SPDX-License-Identifier: MIT
// No peer but the floor of writing: the way through the tree and the digits of the numbers; texts
// are copied as they are.

#include <charconv>

#include <qz/ext/Json.h>

#include "documents.h"

namespace bench {

namespace {

using qz::qzVariant;

template <typename Number>
void writeNumber(Number number, std::string& text)
{
    char digits[32];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

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
            return writeNumber(value.toInteger(), text);
        case qzVariant::REAL:
            return writeNumber(value.toReal(), text);
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
