#pragma once

#include <cstdint>
#include <optional>

namespace sim {

class Fpga;

/// The video line of an output, counted from 1, in which the bursts of an embedder's pair start:
/// the line of the input that the main mixer passes to it past a converter, moved on by the delay
/// line. Nothing if the pair gets no bursts. Video counts as undelayed. It goes by what is plugged
/// into the input, whether or not the input's receiver and de-embedder run.
///
/// `output`: 0 to 3; `pair`: 0 to 7. The board's lock is held.
std::optional<std::uint32_t> BurstLineAt(const Fpga& fpga, std::uint32_t output,
                                         std::uint32_t pair);

}  // namespace sim
