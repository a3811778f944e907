// SPDX-License-Identifier: MIT
#include <QFile>
#include <QStringList>
#include <QTextStream>
#include <QVariant>

#include <utility>

#include "tables.h"

namespace bench {

namespace {

QString makeTextCell(QString&& text)
{
    return std::move(text);
}

QVariant makeGuessedCell(QString&& text)
{
    bool isNumber = false;
    const qlonglong integer = text.toLongLong(&isNumber);
    if (isNumber) return integer;
    const double real = text.toDouble(&isNumber);
    if (isNumber) return real;
    return std::move(text);
}

// The cells of a line, with those after it as long as quotes are open.
template <typename Cell, Cell (*MakeCell)(QString&&)>
QList<Cell> readRow(QTextStream& stream, QString& line)
{
    QList<Cell> row;
    QString cell;
    bool inQuotes = false;
    for (qsizetype at = 0;; ++at) {
        if (at == line.size()) {
            if (!inQuotes || !stream.readLineInto(&line)) break;
            cell += u'\n';
            at = -1;
            continue;
        }
        const QChar c = line[at];
        if (inQuotes && c == u'"' && at + 1 < line.size() && line[at + 1] == u'"') {
            cell += c;
            ++at;
        } else if (c == u'"') {
            inQuotes = !inQuotes;
        } else if (c == u',' && !inQuotes) {
            row.append(MakeCell(std::exchange(cell, QString())));
        } else {
            cell += c;
        }
    }
    row.append(MakeCell(std::move(cell)));
    return row;
}

// A line without quotes is split, as it mostly is.
template <typename Cell, Cell (*MakeCell)(QString&&)>
QList<Cell> takeRow(QTextStream& stream, QString& line)
{
    if (line.contains(u'"')) return readRow<Cell, MakeCell>(stream, line);
    QList<Cell> row;
    for (QString& cell : line.split(u','))
        row.append(MakeCell(std::move(cell)));
    return row;
}

template <typename Cell, Cell (*MakeCell)(QString&&), typename Use>
void read(const std::string& path, Use& use)
{
    QFile file(QString::fromStdString(path));
    file.open(QIODevice::ReadOnly);
    QTextStream stream(&file);
    QList<QList<Cell>> rows;
    QString line;
    while (stream.readLineInto(&line)) {
        rows.append(takeRow<Cell, MakeCell>(stream, line));
        if (rows.size() < static_cast<qsizetype>(kBatchSize)) continue;
        use(rows);
        rows.clear();
    }
    use(rows);
}

QString quote(QString cell)
{
    return u'"' + cell.replace(u'"', QStringLiteral("\"\"")) + u'"';
}

bool needsQuotes(const QString& cell)
{
    return cell.contains(u',') || cell.contains(u'"') || cell.contains(u'\n') ||
           cell.contains(u'\r');
}

struct QtCsv {
    template <typename Use>
    static void readTexts(const std::string& path, Use& use)
    {
        read<QString, makeTextCell>(path, use);
    }
    template <typename Use>
    static void readGuessed(const std::string& path, Use& use)
    {
        read<QVariant, makeGuessedCell>(path, use);
    }
    static std::string toText(const QString& cell) { return cell.toStdString(); }
    static bool isNumber(const QVariant& cell) { return cell.typeId() != QMetaType::QString; }

    static QList<QStringList> build(const Table& table)
    {
        QList<QStringList> rows;
        for (const auto& row : table) {
            QStringList cells;
            for (const std::string& cell : row)
                cells.append(QString::fromStdString(cell));
            rows.append(cells);
        }
        return rows;
    }
    static void write(const QList<QStringList>& table, std::size_t count, const std::string& path)
    {
        QFile file(QString::fromStdString(path));
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        QTextStream stream(&file);
        for (; count != 0; --count)
            for (const QStringList& row : table)
                writeRow(row, stream);
    }
    static void writeRow(const QStringList& row, QTextStream& stream)
    {
        for (qsizetype at = 0; at != row.size(); ++at) {
            if (at != 0) stream << ',';
            if (needsQuotes(row[at]))
                stream << quote(row[at]);
            else
                stream << row[at];
        }
        stream << '\n';
    }
};

CsvReadRows<QtCsv> gRead("qt");
CsvWriteRows<QtCsv> gWrite("qt");

}  // namespace

}  // namespace bench
