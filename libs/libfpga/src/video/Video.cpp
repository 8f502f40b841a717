#include "video/Video.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "log/Log.h"
#include "video/VideoStandardTable.h"

namespace {

constexpr unsigned kWideHeight = 2160;  // lines

// 1920 wide standards of two streams, by FrameRate.
struct TwoStreamIds {
  int segmentedFrame;
  int otherwise;
};
constexpr std::array<TwoStreamIds, 8> kTwoStreamIds{{
    {34, 18},
    {35, 19},
    {36, 20},
    {37, 24},
    {38, 25},
    {39, 39},
    {40, 40},
    {41, 41},
}};

constexpr float kMaxLinePeriodError = 50.0F;   // 27 MHz ticks
constexpr float kMaxFrameTimeError = 1000.0F;  // 27 MHz ticks

// Duration of a frame in 27 MHz ticks.
float FrameTime(const VideoStandard& standard) {
  return standard.linePeriod * static_cast<float>(standard.totalLines);
}

}  // namespace

const VideoStandard& GetVideoStandard(int id) {
  return FindVideoStandard(id);
}

bool IsKnownStandard(int id) {
  return &FindVideoStandard(id) != &FindVideoStandard(0);
}

int DetectVideoStandard(float linePeriod, float field1Period, float field2Period,
                        float framePeriod) {
  const bool progressive = field2Period == 0.0F;
  const float frameTime = progressive ? framePeriod : field1Period + field2Period;
  const VideoStandardRow* best = kVideoStandards.data();
  float bestError = std::numeric_limits<float>::max();
  for (const VideoStandardRow& row : kVideoStandards) {
    const bool near = std::fabs(row.standard.linePeriod - linePeriod) <= kMaxLinePeriodError;
    if (!near || (row.standard.scanType == ScanType::kProgressive) != progressive) {
      continue;
    }
    // Whole ticks: rows that are less than a tick apart count as equally near.
    const float error = std::fabs(std::trunc(frameTime - FrameTime(row.standard)));
    if (error < bestError) {
      bestError = error;
      best = &row;
    }
  }
  return std::fabs(frameTime - FrameTime(best->standard)) <= kMaxFrameTimeError ? best->id : 0;
}

int GetTwoStreamEquivalent(int id) {
  const VideoStandard& standard = GetVideoStandard(id);
  if (standard.GetNumStreams() <= 2) {
    return id;
  }
  const auto rate = static_cast<std::size_t>(standard.frameRate);
  if (standard.GetFrameHeight() != kWideHeight || rate >= kTwoStreamIds.size()) {
    LOG_ERROR("Unable to determine two-stream equiv for %s", standard.name.c_str());
    return 0;
  }
  const TwoStreamIds& ids = kTwoStreamIds[rate];
  return standard.scanType == ScanType::kSegmentedFrame ? ids.segmentedFrame : ids.otherwise;
}

const char* GetBitRateName(std::uint32_t rate) {
  switch (SdiRate{rate}) {
    case SdiRate::k270M:
      return "270 Mbps";
    case SdiRate::k1500M:
      return "1.5 Gbps";
    case SdiRate::k3GLevelA:
      return "3.0 Gbps Level A";
    case SdiRate::k3GLevelB:
      return "3.0 Gbps Level B";
    case SdiRate::k6G:
      return "6.0 Gbps";
    case SdiRate::k12G:
      return "12.0 Gbps";
  }
  return "UNKNOWN";
}

std::string GetRangeName(std::uint32_t range) {
  switch (VideoRange{range}) {
    case VideoRange::kFull:
      return "Full Range";
    case VideoRange::kExpanded:
      return "Expanded Range";
    case VideoRange::kLegal:
      break;
  }
  return "Legal Range";
}

std::string GetTransferName(std::uint32_t transfer) {
  switch (VideoTransfer{transfer}) {
    case VideoTransfer::kPq:
      return "PQ";
    case VideoTransfer::kHlg:
      return "HLG";
    case VideoTransfer::kSlog3:
      return "SLOG3";
    case VideoTransfer::kHdrGamma:
      return "HDR Gamma";
    case VideoTransfer::kSdr:
      break;
  }
  return "SDR";
}

std::string GetSamplingName(std::uint32_t sampling) {
  switch (VideoSampling{sampling}) {
    case VideoSampling::kYCbCr444:
      return "YCbCr 4:4:4";
    case VideoSampling::kYCbCr420:
      return "YCbCr 4:2:0";
    case VideoSampling::kRgb444:
      return "RGB 4:4:4";
    case VideoSampling::kYCbCr422:
      break;
  }
  return "YCbCr 4:2:2";
}

std::string GetColorimetryName(std::uint32_t colorimetry) {
  switch (VideoColorimetry{colorimetry}) {
    case VideoColorimetry::kBt601:
      return "BT.601";
    case VideoColorimetry::kBt2020:
      return "BT.2020";
    case VideoColorimetry::kBt2020ICtCp:
      return "BT.2020 ICpCt";
    case VideoColorimetry::kBt709:
      break;
  }
  return "BT.709";
}

std::string GetFormatDescription(const VideoFormat& format, bool withLink, bool withSampling,
                                 bool withTransfer) {
  const VideoStandard& standard = GetVideoStandard(static_cast<int>(format.standardId));
  std::string text = withLink ? standard.GetLinkName() : std::string(standard.name);
  text.append(" ").append(GetColorimetryName(format.colorimetry));
  if (withSampling) {
    text.append(" ").append(GetSamplingName(format.sampling));
  }
  if (withTransfer) {
    text.append(" ").append(GetTransferName(format.transfer));
  }
  return text;
}
