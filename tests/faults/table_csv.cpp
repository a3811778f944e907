// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kWholeTable = "+++, flushed, files whole whole, rows 3 2";
const std::string kNoFirstFile = ", Fail to open csv file FOLDER/base.csv";
const std::string kNoSecondFile = ", Fail to open csv file FOLDER/base (1).csv";

}  // namespace

FaultTable getCsvFaults()
{
    return {"csv",
            "C.UTF-8",
            kWholeTable,
            {
                {"open",
                 EMFILE,
                 {"---, not flushed, files empty empty, rows 0 0" + kNoFirstFile,
                  "++-, not flushed, files whole empty, rows 3 0" + kNoSecondFile,
                  "+++, flushed, files whole whole, rows 0 (Failed to open the file) 2",
                  "+++, flushed, files whole whole, rows 3 0 (Failed to open the file)"}},
                // A file that can't be read or measured is an empty table.
                {"read",
                 EIO,
                 {"+++, flushed, files whole whole, rows 0 2",
                  "+++, flushed, files whole whole, rows 3 0"}},
                {"lseek",
                 EIO,
                 {"+++, flushed, files whole whole, rows 0 2",
                  "+++, flushed, files whole whole, rows 3 0"},
                 {kWholeTable}},
                // The close tries again, and may tell nobody.
                {"write",
                 ENOSPC,
                 {"+++, not flushed, files whole whole, rows 3 2"},
                 {"+++, not flushed, files empty whole, rows 0 2",
                  "+++, not flushed, files whole empty, rows 3 0"}},
                {"fstat", EIO, {kWholeTable}},
                {"close", EIO, {kWholeTable}},
                {"read", EINTR, {kWholeTable}},
                {"write", EINTR, {kWholeTable}},
                {"pthread_key_create", EAGAIN, {}, {kWholeTable}},
                {"pthread_setspecific", ENOMEM, {}, {kWholeTable}},
            },
            {"std::bad_alloc", "---, not flushed, files empty empty, rows 0 0" + kNoFirstFile,
             "++-, not flushed, files whole empty, rows 3 0" + kNoSecondFile,
             "+++, flushed, files whole whole, rows 0 (Failed to open the file) 2",
             "+++, flushed, files whole whole, rows 3 0 (Failed to open the file)",
             "+++, flushed, files whole whole, rows 0 (std::bad_alloc) 2",
             "+++, flushed, files whole whole, rows 1 (std::bad_alloc) 2",
             "+++, flushed, files whole whole, rows 2 (std::bad_alloc) 2",
             "+++, flushed, files whole whole, rows 3 0 (std::bad_alloc)",
             "+++, flushed, files whole whole, rows 3 1 (std::bad_alloc)"}};
}

}  // namespace qz::faults
