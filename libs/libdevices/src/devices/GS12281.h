#pragma once

/// The cable driver GS12281: what a chain of them is held by, whatever it is reached through.
class GS12281 {
 public:
  virtual ~GS12281() = default;
};
