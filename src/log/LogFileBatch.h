#pragma once

#include <string>

#include <qz/qzLog.h>

#include "qzLogParameters.h"

namespace qz::log {

/// Writes the lines of one batch to the log file, which is open only as long as the batch lasts: so
/// others may move or delete it between batches.
class LogFileBatch {
public:
    /// Makes a batch that has opened nothing.
    explicit LogFileBatch(qzLogParameters& parameters) : mParameters(parameters) {}
    ~LogFileBatch() { close(); }
    LogFileBatch(const LogFileBatch&) = delete;
    LogFileBatch& operator=(const LogFileBatch&) = delete;

    /// Writes a line, or shows it on the console when the file can't be opened. The first line
    /// opens the file; the name of the file is up to date.
    void write(const qzLog::LogEntry& entry);
    /// Brings the lines to the file and closes it. A line that comes later opens it again.
    void close();

private:
    void begin();
    void rotate();
    void open(int mode);
    void flush();

    qzLogParameters& mParameters;
    std::string mLines;      // not yet in the file
    long mPosition = -1;     // behind mLines; negative when the system can't tell
    int mDescriptor = -1;    // of the file; negative while it isn't open
    bool mHasBegun = false;  // whether it was tried to open the file
};

}  // namespace qz::log
