// SPDX-License-Identifier: MIT
#include "Configuration.h"

#include <cerrno>

#include <qz/AsciiTableBuilder.h>
#include <qz/SystemError.h>
#include <qz/ext/SafeFiles.h>
#include <qz/qzDirUtils.h>
#include <qz/qzIniFile.h>

namespace config {

namespace {

using qz::qzVariant;
using Map = qzVariant::qzVariantMapImpl;

constexpr char kSeparator = '/';

// Gives a text the type that it would have in an ini file.
qzVariant toValue(const std::string& text)
{
    if (text.empty()) return text;
    if (text == "true" || text == "false") return text == "true";
    if (text.find(',') != std::string::npos) return text;
    return qzVariant::BuildFromString(text);
}

}  // namespace

bool Configuration::load(const std::string& path, std::string& error)
{
    // The library would read a folder as an empty file.
    if (qz::qzDirUtils::DirExistsUtf8(path)) {
        error = "it is a folder";
        return false;
    }
    Map loaded;
    if (!qz::LoadIniFile(path, loaded)) {
        error = qz::SystemError(errno).toString();
        return false;
    }
    Map flat;
    loaded.toFlattenMap(flat, kSeparator);
    for (const auto& [key, value] : flat)
        mTree.editValuePath(key.c_str(), value, kSeparator) = value;
    return true;
}

void Configuration::set(const std::string& key, const std::string& text)
{
    mTree.editValuePath(key.c_str(), qzVariant(), kSeparator) = toValue(text);
}

const qzVariant* Configuration::find(const std::string& key) const
{
    return mTree.findPathImpl(key.c_str(), kSeparator);
}

bool Configuration::save(const std::string& path, std::string& error) const
{
    qz::ext::SystemFailure failure;
    if (qz::ext::saveIniFileAtomically(path, mTree, /*merge=*/false, &failure)) return true;
    error = failure.toString();
    return false;
}

std::string Configuration::toTable() const
{
    qz::AsciiTableBuilder table("Configuration");
    table << "Type"
          << "Key"
          << "Value" << qz::AsciiTableBuilder::EndOfRow{};
    for (const auto& [key, value] : flatten())
        table << value.getTypeAsString() << key << value.toString()
              << qz::AsciiTableBuilder::EndOfRow{};
    return table.toString();
}

Map Configuration::flatten() const
{
    Map flat;
    mTree.toFlattenMap(flat, kSeparator);
    return flat;
}

}  // namespace config
