#include "DeviceCount.h"
#include "TerminalInterface.h"
#include "log/Log.h"
#include "modules/TopFpga.h"

// Everything lives on this stack: built in order, destroyed in reverse when the operator leaves.
// Nothing is caught here. What a constructor throws ends the process, since without the board's
// registers there is nothing to serve.
int main() {
  SetLogLevel(kLogInfo);
  const TopFpgaImpl fpga;
  [[maybe_unused]] const unsigned deviceCount = ReadDeviceCount();  // devices in a cable chain

  TerminalInterface console;
  (void)console.Service();  // it has reported its failure; the exit status stays 0
  return 0;
}
