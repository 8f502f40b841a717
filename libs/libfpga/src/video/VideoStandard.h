#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The record of one video format as it travels on SDI: its raster, its timing, its rate on the
/// wire, how it is spread over links, and the codes that the FPGA cores use for it.
///
/// A format travels between drivers as the id of its row in the table (VideoStandardTable.h), and
/// 0 stands for no known format. Rows never change, so that every thread may read them.

/// Rate of one link on the wire: SMPTE ST 259, ST 292-1, ST 425-1 (levels A and B), ST 2081-10,
/// ST 2082-10.
enum class SdiRate : std::uint32_t {
  k270M = 0,
  k1500M = 1,
  k3GLevelA = 2,
  k3GLevelB = 3,
  k6G = 4,
  k12G = 5,
};

enum class ScanType : std::uint32_t {
  kProgressive = 0,
  kInterlaced = 1,
  kSegmentedFrame = 2,
};

/// Frames per second, not fields: "525i 59.94" has k29_97.
enum class FrameRate : std::uint32_t {
  k23_98 = 0,
  k24 = 1,
  k25 = 2,
  k29_97 = 3,
  k30 = 4,
  k50 = 5,
  k59_94 = 6,
  k60 = 7,
};

/// How a picture larger than 1080 lines is cut into link images.
enum class PictureDivision : std::uint32_t {
  kNone = 0,
  kTwoSampleInterleave = 1,
  kSquareDivision = 2,
};

enum class LinkMode : std::uint32_t {
  kSingle = 0,
  kDual = 1,
  kQuad = 2,
};

/// A string literal: a view that serves "%s" as well, and that costs nothing to copy. It can be
/// made from nothing but a literal.
class LiteralText : public std::string_view {
 public:
  consteval LiteralText(const char* literal) : std::string_view(literal) {}  // NOLINT: a text

  constexpr const char* c_str() const { return data(); }     // a literal ends in a zero
  operator std::string() const { return {data(), size()}; }  // NOLINT: a text
};

/// One row of the table of standards. The names of rows are not unique.
///
/// Line and sample numbers count as SMPTE raster documents number them, lines from 1.
class VideoStandard {
 public:
  /// Stores what is given, without any check: the fields in their order, but `linePeriod` and
  /// `activeOffset` last.
  constexpr VideoStandard(
      LiteralText name_, LiteralText shortName_, SdiRate sdiRate_, ScanType scanType_,
      std::uint8_t fractional_, std::uint8_t segmentedOrFilm_, std::uint16_t activeSamples_,
      std::uint16_t totalSamples_, std::uint16_t totalLines_, std::uint16_t field1FirstLine_,
      std::uint16_t field1Lines_, std::uint16_t field2FirstLine_, std::uint16_t field2Lines_,
      std::uint16_t fieldMarkLine1_, std::uint16_t fieldMarkLine2_, FrameRate frameRate_,
      std::uint8_t fieldCode_, std::uint16_t refLine_, std::uint16_t refSample_,
      std::uint16_t switchLine1_, std::uint16_t switchLine2_, std::uint16_t auxLines_,
      std::uint8_t dataStreams_, std::uint8_t framesyncVideoType_, std::uint8_t sdiRxVideoType_,
      PictureDivision division_, LinkMode linkMode_, std::uint8_t linkNumber_,
      std::uint32_t payloadId_, std::uint16_t payloadLine1_, std::uint16_t payloadLine2_,
      float linePeriod_, float activeOffset_)
      : name(name_),
        shortName(shortName_),
        sdiRate(sdiRate_),
        scanType(scanType_),
        fractional(fractional_),
        segmentedOrFilm(segmentedOrFilm_),
        activeSamples(activeSamples_),
        totalSamples(totalSamples_),
        totalLines(totalLines_),
        field1FirstLine(field1FirstLine_),
        field1Lines(field1Lines_),
        field2FirstLine(field2FirstLine_),
        field2Lines(field2Lines_),
        fieldMarkLine1(fieldMarkLine1_),
        fieldMarkLine2(fieldMarkLine2_),
        frameRate(frameRate_),
        fieldCode(fieldCode_),
        refLine(refLine_),
        refSample(refSample_),
        switchLine1(switchLine1_),
        switchLine2(switchLine2_),
        auxLines(auxLines_),
        linePeriod(linePeriod_),
        activeOffset(activeOffset_),
        dataStreams(dataStreams_),
        framesyncVideoType(framesyncVideoType_),
        sdiRxVideoType(sdiRxVideoType_),
        division(division_),
        linkMode(linkMode_),
        linkNumber(linkNumber_),
        payloadId(payloadId_),
        payloadLine1(payloadLine1_),
        payloadLine2(payloadLine2_) {}
  constexpr VideoStandard(const VideoStandard&) = default;
  constexpr VideoStandard& operator=(const VideoStandard&) = default;
  constexpr virtual ~VideoStandard() = default;

  /// Height of the whole picture in lines. The arithmetic stays in 16 bits.
  constexpr unsigned GetFrameHeight() const {
    unsigned factor = 2;
    if (scanType == ScanType::kProgressive) {
      factor = sdiRate < SdiRate::k6G && linkMode == LinkMode::kSingle ? 1 : 2;
    } else if ((scanType == ScanType::kInterlaced || scanType == ScanType::kSegmentedFrame) &&
               linkMode != LinkMode::kSingle) {
      factor = 4;
    }
    return static_cast<std::uint16_t>(field1Lines * factor);
  }

