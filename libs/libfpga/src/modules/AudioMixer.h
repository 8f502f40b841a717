#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "audio/AudioMixerRoute.h"
#include "map/AudioMixerRegs.h"
#include "regaccess/CoreDriver.h"

/// A linear gain as the mixer's coefficients hold it: 24 bits, two's complement, 16 fraction bits,
/// truncated towards 0. A gain of 128 and more, of either sign, loses its upper bits.
std::uint32_t ToCoeffGain(float gain);

/// The mixer core: each output channel is the sum of up to 16 source channels, each with a gain of
/// its own. Sources and outputs are counted in links of 16 channels.
///
/// The core's coefficient memory has two sides, one in use by the audio while the other is filled;
/// a swap lets a whole change of routing take effect at once. BuildRoute fills a working copy,
/// ProgramCoeffs hands that to a thread of the driver, and the thread writes it to the core: many
/// thousands of register accesses that no caller waits for. A reset doesn't program the core again.
///
/// Threads: the operations belong to the one thread that drives the audio graph. The coefficient
/// thread touches the programming copy and the core's registers, nothing else. Lock order: this
/// mixer's mutex before the one of its BitfieldManager.
class AudioMixer : public CoreDriver<AudioMixer, audio_mixer_regs::kFields> {
 public:
  /// Leaves the core untouched. `mixerIndex` is for messages.
  AudioMixer(const std::string& name, std::uint32_t baseAddress, std::uint64_t mixerIndex);
  /// Ends the coefficient thread, if there is one, and waits until it has ended, with a line at
  /// Info before and after. How long that takes depends on what the thread is doing:
  /// - nothing: it ends at once;
  /// - writing to the core: it completes that programming, its swap's request included;
  /// - waiting for a swap, at which it looks every 10 ms: it looks once more at most. If the swap
  ///   is still pending it ends, and what was due never reaches the core; if not, it first
  ///   completes the programming that was due.
  ~AudioMixer() override;

  /// Tells the thread to end as the destructor does, without waiting for its end: the owner of
  /// several mixers tells all of them before it destroys the first, so that their waits don't add
  /// up. It does wait while a programming runs.
  void RequestStop();

  /// Reads what the core is, with a line at Info, resets it and starts the thread. All coefficients
  /// are silence. Once only: later calls log a Warning and change nothing.
  void Initialize();

  /// Puts the coefficients of the route's output channel into the working copy. Gives 0; or -1,
  /// with a line at Error and the channel as it was: without a route, before Initialize, for an
  /// output or a source on a link that the core doesn't have, for an output channel above 15, and
  /// for a source of which the route can't tell link, channel or gain.
  int BuildRoute(const std::shared_ptr<AudioMixerRoute>& route);
  /// Hands the working copy to the thread, which writes it to the core as soon as the last swap is
  /// done. Calls until then collapse into one programming. Waits while a programming runs. Before
  /// Initialize it logs at Error and does nothing.
  void ProgramCoeffs();

  /// Replaces `report` by a list of the sources of every output channel, as the working copy has
  /// them, and sets `*more` to 0. The two numbers are not used.
  void DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more);

  /// Number of links of the core, 0 to 255; 0 before Initialize.
  std::uint32_t GetNumLinks() const { return numLinks_; }

 private:
  void _ProgramCoeffsThread();
  bool _AwaitSwap();
  void _WriteCoeffs(const LogOrigin& thread);

  // Constant once the thread runs.
  std::uint32_t numLinks_ = 0;
  bool initialized_ = false;
  bool large_ = false;

  std::vector<std::uint64_t> coeffs_;  // the working copy; belongs to the caller's thread

  std::mutex mutex_;                       // guards programmed_ and due_, and orders stop_
  std::condition_variable wakeUp_;         // notified when due_ or stop_ becomes true
  bool due_ = false;                       // programmed_ has not been written to the core yet
  std::vector<std::uint64_t> programmed_;  // what the thread writes to the core
  std::atomic<bool> stop_{false};  // set under the mutex; read without it while a swap is pending
  std::thread thread_;             // started by Initialize, joined by the destructor
};
