#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "regaccess/BitfieldManager.h"

/// One logical matrix of video sources and destinations, which may be made of several physical
/// crosspoints with output ports of their own.
///
/// Results are 0, or -1 after one line at Error or Warning that says why, with no register written
/// and no route or output changed; where an operation can fail otherwise, it says so. A write that
/// the register access refuses is in the log alone. Routes belong to one thread at a time.
class VideoCrosspoint {
 public:
  virtual ~VideoCrosspoint() = default;

  /// Gives the source of a destination, as last set.
  virtual int GetRoute(std::size_t& src, std::size_t dest) = 0;
  /// Routes `src` to `dest` and writes the output port's word, also when the route stood already,
  /// with a line at Info. A disabled destination stays disabled. `quiet` leaves the line about a
  /// changed route out of the log.
  ///
  /// In a matrix of several physical crosspoints it then tells the stall network, which knows
  /// sources 0 to 31: for a source above that it fails with the route set and written.
  virtual int SetRoute(std::size_t src, std::size_t dest, bool quiet) = 0;
  /// Writes the control word 0x20000000.
  virtual void WriteControlWord() = 0;
  /// Disables or enables a destination's output. `quiet` has no effect.
  virtual int SetOutputDisable(std::size_t dest, bool disable, bool quiet) = 0;
  /// Number of logical sources; sources count from 0.
  virtual std::size_t GetNumSrc() = 0;
  /// Number of logical destinations; they count from 0, too.
  virtual std::size_t GetNumDest() = 0;
};

/// The driver. It writes whole words and has no named fields. Routes and disabled outputs are a
/// software image: every destination starts at source 0 and disabled, and nothing reaches the
/// hardware before the first SetRoute or SetOutputDisable. A destination therefore comes alive in
/// two steps, SetRoute and then SetOutputDisable(dest, false, ...).
class VideoCrosspointImpl : public VideoCrosspoint, public BitfieldManager {
 public:
  /// A matrix of one physical crosspoint, whose words start `base` bytes into the register window.
  /// The last two numbers have no effect.
  VideoCrosspointImpl(const std::string& name, std::uint32_t base, std::size_t numSrc,
                      std::size_t numDest, std::size_t firstUnused, std::size_t secondUnused);
  /// A matrix of `numXpts` physical crosspoints, whose register blocks lie `xptStride` bytes apart
  /// after the stall words, with `outputsPerXpt` output ports each.
  VideoCrosspointImpl(const std::string& name, std::uint32_t base, std::uint32_t xptStride,
                      std::size_t numSrc, std::size_t numDest, std::size_t numXpts,
                      const std::vector<std::size_t>& outputsPerXpt, std::size_t firstUnused,
                      std::size_t secondUnused);

  int GetRoute(std::size_t& src, std::size_t dest) override;
  int SetRoute(std::size_t src, std::size_t dest, bool quiet) override;
  void WriteControlWord() override;
  int SetOutputDisable(std::size_t dest, bool disable, bool quiet) override;
  std::size_t GetNumSrc() override;
  std::size_t GetNumDest() override;

  /// The module's name.
  std::string GetName() const;
  /// Gives whether a destination is disabled, as last set.
  int GetOutputDisable(std::size_t dest, bool& disabled) const;
  /// Gives the physical crosspoint and its output port behind a destination; -1 without a log line
  /// if there is none, with both as they were.
  int FindXpt(std::size_t dest, std::size_t& xpt, std::size_t& port) const;
  /// SetRoute at a physical crosspoint and an output port that the caller names, without the stall
  /// network. The line at Info comes also in front of a failure's. The port of a matrix of one
  /// physical crosspoint isn't checked.
  int SetRouteSingle(std::size_t src, std::size_t dest, std::size_t xpt, std::size_t port,
                     bool quiet);
  /// SetOutputDisable at a physical crosspoint and an output port that the caller names, which
  /// isn't checked in a matrix of one physical crosspoint.
  int SetOutputDisableSingle(std::size_t dest, std::size_t xpt, std::size_t port, bool disable,
                             bool quiet);
  /// Tells the stall network which physical crosspoint (0 to 3) drives a source (0 to 31).
  int SetStallRouting(std::size_t src, std::size_t xpt);
  /// Writes `value` with the command bit 30 to the word at `offset` bytes. Gives 0, also for an
  /// address outside the register window, which the register access refuses.
  int WriteOutputCommand(std::uint32_t value, std::uint64_t offset);

 private:
  std::uint32_t _AddressOf(std::uint64_t offset) const;
  std::uint32_t _PortAddress(std::size_t xpt, std::size_t port) const;
  void _WritePort(std::size_t dest, std::size_t xpt, std::size_t port);
  bool _HasXpt(const LogOrigin& operation, std::size_t xpt) const;
  bool _HasPort(const LogOrigin& operation, std::size_t xpt, std::size_t port) const;
  bool _HasDest(std::size_t dest) const { return dest < numDest_; }

  const std::string name_;
  const std::uint32_t base_;
  const std::uint32_t xptStride_;
  const std::size_t numSrc_;
  const std::size_t numDest_;
  const std::size_t numXpts_;
  const std::vector<std::size_t> outputsPerXpt_;
  std::vector<std::size_t> routes_;  // source of each destination
  std::vector<bool> disabled_;       // of each destination
};
