#include <cstdio>
#include <vector>

#include "audio/AudioPathFacadeImpl.h"
#include "log/Log.h"
#include "map/ModuleMap.h"
#include "sim/Board.h"
#include "sim/models/AudioDeembedderModel.h"
#include "sim/models/AudioMixerModel.h"
#include "support/Ratio.h"

// What a change of an input costs in the audio path: on the simulated board, whose own accesses are
// measured in the same run and told apart.
namespace {

constexpr std::uint32_t kStandard = 41;  // 1920x1080p 60

struct Accesses {
  std::uint64_t loads;
  std::uint64_t stores;
};

Accesses CountNow() {
  const sim::RegisterFile& registers = sim::Board::Get().registers;
  return {registers.LoadCount(), registers.StoreCount()};
}

// Nanoseconds of one field's write, that is of a load and a store.
double WriteNs(AesTx& core) {
  return bench::Compare([&core] { core.WriteBitfield("perChannelNonPcm", 0); }, [] {}, 1000).workNs;
}

// All outputs of the main mixer carry input 0.
void RouteInput0(AudioPathFacadeImpl& audio) {
  audio.GetMixer(1)->UpdateSourceControl(0, 0, {});
  audio.GetMixer(0)->UpdateSourceControl(0, 0, {});
}

void ReportWalk(AudioPathFacadeImpl& audio, double accessNs) {
  sim::Board& board = sim::Board::Get();
  AudioDeembedderDriverControl& deembedder =
      audio.GetInputAudioPathFacadeAtIndex(0)->GetDeembedder();
  constexpr int kWalks = 200;
  double fastestNs = 1e18;
  std::uint64_t stores = 0;
  std::uint64_t loads = 0;
  for (int walk = 0; walk < kWalks; ++walk) {
    board.Core<sim::AudioDeembedderModel>("in_aud_0_deemb")
        .Plug(3, walk % 2 == 0 ? sim::AudioPair{.burstType = 28, .line = 11} : sim::AudioPair{});
    const Accesses before = CountNow();
    const auto start = std::chrono::steady_clock::now();
    deembedder.UpdatePairTypes();
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    const Accesses after = CountNow();
    loads = after.loads - before.loads;
    stores = after.stores - before.stores;
    fastestNs = std::min(fastestNs, taken.count());
  }
  const double ownNs = static_cast<double>(loads + stores) * accessNs;
  std::printf("a pair's change of type: %llu loads, %llu stores, %.1f us, %.1f us of it accesses\n",
              static_cast<unsigned long long>(loads), static_cast<unsigned long long>(stores),
              fastestNs / 1000, ownNs / 1000);
  bench::Report("a pair's change of type apart from its accesses", (fastestNs - ownNs) / 1000, "us",
                100);
}

void ReportQuietUpdate(AudioPathFacadeImpl& audio) {
  sim::Board& board = sim::Board::Get();
  AudioDeembedderDriverControl& deembedder =
      audio.GetInputAudioPathFacadeAtIndex(0)->GetDeembedder();
  board.registers.StartTrace();
  deembedder.UpdatePairTypes();
  std::vector<sim::RegisterAccess> trace = board.registers.TakeTrace();
  std::erase_if(trace, [](const sim::RegisterAccess& access) {
    return access.address / module_map::kSlotBytes != address_map::kDeembedder;  // a thread's poll
  });
  const bench::Comparison quiet = bench::Compare([&] { deembedder.UpdatePairTypes(); },
                                                 [&] {
                                                   for (const sim::RegisterAccess& access : trace) {
                                                     (void)deembedder.RawRead(access.address);
                                                   }
                                                 },
                                                 1000);
  std::printf("a quiet UpdatePairTypes: %zu accesses\n", trace.size());
  bench::Report("a quiet UpdatePairTypes beside its loads", quiet.Ratio(), "x", 1.5);
}

void ReportStandardChange(AudioPathFacadeImpl& audio) {
  InputAudioPathFacade& input = *audio.GetInputAudioPathFacadeAtIndex(0);
  std::uint32_t standard = 0;
  const double change = bench::Compare(
                            [&] {
                              standard = standard == kStandard ? 18 : kStandard;
                              input.HandleInputVideoTypeChange(0, standard);
                            },
                            [] {}, 10)
                            .workNs;
  bench::Report("HandleInputVideoTypeChange", change / 1e6, "ms", 1);
}

}  // namespace

int main() {
  sim::Board& board = sim::Board::CreateInMemory();
  SetLogLevel(kLogError);
  AudioPathFacadeImpl audio("out_aud", address_map::BaseOf(address_map::kAudioPath), 0,
                            module_map::kSlotBytes, address_map::kAudioPath);
  audio.Initialize();
  audio.GetInputAudioPathFacadeAtIndex(0)->GetDelay()._InitializeDramAndCsr(0, 0x1000000);
  audio.GetInputAudioPathFacadeAtIndex(0)->HandleInputVideoTypeChange(0, kStandard);
  RouteInput0(audio);
  // A swap that stays pending keeps the coefficient threads waiting, so that they neither hold the
  // mixers' locks nor add accesses of their own.
  (void)board.Core<sim::AudioMixerModel>("out_aud_mixer").AwaitToggles(1);
  (void)board.Core<sim::AudioMixerModel>("in_aud_0_mixer").AwaitToggles(1);
  board.Core<sim::AudioMixerModel>("out_aud_mixer").HoldSwap(true);
  board.Core<sim::AudioMixerModel>("in_aud_0_mixer").HoldSwap(true);
  audio.GetMixer(0)->ProgramCoeffs();
  audio.GetMixer(1)->ProgramCoeffs();
  (void)board.Core<sim::AudioMixerModel>("out_aud_mixer").AwaitToggles(2);
  (void)board.Core<sim::AudioMixerModel>("in_aud_0_mixer").AwaitToggles(2);

  AesTx probe("probe", address_map::BaseOf(address_map::kAesTx), 0);
  const double accessNs = WriteNs(probe) / 2;
  ReportWalk(audio, accessNs);
  ReportQuietUpdate(audio);
  ReportStandardChange(audio);
  return 0;
}
