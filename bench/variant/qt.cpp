// SPDX-License-Identifier: MIT
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include "leaves.h"

namespace bench {

namespace {

struct ToQt {
    QVariant operator()(long value) const { return QVariant::fromValue(qlonglong(value)); }
    QVariant operator()(double value) const { return value; }
    QVariant operator()(bool value) const { return value; }
    QVariant operator()(const std::string& value) const { return QString::fromStdString(value); }
};

void insert(QVariantMap& level, const QStringList& keys, qsizetype depth, const QVariant& value)
{
    if (depth == keys.size() - 1) {
        level.insert(keys[depth], value);
        return;
    }
    QVariant& entry = level[keys[depth]];
    QVariantMap next = entry.toMap();
    entry.clear();  // so that the map isn't shared, and not copied when it changes
    insert(next, keys, depth + 1, value);
    entry = std::move(next);
}

QVariantMap deepCopy(const QVariantMap& map)
{
    QVariantMap copy;
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        const bool isMap = entry->typeId() == QMetaType::QVariantMap;
        copy.insert(copy.cend(), entry.key(), isMap ? QVariant(deepCopy(entry->toMap())) : *entry);
    }
    return copy;
}

struct QtTree {
    static QVariantMap build(const std::vector<Leaf>& leaves)
    {
        QVariantMap tree;
        for (const Leaf& leaf : leaves)
            insert(tree, QString::fromStdString(leaf.path).split('/'), 0,
                   std::visit(ToQt(), leaf.value));
        return tree;
    }
    static QVariantMap copy(const QVariantMap& tree) { return deepCopy(tree); }
    static bool areEqual(const QVariantMap& left, const QVariantMap& right)
    {
        return left == right;
    }
    static std::size_t countFound(const QVariantMap& tree, const std::vector<Leaf>& leaves)
    {
        std::size_t count = 0;
        for (const Leaf& leaf : leaves) {
            const QStringList keys = QString::fromStdString(leaf.path).split('/');
            const auto part = tree.constFind(keys[0]);
            if (part == tree.cend()) continue;
            const auto& groups = *static_cast<const QVariantMap*>(part->constData());
            const auto group = groups.constFind(keys[1]);
            if (group == groups.cend()) continue;
            count += static_cast<const QVariantMap*>(group->constData())->contains(keys[2]) ? 1 : 0;
        }
        return count;
    }
};

struct QtScalar {
    static std::vector<QVariant> makeValues(const std::vector<Leaf>& leaves)
    {
        std::vector<QVariant> values;
        for (const Leaf& leaf : leaves)
            values.push_back(std::visit(ToQt(), leaf.value));
        return values;
    }
    static std::size_t writeTexts(const std::vector<QVariant>& values)
    {
        std::size_t size = 0;
        for (const QVariant& value : values)
            size += static_cast<std::size_t>(value.toString().size());
        return size;
    }
    static std::size_t countNumbers(const std::vector<std::string>& texts)
    {
        std::size_t count = 0;
        for (const std::string& text : texts) {
            const QString unicode = QString::fromStdString(text);
            bool isNumber = false;
            QVariant value = unicode.toLongLong(&isNumber, 0);
            if (!isNumber) value = unicode.toDouble(&isNumber);
            if (!isNumber) value = unicode;
            count += isNumber ? 1 : 0;
            keep(value);
        }
        return count;
    }
};

TreeRows<QtTree> gTree("qt");
ScalarRows<QtScalar> gScalar("qt");

}  // namespace

}  // namespace bench
