#pragma once

#include <cstdint>
#include <string>

#include "video/VideoStandard.h"

/// The vocabulary of video: look-ups in the table of standards, and what describes a signal's
/// picture beside its standard.
///
/// Thread-safe: everything here works on constant data.

enum class VideoRange : std::uint32_t {
  kLegal = 0,
  kFull = 1,
  kExpanded = 2,
};

enum class VideoTransfer : std::uint32_t {
  kSdr = 0,
  kPq = 1,
  kHlg = 2,
  kSlog3 = 3,
  kHdrGamma = 4,
};

enum class VideoSampling : std::uint32_t {
  kYCbCr422 = 0,
  kYCbCr444 = 1,
  kYCbCr420 = 2,
  kRgb444 = 3,
};

enum class VideoColorimetry : std::uint32_t {
  kBt601 = 0,
  kBt709 = 1,
  kBt2020 = 2,
  kBt2020ICtCp = 3,
};

/// What a receiver sees. The fields are plain numbers, since any number may be carried.
struct VideoFormat {
  std::uint32_t standardId = 0;   ///< id of the standard; 0 is "Unknown"
  std::uint32_t sampling = 0;     ///< a VideoSampling
  std::uint32_t colorimetry = 1;  ///< a VideoColorimetry
  std::uint32_t range = 0;        ///< a VideoRange
  std::uint32_t transfer = 0;     ///< a VideoTransfer
  std::uint32_t carriedA = 1;     ///< carried to the listeners unchanged
  std::uint32_t carriedB = 0;     ///< carried to the listeners unchanged

  friend bool operator==(const VideoFormat&, const VideoFormat&) = default;
};

/// The row with this id; the row "Unknown" (id 0) for any id that is not in the table. Never fails.
const VideoStandard& GetVideoStandard(int id);

/// True if a row of the table other than "Unknown" has this id. Every other id means what id 0
/// means: no standard.
bool IsKnownStandard(int id);

/// Finds the standard that matches measured times, all in 27 MHz ticks. A second field period of 0
/// means a progressive signal, whose frame time is `framePeriod`; otherwise the signal counts as
/// interlaced and its frame time is the sum of both field periods. A standard matches if its line
/// period is at most 50 and its frame time at most 1000 ticks off; the nearest frame time wins, and
/// of equally near ones the lowest id. Gives 0 if none matches.
int DetectVideoStandard(float linePeriod, float field1Period, float field2Period,
                        float framePeriod);

/// The standard of two data streams that carries one link image of a wide standard: the 1920 wide
/// HD or 3G level A row of the same rate. A standard of one or two streams gives its own id. Logs
/// at Error and gives 0 if there is none.
int GetTwoStreamEquivalent(int id);

/// Text of an SdiRate; "UNKNOWN" for any other number.
const char* GetBitRateName(std::uint32_t rate);
/// Text of a VideoRange; any other number gives "Legal Range".
std::string GetRangeName(std::uint32_t range);
/// Text of a VideoTransfer; any other number gives "SDR".
std::string GetTransferName(std::uint32_t transfer);
/// Text of a VideoSampling; any other number gives "YCbCr 4:2:2".
std::string GetSamplingName(std::uint32_t sampling);
/// Text of a VideoColorimetry; any other number gives "BT.709".
std::string GetColorimetryName(std::uint32_t colorimetry);

/// Standard and colorimetry in words, as "1920x1080i 50 BT.709".
/// `withLink` takes the standard's name with its link number, `withSampling` and `withTransfer`
/// append these texts.
std::string GetFormatDescription(const VideoFormat& format, bool withLink, bool withSampling,
                                 bool withTransfer);
