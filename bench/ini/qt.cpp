// SPDX-License-Identifier: MIT
#include <QSettings>
#include <QString>

#include "settings.h"

namespace bench {

namespace {

struct QtIni {
    using Values = std::vector<std::pair<QString, QString>>;

    static std::size_t load(const std::string& path)
    {
        const QSettings settings(QString::fromStdString(path), QSettings::IniFormat);
        return static_cast<std::size_t>(settings.allKeys().size());
    }
    static Values build(const std::vector<Section>& sections)
    {
        Values values;
        for (const Section& section : sections)
            for (const Section::Setting& setting : section.settings)
                values.emplace_back(QString::fromStdString(section.name + '/' + setting.key),
                                    QString::fromStdString(toIniText(setting)));
        return values;
    }
    // A file that is there is read and merged with, so it goes first.
    static void save(const Values& values, const std::string& path)
    {
        std::remove(path.c_str());
        QSettings settings(QString::fromStdString(path), QSettings::IniFormat);
        for (const auto& [key, value] : values)
            settings.setValue(key, value);
        settings.sync();
    }
};

IniRows<QtIni> gIni("qt");

}  // namespace

}  // namespace bench
