#pragma once

#include <string>
#include <string_view>

namespace cli {

/// What of a text can be shown without a terminal acting on it: 0x00 to 0x1F and 0x7F are dropped,
/// and so are the controls U+0080 to U+009F, encoded in UTF-8 or as bare bytes. In any other valid
/// sequence of UTF-8 these bytes stay.
std::string WithoutControls(std::string_view text);

}  // namespace cli
