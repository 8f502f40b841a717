#pragma once

#include <cstdarg>

/// The system log. Both calls are thread-safe, never wait for whoever reads it, and never fail: a
/// record that isn't taken at once is lost.
///
/// On the board a record is, byte for byte, what the C library's `syslog` sends by default: the
/// program's name, no process id, the facility "user". It goes out by a connection of its own, so
/// that neither `openlog` nor `setlogmask` has a say, and a program may fork or close all
/// descriptors that it finds.
namespace platform {

/// Sends one record of the given severity (0 Emergency to 7 Debug). `text` is no format.
void SystemLog(int severity, const char* text);

/// Sends one record that is built from a printf format and its arguments.
void SystemLogV(int severity, const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));

}  // namespace platform
