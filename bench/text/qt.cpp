// SPDX-License-Identifier: MIT
#include <QByteArray>
#include <QString>
#include <QUtf8StringView>

#include "rows.h"

namespace bench {

namespace {

class QtText : public QByteArray {
public:
    explicit QtText(const std::string& text) : QByteArray(QByteArray::fromStdString(text)) {}
    QtText(const char* text, qsizetype size) : QByteArray(text, size) {}
};

struct Qt {
    using Text = QtText;

    static QByteArrayView makeView(const std::string& text)
    {
        return {text.data(), static_cast<qsizetype>(text.size())};
    }
    static QLatin1StringView makeLatin1(const std::string& text)
    {
        return {text.data(), static_cast<qsizetype>(text.size())};
    }
    static bool isValid(const std::string& text)
    {
        return QUtf8StringView(text.data(), static_cast<qsizetype>(text.size())).isValidUtf8();
    }
    static std::size_t find(const std::string& text, const std::string& needle)
    {
        return static_cast<std::size_t>(makeView(text).indexOf(makeView(needle)));
    }
    static std::size_t findCaseless(const std::string& text, const std::string& needle)
    {
        return static_cast<std::size_t>(
            makeLatin1(text).indexOf(makeLatin1(needle), 0, ::Qt::CaseInsensitive));
    }
    static void replace(Text& text, const std::string& from, const std::string& to)
    {
        text.QByteArray::replace(makeView(from), makeView(to));
    }
    static std::size_t escape(const std::string& text)
    {
        return static_cast<std::size_t>(
            QString::fromUtf8(makeView(text)).toHtmlEscaped().toUtf8().size());
    }
};

const char* const kName = "Qt";
const ValidateRows<Qt> kValidate(kName);
const FindRows<Qt> kFind(kName);
const FindCaselessRows<Qt> kFindCaseless(kName);
const ReplaceRows<Qt> kReplace(kName);
const EscapeRows<Qt> kEscape(kName);

}  // namespace

}  // namespace bench
