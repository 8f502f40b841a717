#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The hardware's register map as a fact of the tests: read from tests/data/register-map.tsv, which
/// was typed from the hardware's own list, and from no table of the product.
namespace facts {

struct Field {
  std::uint32_t offset;  ///< bytes from the module's base
  unsigned lsb, width;   ///< bits

  std::uint32_t Mask() const { return (width == 32 ? ~0U : (1U << width) - 1U) << lsb; }
  friend bool operator==(const Field&, const Field&) = default;
};

struct Module {
  std::uint32_t base;  ///< bytes from the start of the window
  std::string core;

  friend bool operator==(const Module&, const Module&) = default;
};

using Modules = std::map<std::string, Module, std::less<>>;
using Fields = std::map<std::pair<std::string, std::string>, Field>;  // by core and name

const Modules& AllModules();
const Fields& AllFields();

/// Both throw std::out_of_range with the name that the hardware doesn't have.
const Module& ModuleOf(std::string_view module);
const Field& FieldOf(std::string_view module, std::string_view field);

/// A field's bits in its word, and where that word lies in the window.
struct Place {
  std::uint32_t address, mask;
  unsigned lsb;
};

/// `name` is "module.field", or a field of `module`.
Place PlaceOf(std::string_view module, std::string_view name);

}  // namespace facts
