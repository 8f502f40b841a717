#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// A register that doesn't answer ends the process with SIGBUS. These operations see to it that the
/// process's last words on standard error say which register it was and whose.

/// Watches the mapped register window: a bus error inside it writes the register's byte offset and
/// the module it belongs to on standard error, and then takes the course that it had before.
void ReportBusErrorsIn(const volatile void* window, std::size_t bytes);

/// Ends ReportBusErrorsIn.
void StopReportingBusErrors();

/// Enters a module for the report. A module's registers reach from its base address to the next
/// module's; of two modules at one address both names are given. Not thread-safe: belongs to
/// start-up, like the construction of the modules.
void NameModuleForBusErrors(std::uint32_t baseAddress, std::string_view name);
