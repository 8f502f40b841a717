#include "platform/SystemLog.h"

#include <syslog.h>

namespace platform {

void SystemLog(int severity, const char* text) {
  syslog(severity, "%s", text);
}

void SystemLogV(int severity, const char* format, std::va_list arguments) {
  vsyslog(severity, format, arguments);
}

}  // namespace platform
