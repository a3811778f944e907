// SPDX-License-Identifier: MIT
#pragma once

struct __locale_struct;  // NOLINT: the system's name for what `locale_t` points to

namespace qz::text {

class ThreadContent;

/// Whether the text services are started, so that texts can be converted.
bool areServicesUp();

/// A number that each start and stop of the text services increments. A caller that caches a
/// converted text compares it to find out whether the text is still valid.
unsigned getServicesGeneration();

/// The C locale for numbers: that of the services or, if there is none, one that is never freed.
__locale_struct* getCLocale();

/// The converters of the calling thread, which are made at the first call on it. Null while the
/// text services are stopped.
const ThreadContent* getThreadContent();

}  // namespace qz::text
