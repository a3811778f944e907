#pragma once

namespace qz::text {

class ThreadContent;

/// The converters of the calling thread, made at its first need; null while the text services are
/// down.
const ThreadContent* getThreadContent();

}  // namespace qz::text
