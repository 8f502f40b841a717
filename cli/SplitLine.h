#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// Cuts a line into words at blanks, tabs and line feeds. Single and double quotes hold a word
/// together, begin a new word and end it; a backslash takes the special meaning from a quote or a
/// backslash behind it and stands for itself before anything else. Empty words are left out.
/// A quote left open or a backslash at the end ends with the line.
std::vector<std::string> SplitLine(std::string_view line);

}  // namespace cli
