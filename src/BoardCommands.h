#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "cli/Menu.h"

class BitfieldManager;
class CSysEeprom;
class GS12281_Soc;
class SdiCableEqInterface;
class TopFpga;
class VideoCrosspoint;

/// The commands on the board's objects: raw register words, video routes, transmitter set-up, the
/// inventory, the cable equalisers. Each converts its arguments, calls a driver and gives the text
/// for the operator; a driver's failure is in the log.
///
/// Threads: everything belongs to the thread that runs the session.
class BoardCommands {
 public:
  /// The objects are not owned and outlive this one.
  BoardCommands(CSysEeprom* inventory, TopFpga* topFpga, SdiCableEqInterface* equalisers,
                GS12281_Soc* drivers)
      : eeprom_(inventory), fpga_(topFpga), cableEqs_(equalisers), cableDrivers_(drivers) {}

  /// Adds the commands on registers and routes. The menus refer to this object.
  void AddTo(cli::Menu& bitfieldsMenu);
  /// The menu of the inventory, and that of the SDI inputs.
  std::unique_ptr<cli::Menu> EepromMenu();
  std::unique_ptr<cli::Menu> SdiMenu();

  /// Sets every active receiver to an SDI mode, held in reset meanwhile. Gives the text for the
  /// operator: none if `mode` is a number.
  std::string SetForcedMode(const std::string& mode);

 private:
  std::string _ReadRaw(const std::string& address);
  std::string _WriteRaw(const std::string& address, const std::string& value);
  std::string _RxGetRoute(const std::string& destination);
  std::string _TxGetRoute(const std::string& destination);
  std::string _SetRoute(VideoCrosspoint& crosspoint, const std::string& source,
                        const std::string& destination);
  std::string _TxSdiSetup(const std::string& index);
  std::string _ReadMac(const std::string& index);
  std::string _WriteMac(const std::string& argument);
  void _PrintEqRate(const std::string& index);
  std::string _SdiDebugInformation(const std::string& index);
  std::string _EqualiserInformation(int index);
  std::string _ReceiverInformation(int index);

  BitfieldManager& _Registers();

  CSysEeprom* eeprom_;
  TopFpga* fpga_;
  SdiCableEqInterface* cableEqs_;
  GS12281_Soc* cableDrivers_;  // no command reaches it so far
};
