#pragma once

#include <array>
#include <cstdint>

#include "map/AudioMap.h"
#include "map/FieldMap.h"

/// Register map of an audio delay line: 16 channels in a ring of samples in DRAM. Delays and
/// pointers count samples at 48 kHz.
namespace audio_delay_regs {

using enum Access;

using audio_map::kChannels;
using audio_map::kPairs;

/// From one channel's three registers to the next channel's.
inline constexpr Repeat kPerChannel{.wordStride = 12};

// clang-format off
inline constexpr auto kFields = JoinFields(
  std::array<Field, 24>{{
    // name                      offset lsb width access
    {"header_detect",             0x00, 24,  8},
    {"delayed_restart",           0x00, 16,  8},
    {"route_pairs_via_nonsrc",    0x00,  8,  8, kReadWrite,       "a bit for each pair: it bypasses the converter"},
    {"timeout_sel",               0x00,  4,  2},
    {"bypass_src",                0x00,  2,  1},
    {"allow_nonsrc_ch_restart",   0x00,  1,  1},
    {"glbl_reset",                0x00,  0,  1},
    {"base_addr",                 0x04,  0, 32, kReadWrite,       "in units of 8 bytes"},
    {"e_frame_delay",             0x08, 16, 12},
    {"ac3_frame_delay",           0x08,  0, 12},
    {"nonsrc_sync_lock",          0x10, 31,  1, kReadOnly},
    {"nonsrc_ce_detect_err",      0x10, 30,  1, kReadOnly},
    {"src_sync_lock",             0x10, 29,  1, kReadOnly},
    {"src_ce_detect_err",         0x10, 28,  1, kReadOnly},
    {"memory_chunks",             0x10,  0, 28, kReadWrite,       "size of the ring in samples, minus 1"},
    {"restart_cause",             0x14, 16, 16, kReadOnly},
    {"same_ch_timing_err",        0x14,  0, 16, kWriteOneToClear, "a bit per channel"},
    {"last_written_block",        0x18,  0, 26, kReadOnly},
    {"err_status",                0x1C,  0, 32, kWriteOneToClear},
    {"anchor_restart",            0x20, 28,  1},
    {"anchor_channel",            0x20, 24,  4},
    {"e_or_ac3_frame",            0x20, 16,  8},
    // a bit per channel: a written 1 restarts it; reads 1 while a restart runs
    {"restart",                   0x20,  0, 16, kStrobe},
    {"output_valid_after_reset",  0x24,  0, 16, kReadOnly,        "a bit per channel"},
  }},
  // A delay is taken at its channel's restart.
  RepeatField<kChannels>({"per_ch_init_delay_#", 0x28, 0, 28}, kPerChannel),
  RepeatField<kChannels>({"per_ch_write_ptr_#",  0x2C, 0, 32, kReadOnly}, kPerChannel),
  RepeatField<kChannels>({"per_ch_read_ptr_#",   0x30, 0, 26, kReadOnly}, kPerChannel),
  std::array<Field, 3>{{
    {"fifo_overflow",             0xE8, 16, 16, kReadOnly},
    {"fifo_underflow",            0xE8,  0, 16, kReadOnly},
    {"fifo_drain_err",            0xEC,  0,  1, kReadOnly},
  }});
// clang-format on
static_assert(WellFormed(kFields));

// What the bits of err_status stand for: from kTimingError and kFramingError on a bit for each
// channel and for each pair, below them the core's own errors.
inline constexpr unsigned kTimingError = 16;
inline constexpr unsigned kFramingError = 8;
inline constexpr unsigned kIngressSofError = 3;

}  // namespace audio_delay_regs
