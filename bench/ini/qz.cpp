// SPDX-License-Identifier: MIT
#include <qz/qzIniFile.h>

#include "settings.h"

namespace bench {

namespace {

using qz::qzVariant;
using Map = qzVariant::qzVariantMapImpl;

Map buildTree(const std::vector<Section>& sections)
{
    Map tree;
    for (const Section& section : sections) {
        Map map;
        for (const Section::Setting& setting : section.settings)
            map[setting.key] =
                std::visit([](const auto& v) { return qzVariant(v); }, setting.value);
        tree[section.name] = std::move(map);
    }
    return tree;
}

struct QzIni {
    static std::size_t load(const std::string& path)
    {
        startLibrary();
        Map tree;
        qz::LoadIniFile(path, tree);
        std::size_t count = 0;
        for (const auto& [name, section] : tree)
            count += section.getMap()->size();
        return count;
    }
    static Map build(const std::vector<Section>& sections) { return buildTree(sections); }
    static void save(const Map& tree, const std::string& path)
    {
        startLibrary();
        qz::SaveIniFile(path, tree, /*merge=*/false);
    }
};

IniRows<QzIni> gIni("qz");

// How the time grows with the file.
template <std::size_t Count>
void measureLoad(benchmark::State& state)
{
    const ScratchFile file("growth");
    writeSettings(makeSettings(sized(Count, 100)), file.getPath());
    for (auto _ : state) {
        std::size_t count = QzIni::load(file.getPath());
        keep(count);
    }
}

const Case gSmall("load 1,000 keys", "qz", measureLoad<1'000>);
const Case gLarge("load 100,000 keys", "qz", measureLoad<100'000>);

}  // namespace

}  // namespace bench
