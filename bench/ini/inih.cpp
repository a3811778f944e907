// SPDX-License-Identifier: MIT
// Reads only, so it has no rows of saving.

#include <INIReader.h>
#include <ini.h>

#include <map>

#include "settings.h"

namespace bench {

namespace {

using Settings = std::map<std::string, std::string>;

int keepSetting(void* settings, const char* section, const char* key, const char* value)
{
    static_cast<Settings*>(settings)->emplace(std::string(section) + '/' + key, value);
    return 1;
}

std::size_t load(const std::string& path)
{
    Settings settings;
    ini_parse(path.c_str(), keepSetting, &settings);
    return settings.size();
}

void measureLoad(benchmark::State& state)
{
    const std::string& path = getSettingsPath();
    for (auto _ : state) {
        std::size_t count = load(path);
        keep(count);
    }
}

const Check gCheck("inih", [] { return load(getSettingsPath()) == getSettingsCount(); });
const Case gLoad("load 10,000 keys", "inih", measureLoad);

}  // namespace

}  // namespace bench
