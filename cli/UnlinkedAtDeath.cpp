#include "cli/UnlinkedAtDeath.h"

#include <unistd.h>

#include "platform/FatalSignals.h"

namespace cli::detail {

namespace {

// Changed under FatalSignalsHeld alone.
int doomedFolder = -1;
const char* doomedName = nullptr;

void Unlink(const siginfo_t& /*info*/) {
  ::unlinkat(doomedFolder, doomedName, 0);
}

}  // namespace

UnlinkedAtDeath::UnlinkedAtDeath(int folder, const char* name) {
  platform::FatalSignalsHeld held;
  if (!held.IsDying()) {
    doomedFolder = folder;
    doomedName = name;
    held.SetHook(platform::LastStep::kRemoveFile, platform::kEveryFatalSignal, &Unlink);
  }
}

UnlinkedAtDeath::~UnlinkedAtDeath() {
  platform::FatalSignalsHeld held;
  held.ClearHook(platform::LastStep::kRemoveFile);
}

}  // namespace cli::detail
