#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace sim {

/// The text without blanks at its ends.
std::string_view Trimmed(std::string_view text);

/// The number of 32 bits that the whole text is, decimal, or hexadecimal behind "0x". Throws
/// std::invalid_argument.
std::uint32_t ParseNumber(const std::string& text);

/// Reads a file of lines "key = value", with '#' in front of comments, and hands each line to
/// `apply`. What a line makes it throw is handed to `complain` as one text that names the line, and
/// reading goes on. False if there is no such file, or not even a comment in it.
bool ReadConfigFile(
    const std::string& path,
    const std::function<void(const std::string& key, const std::string& value)>& apply,
    const std::function<void(const std::string& complaint)>& complain);

}  // namespace sim
