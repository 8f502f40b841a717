#include "modules/IrqHandler.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "sim/Board.h"
#include "sim/models/IrqAggregatorModel.h"

namespace {

using sim::Loaded;
using sim::Stored;

class IrqHandlerTest : public testing::Test {
 protected:
  sim::Board& board = sim::Board::Get();
  IrqHandlerImpl irqs{"irq_handler", 0};
};

TEST_F(IrqHandlerTest, QuietPollIsOneLoad) {
  board.registers.StartTrace();
  irqs.PollIrq();
  EXPECT_EQ(board.registers.TakeTrace(), (std::vector{Loaded(0x60, 0)}));
}

TEST_F(IrqHandlerTest, MasksAllThenHandlesThenClearsAndUnmasksEach) {
  std::vector<std::string> calls;
  irqs.RegisterHandler(3, [&] {
    calls.emplace_back("3a");
    EXPECT_EQ(board.Core<sim::IrqAggregatorModel>("irq_handler").Word(0x00), 0xFFFFFFFFU);
    EXPECT_EQ(board.Core<sim::IrqAggregatorModel>("irq_handler").Word(0x1C), 0xFFFFFFFFU);
  });
  irqs.RegisterHandler(3, [&] { calls.emplace_back("3b"); });
  irqs.RegisterHandler(255, [&] { calls.emplace_back("255"); });
  irqs.UnmaskIrq(255);
  irqs.UnmaskIrq(3);
  board.Core<sim::IrqAggregatorModel>("irq_handler").Pulse(255);
  board.Core<sim::IrqAggregatorModel>("irq_handler").Pulse(3);

  board.registers.StartTrace();
  irqs.PollIrq();
  EXPECT_EQ(calls, (std::vector<std::string>{"3a", "3b", "255"}));
  EXPECT_EQ(
      board.registers.TakeStores(),
      (std::vector{Stored(0x00, 0xFFFFFFFF), Stored(0x1C, 0xFFFFFFFF), Stored(0x40, 0x00000008),
                   Stored(0x00, 0xFFFFFFF7), Stored(0x5C, 0x80000000), Stored(0x1C, 0x7FFFFFFF)}));
  EXPECT_EQ(board.Core<sim::IrqAggregatorModel>("irq_handler").Get("irqOutputStatus"), 0U);
}

// The value is read before the OR, and the field write reads the word once more.
TEST_F(IrqHandlerTest, MaskOperationReadsTwice) {
  board.Core<sim::IrqAggregatorModel>("irq_handler").SetWord(0x04, 0x10);
  board.registers.StartTrace();
  irqs.MaskIrq(33);
  EXPECT_EQ(board.registers.TakeTrace(),
            (std::vector{Loaded(0x04, 0x10), Loaded(0x04, 0x10), Stored(0x04, 0x12)}));
}

TEST_F(IrqHandlerTest, MaskedLineWaitsForItsUnmasking) {
  int handled = 0;
  irqs.RegisterHandler(40, [&] { ++handled; });
  board.Core<sim::IrqAggregatorModel>("irq_handler")
      .SetWord(0x04, 0);  // the hardware's mask is open; the software's is not
  board.Core<sim::IrqAggregatorModel>("irq_handler").SetLine(40, true);
  irqs.PollIrq();
  EXPECT_EQ(handled, 0);
  irqs.UnmaskIrq(40);
  irqs.PollIrq();
  EXPECT_EQ(handled, 1);
  irqs.PollIrq();  // the line is still up: the cleared bit is latched again
  EXPECT_EQ(handled, 2);
}

TEST_F(IrqHandlerTest, LineWithoutHandlerIsServedWithAWarning) {
  irqs.UnmaskIrq(7);
  board.Core<sim::IrqAggregatorModel>("irq_handler").Pulse(7);
  irqs.PollIrq();
  irqs.PollIrq();
  EXPECT_EQ(board.log.Messages(4), (std::vector<std::string>{"No handler for IRQ 7"}));
  EXPECT_EQ(board.Core<sim::IrqAggregatorModel>("irq_handler").Get("irq_status_0_31"), 0U);
}

TEST_F(IrqHandlerTest, ThrowingHandlerLeavesItsRoundMasked) {
  irqs.RegisterHandler(1, [] { throw std::runtime_error("handler"); });
  irqs.UnmaskIrq(1);
  irqs.UnmaskIrq(2);
  board.Core<sim::IrqAggregatorModel>("irq_handler").Pulse(1);
  board.Core<sim::IrqAggregatorModel>("irq_handler").Pulse(2);
  EXPECT_THROW(irqs.PollIrq(), std::runtime_error);
  EXPECT_EQ(board.Core<sim::IrqAggregatorModel>("irq_handler").Word(0x00), 0xFFFFFFFFU);
  EXPECT_EQ(board.Core<sim::IrqAggregatorModel>("irq_handler").Get("irq_status_0_31"), 6U);
}

TEST_F(IrqHandlerTest, NumbersAbove255DoNothing) {
  board.registers.StartTrace();
  irqs.MaskIrq(256);
  irqs.UnmaskIrq(256);
  irqs.ClearIrq(256);
  irqs.RegisterHandler(256, [] {});
  EXPECT_TRUE(board.registers.TakeTrace().empty());
  EXPECT_EQ(
      board.log.Messages(3),
      (std::vector<std::string>{"Attempt to unmask invalid IRQ", "Attempt to clear invalid IRQ",
                                "Attempt to register handler for invalid IRQ"}));
}

}  // namespace
