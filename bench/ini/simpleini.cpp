// SPDX-License-Identifier: MIT
// The converter that the package was built with.
#define SI_CONVERT_ICU
#include <SimpleIni.h>

#include <memory>

#include "settings.h"

namespace bench {

namespace {

struct SimpleIni {
    static std::size_t load(const std::string& path)
    {
        CSimpleIniA ini;
        ini.LoadFile(path.c_str());
        CSimpleIniA::TNamesDepend sections;
        ini.GetAllSections(sections);
        std::size_t count = 0;
        for (const auto& section : sections)
            count += ini.GetSection(section.pItem)->size();
        return count;
    }
    static std::shared_ptr<CSimpleIniA> build(const std::vector<Section>& sections)
    {
        auto ini = std::make_shared<CSimpleIniA>();
        for (const Section& section : sections)
            for (const Section::Setting& setting : section.settings)
                ini->SetValue(section.name.c_str(), setting.key.c_str(),
                              toIniText(setting).c_str());
        return ini;
    }
    static void save(const std::shared_ptr<CSimpleIniA>& ini, const std::string& path)
    {
        ini->SaveFile(path.c_str());
    }
};

IniRows<SimpleIni> gIni("simpleini");

}  // namespace

}  // namespace bench
