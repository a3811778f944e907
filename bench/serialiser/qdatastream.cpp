// SPDX-License-Identifier: MIT
#include <QByteArray>
#include <QDataStream>
#include <QFile>
#include <QString>

#include "../support.h"
#include "records.h"

namespace bench {

namespace {

struct QDataStreamFormat {
    // The byte order of the processor spares it the swap that it would do by default.
    static void write(QDataStream& stream)
    {
        stream.setByteOrder(QDataStream::LittleEndian);
        for (const Record& record : getRecords()) {
            stream << record.number << record.real;
            stream.writeBytes(record.text.data(), static_cast<uint>(record.text.size()));
        }
    }

    template <typename Use>
    static void read(QDataStream& stream, Use& use)
    {
        stream.setByteOrder(QDataStream::LittleEndian);
        Record record;
        for (std::size_t i = 0; i < getRecords().size(); ++i) {
            quint32 size = 0;
            stream >> record.number >> record.real >> size;
            record.text.resize(size);
            stream.readRawData(record.text.data(), static_cast<int>(size));
            use(record);
        }
    }

    static QByteArray writeMemory()
    {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        write(stream);
        return bytes;
    }

    template <typename Use>
    static void readMemory(const QByteArray& bytes, Use& use)
    {
        QDataStream stream(bytes);
        read(stream, use);
    }

    static void writeFile(const std::string& path)
    {
        QFile file(QString::fromStdString(path));
        if (!file.open(QIODevice::WriteOnly)) return;
        QDataStream stream(&file);
        write(stream);
    }

    template <typename Use>
    static void readFile(const std::string& path, Use& use)
    {
        QFile file(QString::fromStdString(path));
        if (!file.open(QIODevice::ReadOnly)) return;
        QDataStream stream(&file);
        read(stream, use);
    }
};

const FormatRows<QDataStreamFormat> kRows("QDataStream");

}  // namespace

}  // namespace bench
