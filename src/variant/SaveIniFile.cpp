#include <algorithm>

#include <qz/qzDirUtils.h>
#include <qz/qzIniFile.h>
#include <qz/qzLogObject.h>

#include "IniText.h"
#include "LocalFile.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

using Map = qzVariant::qzVariantMapImpl;

constexpr char kSeparator = '/';
constexpr const char* kTopSection = "General";

// A map of what can be written is its own flat form.
bool isFlat(const Map& map)
{
    return std::all_of(map.begin(), map.end(), [](const auto& entry) {
        const qzVariant::Type type = entry.second.getType();
        return type >= qzVariant::INTEGER && type <= qzVariant::BOOL;
    });
}

class IniWriter {
public:
    explicit IniWriter(const std::string& path) : mFile(text::toLocal(path)) {}

    bool isOpen() const { return mFile.isOpen(); }

    /// @return false at the first value that has no text.
    bool write(const Map& map) { return writeTop(map) && writeSections(map); }

private:
    bool writeTop(const Map& map)
    {
        writeHeader(kTopSection);
        const bool isWritten = std::all_of(map.begin(), map.end(), [this](const auto& entry) {
            return entry.second.getMap() != nullptr || writeEntry(entry.first, entry.second);
        });
        if (!isWritten) return false;
        const auto general = map.find(kTopSection);
        return general == map.end() || writeContent(general->second);
    }

    bool writeSections(const Map& map)
    {
        return std::all_of(map.begin(), map.end(), [this](const auto& entry) {
            const auto& [key, value] = entry;
            return value.getMap() == nullptr || key == kTopSection || writeSection(key, value);
        });
    }

    bool writeSection(const std::string& name, const qzVariant& section)
    {
        mFile.write("\n");
        writeHeader(name);
        return writeContent(section);
    }

    // Of a value that is no map there is nothing left to write.
    bool writeContent(const qzVariant& section)
    {
        if (section.getMap() == nullptr) return true;
        if (isFlat(*section.getMap())) return writeEntries(*section.getMap());
        Map flat;
        section.getMap()->toFlattenMap(flat, kSeparator);
        return writeEntries(flat);
    }

    bool writeEntries(const Map& map)
    {
        return std::all_of(map.begin(), map.end(), [this](const auto& entry) {
            return writeEntry(entry.first, entry.second);
        });
    }

    bool writeEntry(const std::string& key, const qzVariant& value)
    {
        mLine.clear();
        if (!variant::appendIniLine(key, value, mLine)) {
            logWarning() << "saveVariantToIni unsupported variant type (" << value.getType()
                         << ") for key " << key;
            return false;
        }
        mFile.write(mLine);
        return true;
    }

    void writeHeader(const std::string& section) { mFile.write("[" + section + "]\n"); }

    variant::OutputFile mFile;
    std::string mLine;
};

void overwrite(Map& target, const Map& source)
{
    Map flat;
    source.toFlattenMap(flat, kSeparator);
    for (auto& [path, value] : flat)
        target.editValuePath(path.c_str(), qzVariant::sNullVariant, kSeparator) = std::move(value);
}

bool save(const std::string& path, const Map& map)
{
    IniWriter writer(path);
    return writer.isOpen() && writer.write(map);
}

}  // namespace

bool SaveIniFile(const std::string& path, const qzVariant::qzVariantMapImpl& map, bool merge)
{
    if (!merge || !qzDirUtils::FileExistsUtf8(path)) return save(path, map);
    Map present;
    if (!LoadIniFile(path, present)) {
        logWarning() << "Fail to load " << path;
        return false;
    }
    Map merged;
    overwrite(merged, present);
    overwrite(merged, map);
    return save(path, merged);
}

}  // namespace qz
