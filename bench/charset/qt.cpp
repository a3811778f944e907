// SPDX-License-Identifier: MIT
#include <QByteArray>
#include <QString>
#include <QStringEncoder>

#include "paths.h"

namespace bench {

namespace {

// QString::toLocal8Bit takes the local set for UTF-8 on any Unix, so another one is asked for by
// its name, once.
class Qt {
public:
    QByteArray convert(const std::string& path)
    {
        const QString text = QString::fromUtf8(path.data(), static_cast<qsizetype>(path.size()));
        if (mIsUtf8) return text.toLocal8Bit();
        return mEncoder(text);
    }
    static std::string toString(const QByteArray& text) { return text.toStdString(); }

private:
    QStringEncoder mEncoder{getLocalCharset().c_str()};
    const bool mIsUtf8 = isLocalUtf8();
};

const CharsetRows<Qt> kRows("Qt");

}  // namespace

}  // namespace bench
