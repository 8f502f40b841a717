#pragma once

#include <cstdint>
#include <string>

#include "video/Video.h"

/// What an SDI receiver's report means: decisions on plain values, without access to hardware.
namespace sdi_rx {

/// What a locked receiver reports. The numbers are those of its status fields; a code may be any
/// number.
struct Report {
  bool st352Valid = false;
  std::uint32_t st352Packet = 0;  ///< SMPTE ST 352 payload ID; 0 unless it is valid
  std::uint32_t raster = 0;       ///< tdFormat
  std::uint32_t rate = 0;         ///< tdRate: frames per second, see LockedText
  bool progressive = false;       ///< the transport; a psf picture has an interlaced one
  bool fractional = false;        ///< a rate with the factor 1000/1001; no decision looks at it
  std::uint32_t streams = 0;      ///< activeStreams
  std::uint32_t mode = 0;         ///< sdiMode
};

/// True if the code names a raster.
bool IsRaster(std::uint32_t raster);

/// False while the receiver hasn't told yet what it sees: a high-definition raster can't come in
/// one stream. The format decided before holds then.
bool IsConclusive(const Report& report);

/// Decides the format of a conclusive report. A combination that no standard has gives the default
/// VideoFormat, standardId 0.
VideoFormat DecideVideoFormat(const Report& report);

/// "Locked", then what the receiver sees: data rate, raster, streams, frame rate, flags. A data
/// rate without a name replaces the word.
std::string LockedText(const Report& report);

}  // namespace sdi_rx
