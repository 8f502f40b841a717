#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "map/FieldMap.h"

/// Register map of an SDI transmitter: the serialiser with its transceiver, and the two clock loops
/// in front of it, PICXO and NCO.
namespace sdi_tx_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 68> kFields{{
  // name               offset lsb width access
  {"resetPicxo",         0x00,  7,  1},
  {"resetCpll",          0x00,  6,  1},
  {"resetReconfig",      0x00,  5,  1},
  {"resetFifo",          0x00,  2,  1},
  {"resetPhy",           0x00,  1,  1},
  {"reset",              0x00,  0,  1},
  {"support3gLevelBb",   0x04, 31,  1, kReadOnly},
  {"support24g",         0x04, 30,  1, kReadOnly},
  {"support12g",         0x04, 29,  1, kReadOnly},
  {"support6g",          0x04, 28,  1, kReadOnly},
  {"support3g",          0x04, 27,  1, kReadOnly},
  {"supportHd",          0x04, 26,  1, kReadOnly},
  {"supportSd",          0x04, 25,  1, kReadOnly},
  {"rep6g",              0x04, 22,  2, kReadOnly},
  {"rep3g",              0x04, 20,  2, kReadOnly},
  {"repHd",              0x04, 17,  3, kReadOnly},
  {"repSd",              0x04, 15,  2, kReadOnly},
  {"maxStreams",         0x04, 12,  3, kReadOnly},
  {"legacyWidth",        0x04, 11,  1, kReadOnly},
  {"width",              0x04, 10,  1, kReadOnly},
  {"supportTx",          0x04,  9,  1, kReadOnly},
  {"supportRx",          0x04,  8,  1, kReadOnly},
  {"rev",                0x04,  0,  8, kReadOnly},
  {"postCursor",         0x08, 26,  5},
  {"preCursor",          0x08, 21,  5},
  {"swingControl",       0x08, 16,  5},
  {"cpllPowerDown",      0x08, 12,  1},
  {"pmaCalReq",          0x08, 11,  1},
  {"pllSelect",          0x08, 10,  1, kReadWrite,       "0 integer rates, 1 fractional rates"},
  {"levelB",             0x08,  9,  1},
  {"insertSyncBit",      0x08,  8,  1},
  {"insertLn",           0x08,  7,  1},
  {"insertCrc",          0x08,  6,  1},
  {"muxPattern",         0x08,  3,  3},
  {"std",                0x08,  0,  3, kReadWrite,       "an SdiRate"},
  {"txStatus",           0x0C,  0,  7, kReadOnly},
  {"txResetDone",        0x0C,  6,  1, kReadOnly,        "", true},
  {"txCalDone",          0x0C,  5,  1, kReadOnly,        "", true},
  {"txCalBusy",          0x0C,  4,  1, kReadOnly,        "", true},
  {"txChangeDone",       0x0C,  3,  1, kReadOnly,        "", true},
  {"pllLocked",          0x0C,  1,  2, kReadOnly,        "", true},
  {"fifo_underflow",     0x0C,  0,  1, kReadOnly,        "", true},
  {"picxoCeDspRate",     0x10, 16, 16},
  {"picxoG1",            0x10, 11,  5},
  {"picxoG2",            0x10,  6,  5},
  {"picxoAccStep",       0x10,  2,  4},
  {"picxoDither",        0x10,  0,  1},
  {"picxoRefSelect",     0x14, 23,  4},
  {"picxoOffsetEn",      0x14, 22,  1},
  {"picxoOffset",        0x14,  0, 22},
  {"picxoR",             0x18, 16, 16},
  {"picxoV",             0x18,  0, 16},
  {"picxoError",         0x1C,  0, 32, kReadOnly},
  {"picxoN",             0x20, 17, 10},
  {"picxoP",             0x20,  7, 10},
  {"picxoC",             0x20,  0,  7},
  {"ncoCeDspRate",       0x24, 16, 16},
  {"ncoG1",              0x24, 11,  5},
  {"ncoG2",              0x24,  6,  5},
  {"ncoAccStep",         0x24,  2,  4},
  {"ncoOffsetEn",        0x28, 22,  1},
  {"ncoOffset",          0x28,  0, 22},
  {"ncoR",               0x2C, 16, 16},
  {"ncoV",               0x2C,  0, 16},
  {"ncoError",           0x30,  0, 32, kReadOnly,        "two's complement"},
  {"freqTxOutclk",       0x34,  0, 32, kReadOnly},
  {"freqNcoRef",         0x38,  0, 32, kReadOnly},
  {"freqNcoOut",         0x3C,  0, 32, kReadOnly},
}};
// clang-format on
static_assert(WellFormed(kFields));

