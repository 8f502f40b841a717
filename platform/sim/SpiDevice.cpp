#include "platform/SpiDevice.h"

#include <array>
#include <cerrno>

#include "sim/Board.h"

namespace platform {
namespace {

// Descriptors of the simulated devices: no system call ever sees them. 0 is as good as any other,
// and the one that is most easily taken for none.
constexpr int kFirstSpiDescriptor = 0;

std::array<sim::SpiBus*, 2> Buses() {
  sim::Board& board = sim::Board::Get();
  return {&board.equaliserSpi, &board.driverSpi};
}

sim::SpiBus* BusOf(int descriptor) {
  const auto buses = Buses();
  if (descriptor < kFirstSpiDescriptor) {
    return nullptr;
  }
  const auto index = static_cast<std::size_t>(descriptor - kFirstSpiDescriptor);
  return index < buses.size() ? buses[index] : nullptr;
}

// What a system call gives where the kernel gave `result`.
int Returned(int result) {
  if (result >= 0) {
    return result;
  }
  errno = -result;
  return -1;
}

template <typename Operation>
int OnBus(int descriptor, Operation operation) {
  sim::SpiBus* bus = BusOf(descriptor);
  return Returned(bus != nullptr ? operation(*bus) : -EBADF);
}

}  // namespace

int OpenSpi(const char* path) {
  int descriptor = kFirstSpiDescriptor;
  for (sim::SpiBus* bus : Buses()) {
    if (bus->Path() == path) {
      const int result = bus->Open();
      return Returned(result < 0 ? result : descriptor);
    }
    ++descriptor;
  }
  return Returned(-ENOENT);
}

int CloseSpi(int descriptor) {
  return OnBus(descriptor, [](sim::SpiBus& bus) { return bus.Close(); });
}

int SetSpiMode(int descriptor, std::uint8_t mode) {
  return OnBus(descriptor, [=](sim::SpiBus& bus) { return bus.SetMode(mode); });
}

int SetSpiLsbFirst(int descriptor, std::uint8_t lsbFirst) {
  return OnBus(descriptor, [=](sim::SpiBus& bus) { return bus.SetLsbFirst(lsbFirst); });
}

int SetSpiBitsPerWord(int descriptor, std::uint8_t bitsPerWord) {
  return OnBus(descriptor, [=](sim::SpiBus& bus) { return bus.SetBitsPerWord(bitsPerWord); });
}

int TransferSpi(int descriptor, spi_ioc_transfer& transfer) {
  return OnBus(descriptor, [&](sim::SpiBus& bus) { return bus.Transfer(transfer); });
}

}  // namespace platform
