// SPDX-License-Identifier: MIT
#include <qz/qzIniFile.h>

#include <algorithm>
#include <string_view>

#include <qz/qzDirUtils.h>
#include <qz/qzLogObject.h>

#include "IniText.h"
#include "frame/base/FileDescriptor.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

using Map = qzVariant::qzVariantMapImpl;

using variant::kIniSeparator;
using variant::kIniTopSection;

// A map that has only values with a text is its own flat form.
bool isFlat(const Map& map)
{
    return std::all_of(map.begin(), map.end(), [](const auto& entry) {
        const qzVariant::Type type = entry.second.getType();
        return type >= qzVariant::INTEGER && type <= qzVariant::BOOL;
    });
}

class IniWriter {
public:
    explicit IniWriter(const std::string& path)
        : mFile(FileDescriptor::Open(text::toLocal(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC))
    {
    }

    bool isOpen() const { return mFile.isOpen(); }

    /// @return false for a value that has no text, which ends the work, and after a failed write.
    bool write(const Map& map) { return writeTop(map) && writeSections(map) && !mHasFailed; }

private:
    bool writeTop(const Map& map)
    {
        writeHeader(kIniTopSection);
        const bool isWritten = std::all_of(map.begin(), map.end(), [this](const auto& entry) {
            return entry.second.getMap() != nullptr || writeEntry(entry.first, entry.second);
        });
        if (!isWritten) return false;
        const auto general = map.find(kIniTopSection);
        return general == map.end() || writeContent(general->second);
    }

    bool writeSections(const Map& map)
    {
        return std::all_of(map.begin(), map.end(), [this](const auto& entry) {
            const auto& [key, value] = entry;
            return value.getMap() == nullptr || key == kIniTopSection || writeSection(key, value);
        });
    }

    bool writeSection(const std::string& name, const qzVariant& section)
    {
        writeText("\n");
        writeHeader(name);
        return writeContent(section);
    }

    // A "General" that is no map was written with the other top-level values.
    bool writeContent(const qzVariant& section)
    {
        if (section.getMap() == nullptr) return true;
        if (isFlat(*section.getMap())) return writeEntries(*section.getMap());
        Map flat;
        section.getMap()->toFlattenMap(flat, kIniSeparator);
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
        writeText(mLine);
        return true;
    }

    void writeHeader(const std::string& section) { writeText("[" + section + "]\n"); }

    // Each line is written at once, so that the lines before a failure are in the file. After a
    // failed write nothing is written, so that no line is missing between others.
    void writeText(std::string_view text)
    {
        mHasFailed = mHasFailed || mFile.write(text) != text.size();
    }

    FileDescriptor mFile;
    bool mHasFailed = false;
    std::string mLine;
};

void overwrite(Map& target, const Map& source)
{
    Map flat;
    source.toFlattenMap(flat, kIniSeparator);
    for (auto& [path, value] : flat)
        target.editValuePath(path.c_str(), qzVariant::sNullVariant, kIniSeparator) =
            std::move(value);
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
