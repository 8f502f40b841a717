#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "sim/Board.h"

/// The accesses of one operation, whose log lines are kept alone.
inline std::vector<sim::RegisterAccess> AccessesOf(const std::function<void()>& operation) {
  sim::Board& board = sim::Board::Get();
  board.log.Clear();
  board.registers.StartTrace();
  operation();
  return board.registers.TakeTrace();
}

/// The stores among them.
inline std::vector<sim::RegisterAccess> StoresOf(const std::function<void()>& operation) {
  sim::Board& board = sim::Board::Get();
  board.log.Clear();
  board.registers.StartTrace();
  operation();
  return board.registers.TakeStores();
}

/// The modules of the address map in the order in which a trace came to them.
inline std::vector<std::uint32_t> ModulesInOrder(const std::vector<sim::RegisterAccess>& trace) {
  std::vector<std::uint32_t> modules;
  for (const sim::RegisterAccess& access : trace) {
    const std::uint32_t module = access.address / sim::RegisterFile::kSlotBytes;
    if (modules.empty() || modules.back() != module) {
      modules.push_back(module);
    }
  }
  return modules;
}
