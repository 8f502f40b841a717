#pragma once

#include <string>

/// The commands on register fields, for any module of the registry. Each gives the text for the
/// operator; an empty filter matches all.
namespace field_commands {

std::string ListModules(const std::string& filter);
std::string ListBitfields(const std::string& module, const std::string& filter);
std::string ReadBitfields(const std::string& module, const std::string& filter);
/// `value` is a number as the operator types it, in the range of an int.
std::string WriteBitfield(const std::string& module, const std::string& field,
                          const std::string& value);

}  // namespace field_commands