  /// Width of the whole picture in samples.
  constexpr unsigned GetFrameWidth() const {
    const bool wide =
        sdiRate == SdiRate::k6G || sdiRate == SdiRate::k12G || linkMode != LinkMode::kSingle;
    return activeSamples * (wide ? 2U : 1U);
  }

  /// Number of data streams over all links: 1, 2 or 8 for the rows of the table.
  constexpr unsigned GetNumStreams() const {
    unsigned perLink = 2;
    if (sdiRate == SdiRate::k270M) {
      perLink = 1;
    } else if (sdiRate == SdiRate::k6G || sdiRate == SdiRate::k12G) {
      perLink = 8;
    }
    const unsigned links = linkMode == LinkMode::kQuad ? 4 : (linkMode == LinkMode::kDual ? 2 : 1);
    return perLink * links;
  }

  /// Frames per second, as the decimal number: 23.98, not 24000/1001.
  constexpr float GetFrameRate() const { return kRates[_RateRow()].framesPerSecond; }
  /// Frames per second without the fraction: 23 for 23.98.
  constexpr int GetFrameRateInteger() const { return kRates[_RateRow()].wholeFramesPerSecond; }
  /// Duration of a frame in ms: 1000 divided by that decimal number, rounded once. Not the same to
  /// the last bit as 1000 / GetFrameRate().
  constexpr float GetFramePeriodMs() const { return kRates[_RateRow()].periodMs; }

  /// The line at which a Dolby E burst should lie.
  constexpr unsigned GetAuxLines() const { return auxLines; }

  /// For use on a copy.
  constexpr void SetLinkNumber(std::uint8_t number) { linkNumber = number; }

  /// "NAME" in single-link mode, otherwise "NAME Link N".
  std::string GetLinkName() const {
    std::string text = name;
    if (linkMode != LinkMode::kSingle) {
      text.append(" Link ").append(std::to_string(linkNumber));
    }
    return text;
  }

  LiteralText name;                 ///< as "525i 59.94" or "3840x2160p 60 QL A 2SI"
  LiteralText shortName;            ///< as "5i59" or "2p60A"
  SdiRate sdiRate;                  ///< of one link
  ScanType scanType;                ///< progressive, interlaced or segmented frame
  std::uint8_t fractional;          ///< 1 for the rates with the factor 1000/1001
  std::uint8_t segmentedOrFilm;     ///< 1 for 23.98 and 24 frames and for every segmented frame
  std::uint16_t activeSamples;      ///< active samples per line of one link image
  std::uint16_t totalSamples;       ///< samples per line
  std::uint16_t totalLines;         ///< lines per frame
  std::uint16_t field1FirstLine;    ///< first active line of the first field, or of the frame
  std::uint16_t field1Lines;        ///< active lines of the first field, or of the frame
  std::uint16_t field2FirstLine;    ///< first active line of the second field; 0 if progressive
  std::uint16_t field2Lines;        ///< active lines of the second field; 0 if progressive
  std::uint16_t fieldMarkLine1;     ///< line that marks the first field, or the end of the frame
  std::uint16_t fieldMarkLine2;     ///< line that marks the second field; 0 if progressive
  FrameRate frameRate;              ///< frames, not fields
  std::uint8_t fieldCode;           ///< 3 interlaced or segmented, 0 progressive, 1 unknown
  std::uint16_t refLine;            ///< line of the format's reference point
  std::uint16_t refSample;          ///< sample of the reference point on that line
  std::uint16_t switchLine1;        ///< switching line of the first field or frame (SMPTE RP 168)
  std::uint16_t switchLine2;        ///< the same of the second field; progressive: as switchLine1
  std::uint16_t auxLines;           ///< the line at which a Dolby E burst should lie
  float linePeriod;                 ///< duration of a line in 27 MHz ticks
  float activeOffset;               ///< samples from the start of a line to its first active one
  std::uint8_t dataStreams;         ///< on one link: 1, 2 or 8
  std::uint8_t framesyncVideoType;  ///< 5-bit code of a frame synchroniser for the link image
  std::uint8_t sdiRxVideoType;      ///< 5-bit code of an SDI receiver
  PictureDivision division;         ///< how the picture is cut into link images
  LinkMode linkMode;                ///< single or quad link
  std::uint8_t linkNumber;          ///< which link of the group, from 1
  std::uint32_t payloadId;          ///< SMPTE ST 352: byte 1 in bits 7..0, byte 4 in bits 31..24
  std::uint16_t payloadLine1;       ///< line of the ST 352 packet in the first field or frame
  std::uint16_t payloadLine2;       ///< the same in the second field; 0 if there is none

 private:
  struct Rate {
    float framesPerSecond;
    int wholeFramesPerSecond;
    float periodMs;
  };
  // By FrameRate.
  static constexpr std::array<Rate, 8> kRates{{
      {23.98F, 23, 41.701416F},
      {24.0F, 24, 41.666668F},
      {25.0F, 25, 40.0F},
      {29.97F, 29, 33.3667F},
      {30.0F, 30, 33.333332F},
      {50.0F, 50, 20.0F},
      {59.94F, 59, 16.68335F},
      {60.0F, 60, 16.666666F},
  }};

  // Everything above the last rate counts as 60.
  constexpr std::size_t _RateRow() const {
    const auto row = static_cast<std::size_t>(frameRate);
    return row < kRates.size() ? row : kRates.size() - 1;
  }
};
