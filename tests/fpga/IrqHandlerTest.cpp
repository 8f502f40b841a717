#include "modules/IrqHandler.h"

#include <stdexcept>

#include "sim/models/IrqAggregatorModel.h"
#include "support/CoreTest.h"

namespace {

using Texts = std::vector<std::string>;

constexpr std::uint32_t kAll = 0xFFFFFFFF;

class IrqHandlerTest : public CoreTest<sim::IrqAggregatorModel> {
 protected:
  IrqHandlerTest() : CoreTest("irq_handler") {}

  // The field of a line's group: "irq_mask_32_63" for line 40.
  static std::string Group(const char* kind, std::size_t line) {
    return FormatMessage("irq_%s_%zu_%zu", kind, line / 32 * 32, line / 32 * 32 + 31);
  }

  IrqHandlerImpl irqs{name, base};
};

// Each word is read before a bit of it changes, and the field write reads it once more.
TEST_F(IrqHandlerTest, MasksAllThenHandlesThenClearsAndUnmasksEach) {
  constexpr std::uint32_t kLines[] = {3, 40, 64, 101, 134, 167, 200, 255};  // one of each group
  std::vector<std::uint32_t> calls;
  Accesses expected{R("irqOutputStatus", 1)};
  for (const std::uint32_t line : kLines) {
    irqs.RegisterHandler(line, [&, line] {
      calls.push_back(line);
      EXPECT_EQ(core.Get("irq_mask_224_255"), kAll);  // nothing is open while handlers run
      EXPECT_EQ(core.Get("irq_status_0_31"), 8U);     // nor cleared
    });
    irqs.UnmaskIrq(line);
    core.Pulse(line);
    expected.push_back(R(Group("status", line), 1U << line % 32));
  }
  irqs.RegisterHandler(3, [&] { calls.push_back(1003); });
  for (const std::uint32_t line : kLines) {
    const std::string mask = Group("mask", line);
    expected.insert(expected.end(), {R(mask, ~(1U << line % 32)), W(mask, kAll)});
  }
  for (const std::uint32_t line : kLines) {
    const std::string mask = Group("mask", line);
    const std::string clear = Group("clr", line);
    expected.insert(expected.end(), {R(clear, 0), W(clear, 1U << line % 32), R(mask, kAll),
                                     W(mask, ~(1U << line % 32))});
  }
  EXPECT_EQ(AccessesOf([&] { irqs.PollIrq(); }), expected);
  EXPECT_EQ(calls, (std::vector<std::uint32_t>{3, 1003, 40, 64, 101, 134, 167, 200, 255}));
  EXPECT_EQ(AccessesOf([&] { irqs.PollIrq(); }), Accesses{R("irqOutputStatus", 0)});
}

TEST_F(IrqHandlerTest, MaskedLineWaitsForItsUnmasking) {
  int handled = 0;
  irqs.RegisterHandler(40, [&] { ++handled; });
  core.Set("irq_mask_32_63", 0);  // the hardware's mask is open; the software's is not
  core.SetLine(40, true);
  irqs.PollIrq();
  EXPECT_EQ(handled, 0);
  irqs.UnmaskIrq(40);
  irqs.PollIrq();
  EXPECT_EQ(handled, 1);
  irqs.PollIrq();  // the line is still up: the cleared bit is latched again
  EXPECT_EQ(handled, 2);
  irqs.MaskIrq(40);
  irqs.PollIrq();
  EXPECT_EQ(handled, 2);
}

TEST_F(IrqHandlerTest, LineWithoutHandlerIsServedWithAWarning) {
  irqs.UnmaskIrq(7);
  core.Pulse(7);
  irqs.PollIrq();
  irqs.PollIrq();
  EXPECT_EQ(board.log.Messages(4), Texts{"No handler for IRQ 7"});
  EXPECT_EQ(core.Get("irq_status_0_31"), 0U);
}

TEST_F(IrqHandlerTest, ThrowingHandlerLeavesItsRoundMasked) {
  irqs.RegisterHandler(1, [] { throw std::runtime_error("handler"); });
  for (const std::uint32_t line : {1U, 2U}) {
    irqs.UnmaskIrq(line);
    core.Pulse(line);
  }
  EXPECT_THROW(irqs.PollIrq(), std::runtime_error);
  EXPECT_EQ(core.Get("irq_mask_0_31"), kAll);
  EXPECT_EQ(core.Get("irq_status_0_31"), 6U);
}

TEST_F(IrqHandlerTest, NumbersAbove255DoNothing) {
  EXPECT_EQ(AccessesOf([&] {
              irqs.MaskIrq(256);
              irqs.UnmaskIrq(256);
              irqs.ClearIrq(256);
              irqs.RegisterHandler(256, [] {});
            }),
            Accesses{});
  EXPECT_EQ(board.log.Messages(3),
            (Texts{"Attempt to unmask invalid IRQ", "Attempt to clear invalid IRQ",
                   "Attempt to register handler for invalid IRQ"}));
}

}  // namespace
