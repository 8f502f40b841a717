#include "modules/SdiRxDecision.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "log/Log.h"
#include "map/SdiRxRegs.h"

namespace sdi_rx {
namespace {

// NOLINTNEXTLINE(google-build-using-namespace): every code of the map is meant
using namespace sdi_rx_regs;  // the codes
using enum VideoColorimetry;
using enum VideoTransfer;

constexpr std::uint32_t k525i = 5;
constexpr std::uint32_t k625i = 6;

// The ST 352 word's part in the choice: a psf picture in an interlaced transport, or one link of a
// quad-link picture, told by the payload byte. Such a row replaces the plain one.
enum class Told : std::uint8_t { kNothing, kPsf, kLinkOf151, kLinkOf152 };

enum class Scan : std::uint8_t { kAny, kInterlaced, kProgressive };

constexpr std::uint32_t kAnyStreams = 0xFF;

// Standard ids by frame rate, a column for each rate code; 0 where there is no standard.
constexpr std::array<std::uint32_t, 8> kRateColumns{2, 3, 5, 6, 7, 9, 10, 11};
using IdsByRate = std::array<std::uint8_t, kRateColumns.size()>;

struct Family {
  std::uint32_t raster;
  std::uint32_t streams;
  Scan scan;
  VideoColorimetry colorimetry;  // without a valid ST 352 packet
  Told told;
  IdsByRate ids;
  IdsByRate toldIds;  // of the first link
};

// clang-format off
constexpr std::array<Family, 8> kFamilies{{
  // raster          streams        scan                without  the ST 352 word's part
  //  23.98   24   25 29.97   30   50 59.94   60
  {kRaster1280x720,  kAnyStreams,   Scan::kAny,         kBt709,  Told::kNothing,
   {{     7,   8,   9,   10,  11,  12,   13,  14}},
   {}},
  {kRaster1920x1080, kTwoStreams,   Scan::kInterlaced,  kBt709,  Told::kPsf,
   {{    34,  35,  15,   16,  17,   0,    0,   0}},
   {{     0,   0,  36,   37,  38,   0,    0,   0}}},
  {kRaster1920x1080, kTwoStreams,   Scan::kProgressive, kBt709,  Told::kLinkOf151,
   {{    18,  19,  20,   24,  25,  39,   40,  41}},
   {{     0,   0,   0,    0,   0,  62,   66,  70}}},
  {kRaster1920x1080, kFourStreams,  Scan::kInterlaced,  kBt709,  Told::kLinkOf152,
   {{     0,   0,  51,   52,  53,   0,    0,   0}},
   {{     0,   0,  74,   78,  82,   0,    0,   0}}},
  {kRaster2048x1080, kTwoStreams,   Scan::kProgressive, kBt709,  Told::kLinkOf151,
   {{    21,  22,  23,    0,   0,  42,   43,  44}},
   {{     0,   0,   0,    0,   0, 141,  145, 149}}},
  {kRaster2048x1080, kFourStreams,  Scan::kInterlaced,  kBt709,  Told::kLinkOf152,
   {{     0,   0,  54,   55,  56,   0,    0,   0}},
   {{     0,   0, 153,  157, 161,   0,    0,   0}}},
  {kRaster1920x1080, kEightStreams, Scan::kAny,         kBt2020, Told::kNothing,
   {{    57,  58,  59,   60,  61, 138,  139, 140}},
   {}},
  {kRaster2048x1080, kEightStreams, Scan::kAny,         kBt2020, Told::kNothing,
   {{    57,  57,  57,   60,  61, 177,  178, 179}},
   {}},
}};
// clang-format on

const Family* FamilyOf(const Report& report) {
  const auto fits = [&report](const Family& family) {
    return family.raster == report.raster &&
           (family.streams == kAnyStreams || family.streams == report.streams) &&
           (family.scan == Scan::kAny || (family.scan == Scan::kProgressive) == report.progressive);
  };
  const auto* family = std::find_if(kFamilies.begin(), kFamilies.end(), fits);
  return family != kFamilies.end() ? family : nullptr;
}

// What the ST 352 word adds to the first id of its row, or nothing if it doesn't speak of it.
std::optional<std::uint32_t> OffsetTold(Told told, const Report& report) {
  constexpr std::uint32_t kProgressivePicture = 1U << 14;
  const std::uint32_t payload = report.st352Packet & 0xFF;
  const std::uint32_t link = (report.st352Packet >> 29) & 3;
  if (!report.st352Valid) {
    return std::nullopt;
  }
  switch (told) {
    case Told::kPsf:
      return (report.st352Packet & kProgressivePicture) != 0 ? std::optional(0U) : std::nullopt;
    case Told::kLinkOf151:
      return payload == 151 ? std::optional(link) : std::nullopt;
    case Told::kLinkOf152:
      return payload == 152 ? std::optional(link) : std::nullopt;
    case Told::kNothing:
      break;
  }
  return std::nullopt;
}

// 0 if the family has no such rate.
std::uint32_t StandardIdOf(const Family& family, const Report& report) {
  const auto* code = std::find(kRateColumns.begin(), kRateColumns.end(), report.rate);
  if (code == kRateColumns.end()) {
    return 0;
  }
  const auto column = static_cast<std::size_t>(code - kRateColumns.begin());
  if (family.toldIds[column] != 0) {
    if (const auto offset = OffsetTold(family.told, report)) {
      return family.toldIds[column] + *offset;
    }
  }
  return family.ids[column];
}

// ST 352 carries the colorimetry at different places: at 1.5 Gbit/s in one bit of byte 3.
VideoColorimetry ColorimetryTold(const Report& report) {
  switch (report.mode) {
    case kMode270M:
      return kBt709;
    case kMode1G5:
      return ((report.st352Packet >> 23) & 1) != 0 ? kBt2020 : kBt709;
    default:
      return ((report.st352Packet >> 20) & 3) == 2 ? kBt2020 : kBt709;
  }
}

VideoTransfer TransferTold(const Report& report) {
  constexpr std::array kTransfers{kSdr, kHlg, kPq, kSdr};
  return report.mode == kMode270M ? kSdr : kTransfers[(report.st352Packet >> 12) & 3];
}

VideoFormat FormatOf(std::uint32_t standardId, VideoColorimetry colorimetry,
                     VideoTransfer transfer) {
  VideoFormat format;
  format.standardId = standardId;
  format.sampling = static_cast<std::uint32_t>(VideoSampling::kYCbCr422);
  format.colorimetry = static_cast<std::uint32_t>(colorimetry);
  format.range = static_cast<std::uint32_t>(VideoRange::kLegal);
  format.transfer = static_cast<std::uint32_t>(transfer);
  format.carriedA = 1;
  format.carriedB = 0;
  return format;
}

struct CodeText {
  std::uint32_t code;
  const char* text;
};

constexpr std::array kModeTexts{
    CodeText{kMode270M, " 270M"},       CodeText{kMode1G5, " 1.5G"},
    CodeText{kMode3GLevelA, " 3G (A)"}, CodeText{kMode3GLevelB, " 3G (B)"},
    CodeText{kMode6G, " 6G"},           CodeText{kMode12G, " 12G"},
};
constexpr std::array kRasterTexts{
    CodeText{kRaster1920x1080, " 1920x1080"}, CodeText{kRaster1280x720, " 1280x720"},
    CodeText{kRaster2048x1080, " 2048x1080"}, CodeText{kRaster720x486, " 720x486"},
    CodeText{kRaster720x576, " 720x576"},
};
constexpr std::array kStreamTexts{
    CodeText{kOneStream, " 1 Stream"},        CodeText{kTwoStreams, " 2 Streams"},
    CodeText{kFourStreams, " 4 Streams"},     CodeText{kEightStreams, " 8 Streams"},
    CodeText{kSixteenStreams, " 16 Streams"},
};
constexpr std::array kRateTexts{
    CodeText{2, " 23.98 FPS"}, CodeText{3, " 24 FPS"},    CodeText{4, " 47.95 FPS"},
    CodeText{5, " 25 FPS"},    CodeText{6, " 29.97 FPS"}, CodeText{7, " 30 FPS"},
    CodeText{8, " 48 FPS"},    CodeText{9, " 50 FPS"},    CodeText{10, " 59.94 FPS"},
    CodeText{11, " 60 FPS"},
};

const char* TextOf(std::span<const CodeText> texts, std::uint32_t code, const char* otherwise) {
  const auto entry = std::find_if(texts.begin(), texts.end(),
                                  [code](const CodeText& text) { return text.code == code; });
  return entry != texts.end() ? entry->text : otherwise;
}

}  // namespace

bool IsRaster(std::uint32_t raster) {
  return TextOf(kRasterTexts, raster, nullptr) != nullptr;
}

bool IsConclusive(const Report& report) {
  return report.streams != kOneStream || report.raster == kRaster720x486 ||
         report.raster == kRaster720x576;
}

VideoFormat DecideVideoFormat(const Report& report) {
  if (report.raster == kRaster720x486) {
    return FormatOf(k525i, kBt601, kSdr);
  }
  if (report.raster == kRaster720x576) {
    return FormatOf(k625i, kBt601, kSdr);
  }
  const Family* family = FamilyOf(report);
  const std::uint32_t standardId = family != nullptr ? StandardIdOf(*family, report) : 0;
  if (standardId == 0) {
    return {};
  }
  return report.st352Valid ? FormatOf(standardId, ColorimetryTold(report), TransferTold(report))
                           : FormatOf(standardId, family->colorimetry, kSdr);
}

std::string LockedText(const Report& report) {
  const char* mode = TextOf(kModeTexts, report.mode, nullptr);
  std::string text = mode != nullptr ? std::string("Locked") + mode : " Unknown Data Rate";
  text += TextOf(kRasterTexts, report.raster, " Unknown Transport");
  text += TextOf(kStreamTexts, report.streams, " Unknown Streams");
  text += TextOf(kRateTexts, report.rate, " Unknown FPS");
  text +=
      FormatMessage(" Frac:%u Prog:%u", report.fractional ? 1U : 0U, report.progressive ? 1U : 0U);
  return text;
}

}  // namespace sdi_rx
