#include "support/RegisterFacts.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace facts {
namespace {

struct Map {
  Modules modules;
  Fields fields;
};

Map ReadMap() {
  Map map;
  std::ifstream file(BOARD_TEST_DATA "/register-map.tsv");
  for (std::string line; std::getline(file, line);) {
    std::istringstream columns(line);
    std::string kind, name, base, core, offset;
    unsigned lsb = 0, width = 0;
    if (line.starts_with("module\t") && columns >> kind >> name >> base >> core) {
      map.modules[name] = {static_cast<std::uint32_t>(std::stoul(base, nullptr, 0)), core};
    } else if (line.starts_with("field\t") &&
               columns >> kind >> core >> offset >> lsb >> width >> name) {
      map.fields[{core, name}] = {static_cast<std::uint32_t>(std::stoul(offset, nullptr, 0)), lsb,
                                  width};
    } else if (!line.starts_with('#')) {
      throw std::runtime_error("register-map.tsv: " + line);
    }
  }
  return map;
}

const Map& TheMap() {
  static const Map map = ReadMap();
  return map;
}

}  // namespace

const Modules& AllModules() {
  return TheMap().modules;
}

const Fields& AllFields() {
  return TheMap().fields;
}

const Module& ModuleOf(std::string_view module) {
  const auto found = TheMap().modules.find(module);
  if (found == TheMap().modules.end()) {
    throw std::out_of_range("the hardware has no module " + std::string(module));
  }
  return found->second;
}

const Field& FieldOf(std::string_view module, std::string_view field) {
  const auto found = TheMap().fields.find({ModuleOf(module).core, std::string(field)});
  if (found == TheMap().fields.end()) {
    throw std::out_of_range("the hardware has no field " + std::string(module) + "." +
                            std::string(field));
  }
  return found->second;
}

Place PlaceOf(std::string_view module, std::string_view name) {
  if (const auto dot = name.find('.'); dot != std::string_view::npos) {
    module = name.substr(0, dot);
    name.remove_prefix(dot + 1);
  }
  const Field& field = FieldOf(module, name);
  return {ModuleOf(module).base + field.offset, field.Mask(), field.lsb};
}

}  // namespace facts
