// The register tables and the modules against the hardware's own list, both ways.

#include <gtest/gtest.h>

#include "map/CoreTables.h"
#include "support/RegisterFacts.h"

namespace {

TEST(RegisterMap, ModulesAreThoseOfTheHardware) {
  facts::Modules modules;
  for (const module_map::Module& module : module_map::kModules) {
    modules[module.Name()] = {module.Base(), std::string(module_map::TableOf(module.core).name)};
  }
  EXPECT_EQ(modules, facts::AllModules());
}

TEST(RegisterMap, FieldsAreThoseOfTheHardware) {
  facts::Fields fields;
  for (const module_map::CoreTable& table : module_map::kCoreTables) {
    for (const Field& field : table.fields) {
      fields[{std::string(table.name), std::string(std::string_view(field.name))}] = {
          field.byteOffset, field.lsb, field.width};
    }
  }
  EXPECT_EQ(fields, facts::AllFields());
}

}  // namespace
