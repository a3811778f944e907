#include "Configuration.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include <qz/AsciiTableBuilder.h>
#include <qz/SystemError.h>
#include <qz/qzIniFile.h>

namespace config {

namespace {

using qz::qzVariant;
using Map = qzVariant::qzVariantMapImpl;

constexpr char kSeparator = '/';

// Types a text as ini files do.
qzVariant toValue(const std::string& text)
{
    if (text.empty()) return text;
    if (text == "true" || text == "false") return text == "true";
    if (text.find(',') != std::string::npos) return text;
    return qzVariant::BuildFromString(text);
}

// Removes a file that nobody shall see unless it is kept.
class WorkFile {
public:
    explicit WorkFile(const std::string& path) : mPath(path + ".new") {}
    ~WorkFile() { std::remove(mPath.c_str()); }
    WorkFile(const WorkFile&) = delete;
    WorkFile& operator=(const WorkFile&) = delete;

    const std::string& getPath() const { return mPath; }
    bool moveTo(const std::string& path) const
    {
        return std::rename(mPath.c_str(), path.c_str()) == 0;
    }

private:
    const std::string mPath;
};

}  // namespace

bool Configuration::load(const std::string& path)
{
    Map loaded;
    if (!qz::LoadIniFile(path, loaded)) return false;
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
    if (std::filesystem::exists(path) && !std::filesystem::is_regular_file(path)) {
        error = "it is no regular file";
        return false;
    }
    const WorkFile file(path);
    errno = 0;
    if (!qz::SaveIniFile(file.getPath(), mTree, /*merge=*/false)) {
        error = errno != 0 ? qz::SystemError(errno).toString() : "a value has no text";
        return false;
    }
    // The library doesn't notice a disk that is full, so what was written is read back.
    Configuration written;
    if (!written.load(file.getPath()) || written.flatten().size() != flatten().size()) {
        error = "the file is not whole";
        return false;
    }
    if (file.moveTo(path)) return true;
    error = qz::SystemError(errno).toString();
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
