#pragma once

#include <memory>
#include <vector>

/// Destroys owned objects in the order in which they were built; a vector of its own accord leaves
/// the order open.
template <typename Object>
void DestroyFrontToBack(std::vector<std::unique_ptr<Object>>& objects) {
  while (!objects.empty()) {
    objects.erase(objects.begin());
  }
}
