// SPDX-License-Identifier: MIT
#include <qz/qzException.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include <cxxabi.h>

#include <qz/qzLogObject.h>

#include "frame/base/FreeMemory.h"

namespace qz::exception::impl {

namespace {

constexpr const char* kUnknownException = "Unknown exception";

std::string getReadableTypeName(const std::type_info& type)
{
    const char* name = type.name();
    if (*name == '*') ++name;
    const std::unique_ptr<char, FreeMemory> demangled(
        abi::__cxa_demangle(name, nullptr, nullptr, nullptr));
    return demangled != nullptr ? demangled.get() : name;
}

void report(const std::string& description)
{
    logCritical(nullptr, "qzSystem")
        << "Catch an exception : '" << description << "' see application and system logs";
}

}  // namespace

// The sanitizer of undefined behaviour takes the forced unwind for a null object.
__attribute__((no_sanitize("null"))) void ExecGuardedCode(void (*function)(void*), void* argument)
{
    try {
        function(argument);
    } catch (const std::exception& error) {
        report(getReadableTypeName(typeid(error)) + "(\"" + error.what() + "\")");
        throw std::exception();
    } catch (const abi::__forced_unwind&) {
        throw;  // `pthread_exit`: the C library ends the process if this stops here
    } catch (...) {
        report(kUnknownException);
        throw std::runtime_error(kUnknownException);
    }
}

void ExecGuardedCode(void (*function)())
{
    ExecGuardedCode([](void* given) { (*static_cast<void (**)()>(given))(); }, &function);
}

}  // namespace qz::exception::impl
