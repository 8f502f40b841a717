#pragma once

#include <array>
#include <cstdint>

#include "map/FieldMap.h"

/// Register map of an SDI receiver.
namespace sdi_rx_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 42> kFields{{
  // name               offset lsb width access
  {"gtReset",              4,  3,  1},
  {"clrSt352Flags",        4,  2,  1, kReadWrite,       "clears the ST 352 flags while it is 1"},
  {"clrErrCnt",            4,  1,  1, kReadWrite,       "clears crcErrCnt while it is 1"},
  {"reset",                4,  0,  1, kReadWrite,       "of the core, active high"},
  {"rxRevCap",             8,  0, 32, kReadOnly,        "revision and capabilities"},
  {"videoType",           12, 14,  8, kReadWrite,       "video type code of the standard that was decided"},
  {"st352StreamSelect",   12, 10,  4},
  {"forcedMode",          12,  7,  3, kReadWrite,       "SDI mode while detection is off"},
  {"modeEnable",          12,  1,  5, kReadWrite,       "modes that the detector may try, one bit each"},
  {"modeDetectEn",        12,  0,  1},
  {"rxChangeFailCode",    24, 29,  3, kReadOnly},
  {"rxChangeFail",        24, 28,  1, kReadOnly},
  {"rxChangeDone",        24, 27,  1, kReadOnly},
  {"resetDone",           24, 26,  1, kReadOnly},
  {"rxFifoFullErr",       24, 25,  1, kReadOnly},
  {"pllLocked",           24, 24,  1, kReadOnly},
  {"frameUnlockCap",      24, 23,  1, kWriteOneToClear, "the frame lock was lost"},
  {"rxUnlockCap",         24, 22,  1, kWriteOneToClear, "the receiver's lock was lost"},
  {"demuxErr",            24, 21,  1, kReadOnly},
  {"st352PktErr",         24, 20,  1, kReadOnly},
  {"st352Valid",          24, 19,  1, kReadOnly,        "st352Packet holds a valid packet"},
  {"linkClkStopped",      24, 18,  1, kReadOnly},
  {"linkClkErr",          24, 17,  1, kReadOnly},
  {"fractionalRate",      24, 16,  1, kReadOnly},
  {"tdProgressive",       24, 15,  1, kReadOnly,        "td: what the transport detector found"},
  {"tdRate",              24, 11,  4, kReadOnly},
  {"tdFormat",            24,  8,  3, kReadOnly},
  {"tdLocked",            24,  7,  1, kReadOnly},
  {"activeStreams",       24,  4,  3, kReadOnly},
  {"sdiMode",             24,  1,  3, kReadOnly},
  {"rxLocked",            24,  0,  1, kReadOnly,        "TRS lock"},
  {"rxStatusAll",         24,  0, 32, kReadOnly,        "the whole status word", true},
  {"st352Packet",         28,  0, 32, kReadOnly,        "byte 1 in bits 7..0, byte 4 on top"},
  {"crcErrCnt",           32,  0, 32, kReadOnly},
  {"irqMask",             44,  0, 16, kReadWrite,       "a 1 masks the source"},
  {"irqStatus",           48,  0, 16, kReadOnly,        "pending sources"},
  {"irqClr",              52,  0, 16, kStrobe,          "a 1 clears the source"},
  // The transceiver's configuration words are reached through this port.
  {"reconfigWrEn",        56, 11,  1, kStrobe},
  {"reconfigRdEn",        56, 10,  1, kStrobe},
  {"reconfigAddr",        56,  0, 10},
  {"reconfigWrData",      60,  0, 32},
  {"reconfigRdData",      64,  0, 32, kReadOnly},
}};
// clang-format on
static_assert(WellFormed(kFields));

// Codes of sdiMode and forcedMode.
inline constexpr std::uint32_t kMode270M = 0;
inline constexpr std::uint32_t kMode1G5 = 1;
inline constexpr std::uint32_t kMode3GLevelA = 2;
inline constexpr std::uint32_t kMode3GLevelB = 3;
inline constexpr std::uint32_t kMode6G = 4;
inline constexpr std::uint32_t kMode12G = 5;

// Codes of tdFormat: the raster.
inline constexpr std::uint32_t kRaster1920x1080 = 0;
inline constexpr std::uint32_t kRaster1280x720 = 1;
inline constexpr std::uint32_t kRaster2048x1080 = 2;
inline constexpr std::uint32_t kRaster720x486 = 4;
inline constexpr std::uint32_t kRaster720x576 = 5;
inline constexpr std::uint32_t kRasterUnknown = 7;  // 3 and 6 name no raster either

// Codes of activeStreams: 2 to this power.
inline constexpr std::uint32_t kOneStream = 0;
inline constexpr std::uint32_t kTwoStreams = 1;
inline constexpr std::uint32_t kFourStreams = 2;
inline constexpr std::uint32_t kEightStreams = 3;
inline constexpr std::uint32_t kSixteenStreams = 4;

}  // namespace sdi_rx_regs
