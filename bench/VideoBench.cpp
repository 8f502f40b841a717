#include <benchmark/benchmark.h>

#include "log/Log.h"
#include "modules/SdiRx.h"
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

// The field accesses of an update with a locked 1080p 59.94 receiver, without the decision.
void BareUpdate(SdiRxImpl& receiver) {
  for (const char* field :
       {"rxLocked", "tdLocked", "st352Valid", "st352Packet", "tdFormat", "tdRate", "tdProgressive",
        "fractionalRate", "activeStreams", "sdiMode", "rxLocked", "tdLocked"}) {
    benchmark::DoNotOptimize(static_cast<BitfieldManager&>(receiver).ReadBitfield(field));
  }
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
  bench::Report("a receiver's decision / its register accesses", update.Ratio(), "x", 1.3);
}

}  // namespace

int main() {
  ReportLookUps();
  ReportDecision();
  return 0;
}
