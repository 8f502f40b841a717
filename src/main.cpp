#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <memory>

#include "DeviceCount.h"
#include "SysEeprom.h"
#include "TerminalInterface.h"
#include "cli/StandardOutput.h"
#include "devices/GS12281_Soc.h"
#include "devices/M23664_Soc.h"
#include "devices/SdiCableEqInterface.h"
#include "interfaces/Spi_Soc.h"
#include "log/Log.h"
#include "top/TopFpga.h"

namespace {

constexpr std::uint8_t kActiveChannels = 4;

constexpr const char* kEqualiserNode = "/dev/spidev1.0";
constexpr const char* kDriverNode = "/dev/spidev0.0";

constexpr SpiSettings kEqualiserSettings{
    .reserved = 0, .mode = 1, .lsbFirst = 0, .bitsPerWord = 8, .speedHz = 5'000'000};
constexpr SpiSettings kDriverSettings{
    .reserved = 0, .mode = 0, .lsbFirst = 0, .bitsPerWord = 8, .speedHz = 1'000'000};

// A program that was started without standard streams would hand their numbers to what it opens
// first, and read the keys of its operator there.
void OpenMissingStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) {
      (void)open("/dev/null", O_RDWR);  // takes the lowest free number, which is this one
    }
  }
}

}  // namespace

// Everything lives on this stack: built in order, destroyed in reverse when the operator leaves.
// Nothing is caught here: what a constructor throws ends the process, since without the board's
// registers there is nothing to serve. Chains whose SPI fails log each failure and come up all the
// same.
int main() {
  OpenMissingStandardStreams();
  const cli::StandardOutput waitingOutput;
  SetLogLevel(kLogInfo);
  CSysEeprom inventory;
  TopFpgaImpl fpga(kActiveChannels);
  const unsigned deviceCount = ReadDeviceCount();

  Spi_Soc equaliserSpi;
  (void)equaliserSpi.Initialize(kEqualiserNode);  // logged there, and again by each transfer
  SdiCableEqInterface equalisers;
  (void)equalisers.Initialize(&equaliserSpi, kEqualiserSettings);  // it is the first call
  for (unsigned index = 0; index < deviceCount; ++index) {
    auto equaliser = std::make_unique<M23664_Soc>();
    (void)equaliser->Initialize(&equaliserSpi, kEqualiserSettings, index, deviceCount);
    equalisers.AddDevice(equaliser.release());  // the chain owns it
  }

  Spi_Soc driverSpi;
  (void)driverSpi.Initialize(kDriverNode);  // logged there, and again by each transfer
  GS12281_Soc drivers;
  if (drivers.Initialize(&driverSpi, kDriverSettings, deviceCount) != 0) {
    LOG_CRITICAL("Unable to add GS12181 cable driver SPI chain to dev map");
    return -1;
  }

  TerminalInterface console(&inventory, &fpga, &equalisers, &drivers);
  (void)console.Service();  // it has reported its failure; the exit status stays 0
  return 0;
}
