// SPDX-License-Identifier: MIT
#include "IniText.h"

#include <qz/qzStringUtils.h>

#include "VariantText.h"
#include "text/Characters.h"
#include "text/NumberParse.h"

namespace qz::variant {

namespace {

constexpr int kRealDigits = 6;  // as `qzVariant::toString` writes a real

std::string_view withoutQuotes(std::string_view text)
{
    const bool isQuoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

// One pass after the other over the whole text. Compatibility: so a doubled backslash before an "n"
// becomes a backslash and a line feed, which existing files rely on.
void decodeEscapes(std::string& text)
{
    static const std::string passes[][2] = {
        {"\\\"", "\""}, {"\\t", "\t"}, {"\\r", "\r"}, {"\\n", "\n"}, {"\\\\", "\\"}};
    for (const auto& [from, to] : passes)
        qzStringUtils::ReplaceAllOccurrences(text, from, to);
}

// `word` in lower case.
bool isWord(std::string_view text, std::string_view word)
{
    if (text.size() != word.size()) return false;
    for (std::size_t i = 0; i != word.size(); ++i)
        if ((text[i] | 0x20) != word[i]) return false;
    return true;
}

qzVariant toTypedValue(std::string&& text)
{
    if (text.empty()) return text;
    if (isWord(text, "true")) return true;
    if (isWord(text, "false")) return false;
    long integer = 0;
    if (text::parseInteger(text, integer)) return integer;
    double real = 0.0;
    if (text::parseReal(text, real)) return real;
    return std::move(text);
}

const char* getEscape(char c)
{
    switch (c) {
        case '\\':
            return "\\\\";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        case '"':
            return "\\\"";
        default:
            return nullptr;
    }
}

void appendEncoded(const std::string& text, std::string& out)
{
    const bool isQuoted = text.find('"') != std::string::npos;
    if (isQuoted) out += '"';
    std::size_t copied = 0;
    for (std::size_t i = 0; i != text.size(); ++i) {
        const char* const escape = getEscape(text[i]);
        if (escape == nullptr) continue;
        out.append(text, copied, i - copied);
        out += escape;
        copied = i + 1;
    }
    out.append(text, copied);
    if (isQuoted) out += '"';
}

}  // namespace

IniLine parseIniLine(std::string_view line)
{
    line = text::trim(line);
    if (line.empty()) return {};
    if (line.size() > 1 && line.front() == '[' && line.back() == ']')
        return {IniLine::Section, line.substr(1, line.size() - 2), {}};
    if (line.front() == ';') return {};
    const std::size_t split = line.find('=');
    if (split == std::string_view::npos) return {IniLine::Unusable, {}, {}};
    const std::string_view key = text::trim(line.substr(0, split));
    if (key.empty()) return {IniLine::WithoutKey, {}, {}};
    return {IniLine::Entry, key, text::trim(line.substr(split + 1))};
}

qzVariant decodeIniValue(std::string_view text)
{
    std::string decoded(withoutQuotes(text));
    if (decoded.find('\\') != std::string::npos) decodeEscapes(decoded);
    return toTypedValue(std::move(decoded));
}

bool appendIniLine(const std::string& key, const qzVariant& value, std::string& out)
{
    switch (value.getType()) {
        case qzVariant::INTEGER:
            out += key;
            out += '=';
            out += toClassicText(value.toInteger());
            break;
        case qzVariant::REAL:
            out += key;
            out += '=';
            out += toClassicText(value.toReal(), kRealDigits);
            break;
        case qzVariant::BOOL:
            out += key;
            out += '=';
            out += value.toString();  // a word, the same in every locale
            break;
        case qzVariant::STRING:
            out += key;
            out += '=';
            appendEncoded(*value.getString(), out);
            break;
        default:
            return false;
    }
    out += '\n';
    return true;
}

}  // namespace qz::variant
