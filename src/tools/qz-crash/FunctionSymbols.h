// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <set>
#include <string>

/// Finds those of the addresses that lie within a function of the symbol tables of a program or
/// shared object. For the others `addr2line` names the function before them, which may be any.
std::set<std::uint64_t> findInFunctions(const std::string& path,
                                        const std::set<std::uint64_t>& addresses);
