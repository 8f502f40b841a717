#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "map/FieldMap.h"

/// The modules of the design: which core lies where in the register window, under which name. The
/// window is cut into 64 slots of 1 MiB; the number of a module's slot is also the number of its
/// interrupt line, where it has one.
namespace module_map {

inline constexpr std::uint32_t kSlotBytes = 0x100000;

/// Number of video paths: a receiver, a frame synchroniser and a transmitter each.
inline constexpr std::uint32_t kPaths = 4;

/// The kinds of cores. Each has a register table and a driver of its own.
enum class Core : std::uint8_t {
  kIrqHandler,
  kVideoCrosspoint,
  kSdiRx,
  kSdiTx,
  kAudioPath,
  kAudioDeembedder,
  kAudioInputClkGen,
  kAudioMixer,
  kAudioDelay,
  kAudioDelaySrc,
  kAudioOutputClkGen,
  kMadiRx,
  kMadiTx,
  kDanteCoreInterface,
  kAesRx,
  kAesTx,
  kAudioPeakMeter,
  kFramesync,
  kAudioEmbedder,
  kRefDetect,
};

/// A row of the table below: a module, or one module for each path.
enum class ModuleId : std::uint8_t {
  kIrqHandler,
  kSdiRxCrosspoint,
  kSdiTxCrosspoint,
  kSdiRx,
  kSdiTx,
  kAudioPath,
  kDeembedder,
  kInputClkGen,
  kInputMixer,
  kAudioDelay,
  kAudioDelaySrc,
  kOutputClkGen,
  kMainMixer,
  kMadiRx,
  kMadiTx,
  kDante,
  kAesRx,
  kAesTx,
  kInputPeakMeters,
  kOutputPeakMeters,
  kFramesync,
  kEmbedder,
  kRefDetect,
};

struct ModuleRow {
  ModuleId id;
  std::string_view owner;   ///< the name's start; '#' stands for the path
  std::string_view suffix;  ///< the name's end, which the owner's driver appends
  Core core;
  std::uint32_t slot;        ///< of path 0; the other paths follow
  std::uint32_t count;       ///< modules: 1, or kPaths
  std::uint32_t firstIndex;  ///< the index that the driver of path 0 is given
  bool indexIsPath;          ///< counts the index on from path to path
  bool hasIrq;               ///< raises the interrupt line of its slot's number
};

// clang-format off
inline constexpr std::array<ModuleRow, 23> kRows{{
  // id                          owner                suffix              core                     slot  count  index  irq
  {ModuleId::kIrqHandler,       "irq_handler",       "",                 Core::kIrqHandler,         0,      1,  0, false, false},
  {ModuleId::kSdiRxCrosspoint,  "sdi_rx_crosspoint", "",                 Core::kVideoCrosspoint,    1,      1,  0, false, false},
  {ModuleId::kSdiTxCrosspoint,  "sdi_tx_crosspoint", "",                 Core::kVideoCrosspoint,    2,      1,  0, false, false},
  {ModuleId::kSdiRx,            "sdi_rx#",           "",                 Core::kSdiRx,              3, kPaths,  0, true,  true},
  {ModuleId::kSdiTx,            "sdi_tx#",           "",                 Core::kSdiTx,              7, kPaths,  0, true,  false},
  {ModuleId::kAudioPath,        "out_aud",           "",                 Core::kAudioPath,         11,      1,  0, false, true},
  {ModuleId::kDeembedder,       "in_aud_#",          "_deemb",           Core::kAudioDeembedder,   12, kPaths,  0, false, true},
  {ModuleId::kInputClkGen,      "in_aud_#",          "_clk_gen",         Core::kAudioInputClkGen,  16, kPaths,  0, false, false},
  {ModuleId::kInputMixer,       "in_aud_#",          "_mixer",           Core::kAudioMixer,        20, kPaths,  0, true,  false},
  {ModuleId::kAudioDelay,       "in_aud_#",          "_audio_delay",     Core::kAudioDelay,        28, kPaths,  0, true,  false},
  {ModuleId::kAudioDelaySrc,    "in_aud_#",          "_audio_delay_src", Core::kAudioDelaySrc,     32, kPaths,  0, true,  true},
  {ModuleId::kOutputClkGen,     "out_aud",           "_clk_gen",         Core::kAudioOutputClkGen, 36,      1,  0, false, true},
  {ModuleId::kMainMixer,        "out_aud",           "_mixer",           Core::kAudioMixer,        37,      1,  4, false, false},
  {ModuleId::kMadiRx,           "out_aud",           "_madi_rx",         Core::kMadiRx,            38,      1,  0, false, false},
  {ModuleId::kMadiTx,           "out_aud",           "_madi_tx",         Core::kMadiTx,            38,      1,  0, false, false},
  {ModuleId::kDante,            "out_aud",           "_dante",           Core::kDanteCoreInterface, 40,     1,  0, false, false},
  {ModuleId::kAesRx,            "out_aud",           "_aes_rx",          Core::kAesRx,             41,      1,  0, false, true},
  {ModuleId::kAesTx,            "out_aud",           "_aes_tx",          Core::kAesTx,             42,      1,  0, false, false},
  {ModuleId::kInputPeakMeters,  "in_aud_#",          "_peak_meters",     Core::kAudioPeakMeter,    43, kPaths,  0, true,  true},
  {ModuleId::kOutputPeakMeters, "out_aud",           "_peak_meters",     Core::kAudioPeakMeter,    47,      1,  4, false, true},
  {ModuleId::kFramesync,        "framesync#",        "",                 Core::kFramesync,         48, kPaths,  0, true,  false},
  {ModuleId::kEmbedder,         "emb_#",             "",                 Core::kAudioEmbedder,     52, kPaths,  0, true,  true},
  {ModuleId::kRefDetect,        "ref_detect",        "",                 Core::kRefDetect,         56,      1,  0, false, false},
}};
// clang-format on

constexpr const ModuleRow& RowOf(ModuleId id) {
  return kRows[static_cast<std::size_t>(id)];
}

/// One module.
struct Module {
  FieldName name;  ///< as the console lists it
  Core core;
  std::uint32_t slot;   ///< and number of its interrupt line, where it has one
  std::uint32_t index;  ///< that its driver is given
  bool hasIrq;

