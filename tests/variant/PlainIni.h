// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <qz/qzVariant.h>

#include "PlainNumbers.h"
#include "PlainVariant.h"

/// The rules of ini files in their plain form, step by step.
namespace qz::plain {

inline std::string trim(std::string text)
{
    const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && isSpace(text.back()))
        text.pop_back();
    while (!text.empty() && isSpace(text.front()))
        text.erase(0, 1);
    return text;
}

inline void replaceAll(std::string& text, const std::string& from, const std::string& to)
{
    std::string replaced;
    std::size_t at = 0;
    for (std::size_t found = 0; (found = text.find(from, at)) != std::string::npos;) {
        replaced += text.substr(at, found - at) + to;
        at = found + from.size();
    }
    text = replaced + text.substr(at);
}

inline qzVariant decodeIniValue(std::string text)
{
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        text = text.substr(1, text.size() - 2);
    replaceAll(text, "\\\"", "\"");
    replaceAll(text, "\\t", "\t");
    replaceAll(text, "\\r", "\r");
    replaceAll(text, "\\n", "\n");
    replaceAll(text, "\\\\", "\\");
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (lower == "true") return true;
    if (lower == "false") return false;
    if (text.empty()) return text;
    if (parseInteger(text).isNumber) return parseInteger(text).value;
    if (parseReal(text).isNumber) return parseReal(text).value;
    return text;
}

/// @return the warnings.
inline std::vector<std::string> loadIni(const std::string& content, const std::string& path,
                                        Map& map)
{
    std::istringstream stream(content);
    std::vector<std::string> warnings;
    std::string prefix;
    const auto warn = [&](const std::string& what, long number) {
        warnings.push_back(what + std::to_string(number) + ") " + path + " in Ini file");
    };
    for (long number = 0; !stream.bad() && !stream.eof(); ++number) {
        std::string line;
        std::getline(stream, line);
        line = trim(line);
        if (line.empty()) continue;
        if (line.size() > 1 && line.front() == '[' && line.back() == ']') {
            const std::string name = line.substr(1, line.size() - 2);
            prefix = name == "General" ? "" : name + "/";
            continue;
        }
        if (line.front() == ';') continue;
        const std::size_t split = line.find('=');
        if (split == std::string::npos) {
            warn("Invalid line (", number);
            continue;
        }
        const std::string bareKey = trim(line.substr(0, split));
        if (bareKey.empty()) {
            warn("Invalid key at line (", number);
            continue;
        }
        const std::string key = prefix + bareKey;
        if (map.findPathImpl(key.c_str(), '/', false, nullptr, Map::PathSearchMapsOnly) != nullptr)
            warn("Duplicated key at line (", number);
        else
            map.editValuePath(key.c_str(), qzVariant::sNullVariant, '/') =
                decodeIniValue(trim(line.substr(split + 1)));
    }
    return warnings;
}

/// What a save writes, up to the value that ends it.
struct IniSave {
    bool isWhole = true;
    std::string text;
    std::string warning;
};

inline void saveValue(const std::string& key, const qzVariant& value, IniSave& save)
{
    if (!save.isWhole) return;
    switch (value.getType()) {
        case qzVariant::INTEGER:
        case qzVariant::REAL:
        case qzVariant::BOOL:
            save.text += key + "=" + toText(value) + "\n";
            return;
        case qzVariant::STRING: {
            std::string text = *value.getString();
            const std::string quote = text.find('"') != std::string::npos ? "\"" : "";
            replaceAll(text, "\\", "\\\\");
            replaceAll(text, "\n", "\\n");
            replaceAll(text, "\r", "\\r");
            replaceAll(text, "\t", "\\t");
            replaceAll(text, "\"", "\\\"");
            save.text += key + "=" + quote + text + quote + "\n";
            return;
        }
        default:
            save.isWhole = false;
            save.warning = "saveVariantToIni unsupported variant type (" +
                           std::to_string(value.getType()) + ") for key " + key;
    }
}

inline void saveFlat(const Map& map, IniSave& save)
{
    Map flat;
    flattenMap(map, "", flat, "/");
    for (const auto& [key, value] : flat)
        saveValue(key, value, save);
}

inline IniSave saveIni(const Map& map)
{
    IniSave save;
    save.text = "[General]\n";
    for (const auto& [key, value] : map)
        if (value.getMap() == nullptr) saveValue(key, value, save);
    for (const auto& [key, value] : map)
        if (value.getMap() != nullptr && key == "General") saveFlat(*value.getMap(), save);
    for (const auto& [key, value] : map) {
        if (value.getMap() == nullptr || key == "General" || !save.isWhole) continue;
        save.text += "\n[" + key + "]\n";
        saveFlat(*value.getMap(), save);
    }
    return save;
}

inline Map mergeIni(const Map& present, const Map& map)
{
    Map merged;
    for (const Map* source : {&present, &map}) {
        Map flat;
        flattenMap(*source, "", flat, "/");
        for (const auto& [key, value] : flat)
            *merged.findPathImpl(key.c_str(), '/', true, &qzVariant::sNullVariant,
                                 Map::PathSearchMapsOnly) = value;
    }
    return merged;
}

}  // namespace qz::plain
