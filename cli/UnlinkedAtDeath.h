#pragma once

namespace cli::detail {

/// A file that a fatal signal unlinks while this stands: one at a time in a process.
class UnlinkedAtDeath {
 public:
  /// `name` is relative to the open `folder`, which may be AT_FDCWD. Both must outlive the object
  /// and stay as they are. There may be no such file yet, or no longer.
  UnlinkedAtDeath(int folder, const char* name);
  ~UnlinkedAtDeath();
  UnlinkedAtDeath(const UnlinkedAtDeath&) = delete;
  UnlinkedAtDeath& operator=(const UnlinkedAtDeath&) = delete;
};

}  // namespace cli::detail
