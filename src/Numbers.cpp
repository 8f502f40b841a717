#include "Numbers.h"

static_assert(sizeof(int) == 4 && sizeof(unsigned long) == 8, "the ranges that are promised");

int ToInt(const std::string& text) {
  return std::stoi(text, nullptr, 0);
}

unsigned long ToULong(const std::string& text) {
  return std::stoul(text, nullptr, 0);
}
