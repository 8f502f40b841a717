#include "modules/FramesyncDelay.h"

#include <cmath>

namespace framesync {

StoreDelay MeasureStoreDelay(std::uint32_t bufCheck, const VideoStandard& format,
                             std::uint32_t numBufs) {
  StoreDelay delay{};
  delay.writeLine = bufCheck & 0x1FFF;
  const bool writerIsAhead = (bufCheck >> 13 & 1) != 0;
  delay.writeBuffer = bufCheck >> 14 & 0x1FF;
  delay.readBuffer = bufCheck >> 23;
  delay.readLine = format.switchLine1;

  std::uint32_t frames = delay.writeBuffer - delay.readBuffer;
  if (delay.readBuffer > delay.writeBuffer) {
    frames += numBufs;
  }
  std::uint32_t lines = 0;
  if (delay.writeLine == delay.readLine) {
    frames += writerIsAhead ? 1 : 0;
  } else if (delay.writeLine < delay.readLine) {
    lines = delay.writeLine + format.totalLines - delay.readLine;
  } else {
    lines = delay.writeLine - delay.readLine;
  }
  delay.frames = static_cast<std::int32_t>(frames);
  delay.lines = static_cast<std::int32_t>(lines);

  const float frameTime = 1000.0F / format.GetFrameRate();
  const float lineTime = frameTime / static_cast<float>(format.totalLines);
  delay.milliseconds = std::fma(frameTime, static_cast<float>(delay.frames),
                                lineTime * static_cast<float>(delay.lines));
  return delay;
}

}  // namespace framesync
