// SPDX-License-Identifier: MIT
#include <qz/qzIniFile.h>

#include <algorithm>
#include <utility>

#include <qz/qzLogObject.h>

#include "IniText.h"
#include "VariantPath.h"
#include "frame/base/FileDescriptor.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

using Map = qzVariant::qzVariantMapImpl;
using variant::IniLine;

using variant::kIniSeparator;

constexpr std::size_t kBlockSize = 65536;

// Reads up to the end or to an error.
std::string readAll(const FileDescriptor& file)
{
    std::string content;
    std::size_t size = 0;
    for (;;) {
        if (content.size() - size < kBlockSize)
            content.resize(content.size() + std::max(kBlockSize, size));
        const ssize_t got = file.read(&content[size], content.size() - size);
        if (got <= 0) break;
        size += static_cast<std::size_t>(got);
    }
    content.resize(size);
    return content;
}

// Adds the lines of a file to a tree.
class IniReader {
public:
    IniReader(std::string path, Map& map) : mPath(std::move(path)), mTop(map), mSectionMap(&map) {}

    void read(std::string_view content)
    {
        while (!content.empty()) {
            const std::size_t end = content.find('\n');
            readLine(content.substr(0, end));
            ++mLineNumber;
            if (end == std::string_view::npos) break;
            content.remove_prefix(end + 1);
        }
    }

private:
    void readLine(std::string_view text)
    {
        const IniLine line = variant::parseIniLine(text);
        switch (line.kind) {
            case IniLine::Skipped:
                break;
            case IniLine::Section:
                enterSection(line.key);
                break;
            case IniLine::Entry:
                addEntry(line);
                break;
            case IniLine::Unusable:
                warn("Invalid line");
                break;
            case IniLine::WithoutKey:
                warn("Invalid key at line");
                break;
        }
    }

    // The first key of a section creates its map, not the header.
    void enterSection(std::string_view name)
    {
        mSection = name;
        mSectionMap = name == variant::kIniTopSection ? &mTop : nullptr;
    }

    void addEntry(const IniLine& line)
    {
        bool isNew = false;
        variant::ReplacedValue replaced;
        qzVariant& entry = makeEntry(line.key, isNew, replaced);
        if (isNew)
            entry = variant::decodeIniValue(line.value);
        else
            warn("Duplicated key at line");
        replaced.commit();
    }

    // A path ends at a NUL, so with a NUL in the section's name the key is cut off.
    qzVariant& makeEntry(std::string_view key, bool& isNew, variant::ReplacedValue& replaced)
    {
        const std::size_t nul = mSectionMap == nullptr ? mSection.find('\0') : std::string::npos;
        if (nul != std::string::npos)
            return variant::makeEntry(mTop, mSection.substr(0, nul), kIniSeparator, isNew,
                                      replaced);
        if (mSectionMap == nullptr) mSectionMap = &variant::makeMap(mTop, mSection, kIniSeparator);
        return variant::makeEntry(*mSectionMap, key.substr(0, key.find('\0')), kIniSeparator, isNew,
                                  replaced);
    }

    void warn(const char* what) const
    {
        logWarning() << what << " (" << mLineNumber << ") " << mPath << " in Ini file";
    }

    const std::string mPath;  // a copy: the caller's may be a text of the map, which a key replaces
    Map& mTop;
    std::string mSection;
    // The address stays valid while keys are added: they replace only values that are no maps.
    Map* mSectionMap;
    int mLineNumber = 0;
};

}  // namespace

bool LoadIniFile(const std::string& path, qzVariant::qzVariantMapImpl& map)
{
    const FileDescriptor file = FileDescriptor::Open(text::toLocal(path).c_str(), O_RDONLY);
    if (!file.isOpen()) return false;
    IniReader(path, map).read(readAll(file));
    return true;
}

}  // namespace qz
