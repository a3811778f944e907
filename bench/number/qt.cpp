// SPDX-License-Identifier: MIT
#include <QLocale>
#include <QString>

#include "rows.h"

namespace bench {

namespace {

struct Qt {
    static std::string toString(const QString& text) { return text.toStdString(); }
};

struct Padded : Qt {
    static QString write(int number)
    {
        static const QString form = QStringLiteral("%1");
        return form.arg(number, 8, 10, QLatin1Char('0'));
    }
};

const QLocale& getEnglish()
{
    static const QLocale english(QLocale::English, QLocale::UnitedStates);
    return english;
}

struct Separators : Qt {
    static QString write(unsigned long number)
    {
        return getEnglish().toString(static_cast<qulonglong>(number));
    }
};

struct Size : Qt {
    static constexpr unsigned long kExample = 1'503'238'554;
    static constexpr const char* kExampleText = "1.40 GB";
    static QString write(unsigned long number)
    {
        return getEnglish().formattedDataSize(static_cast<qint64>(number), 2,
                                              QLocale::DataSizeTraditionalFormat);
    }
};

struct Decimals : Qt {
    static QString write(double number) { return QString::number(number, 'f', 2); }
};

struct Real : Qt {
    static QString write(double number) { return QString::number(number, 'g', 6); }
};

const NumberCase<PaddedRow, Padded> kPadded("Qt");
const NumberCase<SeparatorRow, Separators> kSeparators("Qt");
const NotationCase<SizeRow, Size> kSize("Qt");
const NumberCase<DecimalsRow, Decimals> kDecimals("Qt");
const NumberCase<RealRow, Real> kReal("Qt");

}  // namespace

}  // namespace bench
