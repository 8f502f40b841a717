#pragma once

#include <cstdarg>

/// The system log. Both calls are thread-safe, don't wait and never fail: a record that nobody
/// takes is lost.
namespace platform {

/// Sends one record of the given severity (0 Emergency to 7 Debug). `text` is no format.
void SystemLog(int severity, const char* text);

/// Sends one record that is built from a printf format and its arguments.
void SystemLogV(int severity, const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));

}  // namespace platform