/// One step of a register sequence.
struct Step {
  FieldIn<kFields> field;
  std::uint32_t value;
};

/// Both clock loops as they stand after bring-up, in the order of writing: 3 Gbit/s at an integer
/// rate.
// clang-format off
inline constexpr std::array<Step, 19> kClockLoopSetup{{
  {"picxoCeDspRate", 4095},
  {"picxoG1",           0},
  {"picxoG2",           6},
  {"picxoAccStep",      1},
  {"picxoDither",       0},
  {"picxoOffsetEn",     0},
  {"picxoOffset",       0},
  {"picxoR",            0},
  {"picxoV",            2},
  {"picxoN",            5},
  {"picxoP",            4},
  {"picxoC",           89},
  {"ncoV",            958},
  {"ncoR",              0},
  {"ncoAccStep",        1},
  {"ncoCeDspRate",    511},
  {"ncoG1",             6},
  {"ncoG2",            10},
  {"picxoRefSelect",    4},
}};
// clang-format on

/// What the NCO loop divides by for a video standard.
struct NcoRatio {
  int standardId;
  std::uint16_t ncoV;
  std::uint16_t ncoR;
};

/// The standards that the NCO loop can be referred to, by ascending id.
// clang-format off
inline constexpr std::array<NcoRatio, 30> kNcoRatios{{
  // id  ncoV ncoR
  {   0,    0, 0},  // Unknown
  {   5, 3430, 0},  // 525i 59.94
  {   6, 3454, 0},  // 625i 50
  {   7, 3001, 0},  // 1280x720p 23.98
  {   8, 2998, 0},  // 1280x720p 24
  {   9, 2878, 0},  // 1280x720p 25
  {  10, 6004, 3},  // 1280x720p 29.97
  {  11, 2398, 0},  // 1280x720p 30
  {  12, 1438, 0},  // 1280x720p 50
  {  13, 3001, 3},  // 1280x720p 59.94
  {  14, 1198, 0},  // 1280x720p 60
  {  15, 1918, 0},  // 1920x1080i 50
  {  16, 4002, 3},  // 1920x1080i 59.94
  {  17, 1598, 0},  // 1920x1080i 60
  {  18, 2000, 0},  // 1920x1080p 23.98
  {  19, 1998, 0},  // 1920x1080p 24
  {  20, 1918, 0},  // 1920x1080p 25
  {  24, 4002, 3},  // 1920x1080p 29.97
  {  25, 1598, 0},  // 1920x1080p 30
  {  39,  958, 0},  // 1920x1080p 50 A
  {  40, 2000, 3},  // 1920x1080p 59.94 A
  {  41,  798, 0},  // 1920x1080p 60 A
  {  57, 2000, 0},  // 3840x2160p 23.98 6G
  {  58, 1998, 0},  // 3840x2160p 24 6G
  {  59, 1918, 0},  // 3840x2160p 25 6G
  {  60, 4002, 3},  // 3840x2160p 29.97 6G
  {  61, 1598, 0},  // 3840x2160p 30 6G
  { 138,  958, 0},  // 3840x2160p 50 12G
  { 139, 2000, 3},  // 3840x2160p 59.94 12G
  { 140,  798, 0},  // 3840x2160p 60 12G
}};
// clang-format on
static_assert(std::adjacent_find(kNcoRatios.begin(), kNcoRatios.end(),
                                 [](const NcoRatio& a, const NcoRatio& b) {
                                   return a.standardId >= b.standardId;
                                 }) == kNcoRatios.end());

}  // namespace sdi_tx_regs
