#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>

#include "log/Log.h"
#include "modules/SdiRx.h"
#include "platform/Clock.h"
#include "support/Ratio.h"
#include "video/Video.h"

// Look-ups and decisions on video formats, and a receiver's decision beside its register accesses.
namespace {

constexpr std::uint32_t kBase = 0x300000;
constexpr std::uint32_t kMode = kBase + 12;
constexpr std::uint32_t kStatus = kBase + 24;
constexpr std::uint32_t kPacket = kBase + 28;

void ReportLookUps() {
  int id = 0;
  const auto lookUp = bench::Compare(
      [&] {
        id = id < 200 ? id + 1 : -10;
        benchmark::DoNotOptimize(&GetVideoStandard(id));
      },
      [&] {
        id = id < 200 ? id + 1 : -10;
        benchmark::DoNotOptimize(id);
      });
  bench::Report("a look-up in the standards table", lookUp.workNs - lookUp.baseNs, "ns", 5);
  float offset = 0;
  const double detect =
      bench::Compare(
          [&] {
            offset = offset < 100 ? offset + 1 : 0;
            benchmark::DoNotOptimize(DetectVideoStandard(960, 0, 0, 1080000 + offset));
          },
          [] {}, 2000)
          .workNs;
  bench::Report("DetectVideoStandard", detect, "ns", 1000);
}

// What an update of a locked 1080p 60 receiver does around the decision: its field accesses, and
// the reading of the clock that dates the format.
void BareUpdate(SdiRxImpl& receiver) {
  const auto read = [&receiver](SdiRxImpl::FieldId field) {
    benchmark::DoNotOptimize(receiver.ReadBitfield(field));
  };
  read("rxLocked");
  read("tdLocked");
  read("st352Valid");
  read("st352Packet");
  read("tdFormat");
  read("tdRate");
  read("tdProgressive");
  read("fractionalRate");
  read("activeStreams");
  read("sdiMode");
  read("rxLocked");
  read("tdLocked");
  benchmark::DoNotOptimize(platform::SteadyTime());
  receiver.WriteBitfield("videoType", 0);
}

void ReportDecision() {
  SetLogLevel(kLogWarning);  // the decision's own Info line would be all that is measured
  SdiRxImpl receiver("sdi_rx0", kBase, 0, 3);
  // Both locks, 3G level A, two streams, 1920x1080 progressive, rate code 11, a valid packet.
  receiver.RawWrite(kStatus, 0x81U | 2U << 1 | 1U << 4 | 1U << 15 | 11U << 11 | 1U << 19);
  receiver.RawWrite(kPacket, GetVideoStandard(41).payloadId);
  receiver.RawWrite(kMode, 0);
  receiver.UpdateVideoFormat();
  const auto update =
      bench::Compare([&] { receiver.UpdateVideoFormat(); }, [&] { BareUpdate(receiver); }, 20'000);
  std::printf("format %u: update %.0f ns, its register accesses %.0f ns\n",
              receiver.GetVideoFormat().standardId, update.workNs, update.baseNs);
  bench::Report("a receiver's update with its decision / without", update.Ratio(), "x", 1.3);
}

}  // namespace

int main() {
  // The console has a second thread, and a lock in a process of one thread costs less than one that
  // other threads could take.
  std::atomic<bool> stop{false};
  std::thread second([&stop] { stop.wait(false); });
  ReportLookUps();
  ReportDecision();
  stop = true;
  stop.notify_one();
  second.join();
  return 0;
}
