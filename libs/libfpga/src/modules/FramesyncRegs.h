#pragma once

#include <array>

#include "regaccess/FieldMap.h"

/// Register map of a frame synchroniser. Bursts and sizes count memory words, alignments and
/// intervals count samples of the output's clock.
namespace framesync_regs {

// clang-format off
inline constexpr std::array<Field, 88> kFields{{
  // name                   offset lsb width  access
  {"reset",                    0,   0,   1},
  {"resetOutputRequest",       0,   1,   1},
  {"feSofResetSample",         0,   2,  12},
  {"readBurstNum",             0,  14,  16},
  {"forceSnow",                0,  30,   1},
  {"backupSnow",               0,  31,   1},
  {"refDelay",                 4,   0,  24},  // alignment while locked to a reference
  {"freeRunCsr",               4,  24,   1},
  {"refAlignGen",              4,  25,   1},
  {"readEnable",               4,  26,   1},
  {"writeEnable",              4,  27,   1},
  {"lockToInput",              4,  28,   1},
  {"capturePattern",           4,  29,   1},
  {"snowRandomizeC",           4,  30,   1},
  {"disableClamp",             4,  31,   1},
  {"readOffset",               8,   0,  22},
  {"readLastBurstSize",        8,  22,   9},
  {"bypassFramesync",          8,  31,   1},
  {"writeOffset",             12,   0,  22},
  {"readBurstSize",           12,  22,   9},
  {"writeBurstNum",           16,   0,  16},
  {"writeBurstSize",          16,  16,   9},
  {"totalReadBurstNum",       20,   0,  20},
  {"yVal",                    20,  20,  10},
  {"lockToRef",               20,  30,   1},
  {"totalWriteBurstNum",      24,   0,  20},
  {"cbVal",                   24,  20,  10},
  {"ext_sync_input_select",   24,  30,   2},
  {"pattGenBaseAddr",         28,   0,  26},
  {"blankAnc",                28,  26,   1},
  {"crVal",                   32,   0,  10},
  {"yVal2",                   32,  10,  10},
  {"cbVal2",                  32,  20,  10},
  {"crVal2",                  36,   0,  10},
  {"loadRegs",                36,  10,   1},  // its rise makes the set-up take effect
  {"numBufs",                 36,  11,   9},
  {"lineSize",                36,  20,  11},
  {"baseAddr",                40,   0,  26},  // in units of 64 bytes
  {"writeStart",              40,  26,   6},
  {"imgSize",                 44,   0,  24},
  {"videoSkipPulse",          44,  24,   3},
  {"refSkipPulse",            44,  27,   3},
  {"refSelect",               44,  30,   1},
  {"readThreshold",           48,   0,  13},
  {"writeThreshold",          48,  13,  13},
  {"maxPending",              48,  26,   4},
  {"refIsP",                  48,  30,   1},
  {"validLineNumber",         52,   0,  12},
  {"frameDelay",              52,  12,   9},
  {"readStart",               52,  21,   6},
  {"forcePattGen",            52,  27,   1},
  {"backupPattGen",           52,  28,   1},
  {"forceFreeze",             52,  29,   1},
  {"forceFlatField",          52,  30,   1},
  {"backupFlatField",         52,  31,   1},
  {"startSampleNumber",       56,   0,  24},  // alignment while locked to an input
  {"singleAlign",             56,  24,   1},
  {"LockSelect",              56,  25,   1},
  {"clrDropFrameCounter",     60,   0,   1},
  {"clrDupFrameCounter",      60,   1,   1},
  {"clrBadFrameCounter",      60,   2,   1},
  {"videoType",               60,   3,   5},
  {"patternVideoType",        60,   8,   5},
  {"forceVideoType",          60,  13,   1},
  {"packMode",                60,  14,   2},
  {"writeLastBurstSize",      60,  18,   9},
  {"writeOverflow",           64,   0,   1, Access::kReadOnly},
  {"writeUnderflow",          64,   1,   1, Access::kReadOnly},
  {"readOverflow",            64,   2,   1, Access::kReadOnly},
  {"readUnderflow",           64,   3,   1, Access::kReadOnly},
  {"rasterGenOverflow",       64,   4,   1, Access::kReadOnly},
  {"rasterGenUnderflow",      64,   5,   1, Access::kReadOnly},
  {"syncVcount",              64,   6,  12, Access::kReadOnly},
  {"readWriteBufCheck",       68,   0,  32, Access::kReadOnly},  // see FramesyncDelay.h
  {"refReportDelay",          72,   0,  32, Access::kReadOnly},
  {"debugRefInterval",        76,   0,  32, Access::kReadOnly},
  {"debugBeInterval",         80,   0,  32, Access::kReadOnly},
  {"dropFrameAcc",            84,   0,  32, Access::kReadOnly},
  {"dropFramePersec",         88,   0,  32, Access::kReadOnly},
  {"dupFrameAcc",             92,   0,  32, Access::kReadOnly},
  {"dupFramePersec",          96,   0,  32, Access::kReadOnly},
  {"badFrameAcc",            100,   0,  32, Access::kReadOnly},
  {"badFramePersec",         104,   0,  32, Access::kReadOnly},
  {"syncHcount",             108,   0,  12, Access::kReadOnly},
  {"inputReportDelay",       112,   0,  24, Access::kReadOnly},
  {"vidOutCeCounter",        128,   0,  32, Access::kReadOnly},
  {"vidInCeCounter",         132,   0,  32, Access::kReadOnly},
  {"beSofResetSample",       136,   0,  12},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace framesync_regs
