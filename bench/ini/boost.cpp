// SPDX-License-Identifier: MIT
#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "settings.h"

namespace bench {

namespace {

using boost::property_tree::ptree;

struct BoostIni {
    static std::size_t load(const std::string& path)
    {
        ptree tree;
        boost::property_tree::read_ini(path, tree);
        std::size_t count = 0;
        for (const auto& [name, section] : tree)
            count += section.size();
        return count;
    }
    static ptree build(const std::vector<Section>& sections)
    {
        ptree tree;
        for (const Section& section : sections) {
            ptree map;
            for (const Section::Setting& setting : section.settings)
                map.push_back({setting.key, ptree(toIniText(setting))});
            tree.push_back({section.name, map});
        }
        return tree;
    }
    static void save(const ptree& tree, const std::string& path)
    {
        boost::property_tree::write_ini(path, tree);
    }
};

IniRows<BoostIni> gIni("boost");

}  // namespace

}  // namespace bench
