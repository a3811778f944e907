// SPDX-License-Identifier: MIT
#include "CsvFile.h"

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <optional>
#include <system_error>

#include <qz/SystemError.h>
#include <qz/qzCsvFileReader.h>
#include <qz/qzCsvStream.h>
#include <qz/qzIoDeviceFileStream.h>

#include "shared/OutputFile.h"

namespace fingerprint {

namespace {

namespace fs = std::filesystem;

constexpr const char* kLineEnd = "\n";
constexpr unsigned long kRowsPerBatch = 1024;

enum Column { ColumnFolder, ColumnPath, ColumnBytes, ColumnDigest };
const std::vector<std::string> kHeaders = {"folder", "path", "bytes", "digest"};

void writeRow(qz::qzCsvStream& stream, const std::vector<std::string>& cells)
{
    for (const std::string& cell : cells)
        stream.writeCell(cell);
    stream.endRow();
}

bool writeRows(qz::qzIoDeviceFileStream& device, const std::vector<FileEntry>& entries)
{
    qz::qzCsvStream stream(&device, ',', '"', kLineEnd);
    writeRow(stream, kHeaders);
    for (const FileEntry& entry : entries) {
        writeRow(stream, {std::to_string(entry.folder + 1), toUtf8(entry.path),
                          std::to_string(entry.bytes), toText(entry.digest)});
        if (!stream.isOk()) return false;
    }
    // The stream puts line ends between rows only.
    device << kLineEnd;
    device.flush();
    device.writeBytes("", 0);  // learns how the flush went
    return device.good();
}

std::vector<std::string> toTexts(const qz::qzCsvFileReader::Row& row)
{
    std::vector<std::string> texts;
    for (const qz::qzVariant& cell : row)
        texts.push_back(cell.toString());
    return texts;
}

std::optional<unsigned long> toNumber(const std::string& text)
{
    const char* const end = text.data() + text.size();
    unsigned long number = 0;
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

// Also an empty text, as of a file that could not be read.
bool isDigest(const std::string& text)
{
    constexpr std::size_t kDigits = 32;
    return text.empty() || (text.size() == kDigits &&
                            text.find_first_not_of("0123456789abcdef") == std::string::npos);
}

bool addRow(const std::vector<std::string>& cells, Fingerprints& fingerprints)
{
    if (cells.size() != kHeaders.size()) return false;
    const unsigned long folder = toNumber(cells[ColumnFolder]).value_or(0);
    if (folder == 0 || !toNumber(cells[ColumnBytes]) || !isDigest(cells[ColumnDigest]))
        return false;
    fingerprints[{folder - 1, cells[ColumnPath]}] = cells[ColumnDigest];
    return true;
}

}  // namespace

bool writeCsv(const std::string& path, const std::vector<FileEntry>& entries, std::string& error)
{
    shared::OutputFile file(path);
    if (!file.make(error)) return false;
    errno = 0;
    qz::qzIoDeviceFileStream device;
    if (!device.open(toUtf8(file.getWorkPath()), qz::qzIoDevice::DataWayWrite, /*truncate=*/true) ||
        !writeRows(device, entries)) {
        const int reason = errno;
        error = reason != 0 ? qz::SystemError(reason).toString() : device.getDeviceErrorMsg();
        return false;
    }
    device.close();
    return file.keep(error);
}

std::optional<Fingerprints> readCsv(const std::string& path, std::string& error)
{
    std::error_code unknown;
    const fs::file_status status = fs::status(path, unknown);
    // An interruption would not end the wait for a pipe that nobody writes to.
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        error = "it is no regular file";
        return std::nullopt;
    }
    qz::qzCsvFileReader reader(/*typeGuess=*/false);
    reader.setFileName(toUtf8(path));
    // To be checked here: a file that isn't open parses as an empty one.
    error = reader.getLastError();
    if (!error.empty()) return std::nullopt;
    bool isFinished = false;
    bool isOk = reader.parseFirst(isFinished, 1);
    if (isOk && (reader.getTable().empty() || toTexts(reader.getTable()[0]) != kHeaders)) {
        error = "it is no list of fingerprints";
        return std::nullopt;
    }
    Fingerprints fingerprints;
    unsigned long rowCount = 1;
    while (isOk && !isFinished) {
        isOk = reader.parseNext(isFinished, /*clearTable=*/true, kRowsPerBatch);
        for (const qz::qzCsvFileReader::Row& row : reader.getTable()) {
            ++rowCount;
            if (addRow(toTexts(row), fingerprints)) continue;
            error = "row " + std::to_string(rowCount) + " is damaged";
            return std::nullopt;
        }
    }
    error = reader.getLastError();
    return isOk ? std::optional(std::move(fingerprints)) : std::nullopt;
}

}  // namespace fingerprint
