#pragma once

#include <string>
#include <string_view>

/// Where the board's files lie.
namespace platform {

/// Turns a path of the board, such as "/usr/orvane/lib/eeprom-lo", into the path to open.
std::string StoragePath(std::string_view boardPath);

}  // namespace platform
