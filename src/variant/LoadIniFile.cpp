#include <qz/qzIniFile.h>
#include <qz/qzLogObject.h>

#include "IniText.h"
#include "LocalFile.h"
#include "VariantPath.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

using Map = qzVariant::qzVariantMapImpl;
using variant::IniLine;

constexpr char kSeparator = '/';
constexpr std::string_view kTopSection = "General";

// Puts the lines of a file into a tree.
class IniReader {
public:
    IniReader(const std::string& path, Map& map) : mPath(path), mTop(map), mSectionMap(&map) {}

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

    // The map of a section is made by its first key, not by the header.
    void enterSection(std::string_view name)
    {
        mSection = name;
        mSectionMap = name == kTopSection ? &mTop : nullptr;
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

    // A path ends at a NUL, so a section whose name has one leaves no room for keys.
    qzVariant& makeEntry(std::string_view key, bool& isNew, variant::ReplacedValue& replaced)
    {
        const std::size_t nul = mSectionMap == nullptr ? mSection.find('\0') : std::string::npos;
        if (nul != std::string::npos)
            return variant::makeEntry(mTop, mSection.substr(0, nul), kSeparator, isNew, replaced);
        if (mSectionMap == nullptr) mSectionMap = &variant::makeMap(mTop, mSection, kSeparator);
        return variant::makeEntry(*mSectionMap, key.substr(0, key.find('\0')), kSeparator, isNew,
                                  replaced);
    }

    void warn(const char* what) const
    {
        logWarning() << what << " (" << mLineNumber << ") " << mPath << " in Ini file";
    }

    const std::string& mPath;
    Map& mTop;
    std::string mSection;
    // Maps stay where they are while keys are added: only other values give way.
    Map* mSectionMap;
    int mLineNumber = 0;
};

}  // namespace

bool LoadIniFile(const std::string& path, qzVariant::qzVariantMapImpl& map)
{
    const variant::InputFile file(text::toLocal(path));
    if (!file.isOpen()) return false;
    IniReader(path, map).read(file.read());
    return true;
}

}  // namespace qz