  std::string Name() const { return std::string(std::string_view(name)); }
  /// Byte offset of its registers from the start of the window.
  constexpr std::uint32_t Base() const { return slot * kSlotBytes; }
};

/// The module of a path, 0 for those that exist once.
constexpr Module ModuleOf(ModuleId id, std::uint32_t path = 0) {
  const ModuleRow& row = RowOf(id);
  std::array<char, kMaxFieldName> pattern{};
  auto end = std::copy(row.owner.begin(), row.owner.end(), pattern.begin());
  end = std::copy(row.suffix.begin(), row.suffix.end(), end);
  return {NumberedName({pattern.begin(), end}, path), row.core, row.slot + path,
          row.firstIndex + (row.indexIsPath ? path : 0), row.hasIrq};
}

/// The modules that an owner's driver builds, below its own name and slots of its own size.
class OwnedModules {
 public:
  OwnedModules(std::string owner, std::uint32_t slotBytes, std::uint32_t path = 0)
      : owner_(std::move(owner)), slotBytes_(slotBytes), path_(path) {}

  std::string Name(ModuleId id) const { return owner_ + std::string(RowOf(id).suffix); }
  std::uint32_t Base(ModuleId id) const { return ModuleOf(id, path_).slot * slotBytes_; }
  std::uint32_t Index(ModuleId id) const { return ModuleOf(id, path_).index; }
  std::uint32_t Irq(ModuleId id) const { return ModuleOf(id, path_).slot; }

 private:
  std::string owner_;
  std::uint32_t slotBytes_;
  std::uint32_t path_;
};

/// All of them, in the order of the table.
inline constexpr auto kModules = [] {
  constexpr std::size_t kCount = [] {
    std::size_t count = 0;
    for (const ModuleRow& row : kRows) {
      count += row.count;
    }
    return count;
  }();
  std::array<Module, kCount> modules{};
  auto next = modules.begin();
  for (const ModuleRow& row : kRows) {
    for (std::uint32_t path = 0; path < row.count; ++path) {
      *next++ = ModuleOf(row.id, path);
    }
  }
  return modules;
}();
static_assert(kModules.size() == 53);
static_assert(
    [] {
      for (std::size_t i = 0; i < kRows.size(); ++i) {
        if (kRows[i].id != static_cast<ModuleId>(i)) {
          return false;
        }
      }
      return true;
    }(),
    "RowOf takes a row's place for its id");

}  // namespace module_map
