// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace qz::ext::crash {

// The layout of a file: one line of text about the file, up to `kReportOffset`; the text of the
// reports; and the ring of entries. The rest of each part is zero.
//
//   qz-crash 1 REPORT-BYTES RING-BYTES
//
// The text has a line for each fact, which begins with its name:
//
//   program PATH                       once: the process, and the files that it has mapped
//   pid NUMBER
//   start MILLISECONDS
//   module FIRST LAST BUILD-ID PATH
//   report NUMBER                      for each report
//   time MILLISECONDS
//   cause TEXT
//   exception TYPE
//   text TEXT
//   thread NUMBER NAME
//   register NAME VALUE
//   frame ADDRESS OFFSET BUILD-ID PATH
//   remark TEXT
//   end NUMBER
//   ended                              once: a normal end of the process after a report
//
// A missing build id or path is "-".

inline constexpr const char* kMagic = "qz-crash 1 ";
inline constexpr const char* kFileExtension = ".qzcrash";
inline constexpr std::size_t kReportOffset = 4096;
/// For the modules and all reports.
inline constexpr std::size_t kReportBytes = 512UL * 1024;
/// Of these, what the modules leave for the reports at least.
inline constexpr std::size_t kLeastForReports = 256UL * 1024;
inline constexpr std::size_t kMostRingBytes = 64UL * 1024 * 1024;
inline constexpr std::size_t kLeastRingBytes = 4096;

/// The beginning of the ring. The bytes of the entries follow, each entry with a zero byte after
/// it. They are counted from the first entry on; the position is the count modulo the size.
///
/// An entry is announced in `begun` before its bytes replace the oldest ones, and counted in `done`
/// after them. So what is between both after `kill -9` is no entry, and neither is what it
/// replaces.
struct RingHead {
    std::atomic<std::uint64_t> begun;
    std::atomic<std::uint64_t> done;
};
static_assert(sizeof(RingHead) == 16 && std::atomic<std::uint64_t>::is_always_lock_free);

}  // namespace qz::ext::crash
