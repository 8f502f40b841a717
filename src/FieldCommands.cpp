#include "FieldCommands.h"

#include <cstdint>
#include <exception>
#include <vector>

#include "Numbers.h"
#include "log/Log.h"
#include "regaccess/BitfieldManager.h"

namespace field_commands {

namespace {

std::string Lines(const std::vector<std::string>& lines, const char* textIfNone) {
  if (lines.empty()) {
    return textIfNone;
  }
  std::string text;
  for (const std::string& line : lines) {
    text += line;
    text += '\n';
  }
  return text;
}

std::string ModuleNotFound(const std::string& module) {
  return "Module " + module + " not found\n";
}

}  // namespace

std::string ListModules(const std::string& filter) {
  std::vector<std::string> lines;
  BitfieldManager::ListModules(lines, filter);
  return Lines(lines, "No Modules Found\n");
}

std::string ListBitfields(const std::string& module, const std::string& filter) {
  std::vector<std::string> lines;
  if (BitfieldManager::ListBitfields(lines, module, filter) != 0) {
    return ModuleNotFound(module);
  }
  return Lines(lines, "No Bitfields Found\n");
}

std::string ReadBitfields(const std::string& module, const std::string& filter) {
  std::vector<std::string> lines;
  if (BitfieldManager::ListBitfieldValues(lines, module, filter) != 0) {
    return ModuleNotFound(module);
  }
  return Lines(lines, "No bitfields found\n");
}

std::string WriteBitfield(const std::string& module, const std::string& field,
                          const std::string& value) {
  std::uint32_t number = 0;
  try {
    number = static_cast<std::uint32_t>(ToInt(value));  // a negative one as its two's complement
  } catch (const std::exception&) {
    return "Value argument <" + value + "> cannot be converted to integer\n";
  }
  std::string report;
  if (BitfieldManager::WriteBitfieldAndReport(report, module, field, number) != 0) {
    return "Module " + module + " or bitfield " + field + " not found\n";
  }
  return FormatMessage("Value 0X%08X was written successfully, read back:\n", number) + report +
         "\n";
}

}  // namespace field_commands
