#include "Numbers.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

// The exception's text behind its kind, or the number.
template <typename Convert>
std::string Outcome(Convert convert, const std::string& text) {
  try {
    return std::to_string(convert(text));
  } catch (const std::invalid_argument& error) {
    return std::string("invalid ") + error.what();
  } catch (const std::out_of_range& error) {
    return std::string("range ") + error.what();
  }
}

TEST(Numbers, ReadsIntegersOfEveryBaseWithinThirtyTwoBits) {
  const struct {
    std::string text;
    std::string outcome;
  } cases[] = {
      {"12", "12"},
      {"0x1F", "31"},
      {"0X1f", "31"},
      {"017", "15"},
      {" \t-1", "-1"},
      {"+7", "7"},
      {"12abc", "12"},
      {"08", "0"},
      {"0x", "0"},
      {"0x7FFFFFFF", "2147483647"},
      {"-2147483648", "-2147483648"},
      {"0x80000000", "range stoi"},
      {"-2147483649", "range stoi"},
      {std::string(1'000'000, '9'), "range stoi"},
      {"", "invalid stoi"},
      {"-", "invalid stoi"},
      {"abc", "invalid stoi"},
      {std::string("\0001", 2), "invalid stoi"},
      {"%n", "invalid stoi"},
  };
  for (const auto& [text, outcome] : cases) {
    EXPECT_EQ(Outcome(ToInt, text), outcome) << text.substr(0, 40);
  }
}

TEST(Numbers, ReadsUnsignedIntegersWithinSixtyFourBits) {
  const struct {
    const char* text;
    const char* outcome;
  } cases[] = {
      {"0x80000000", "2147483648"},
      {"010", "8"},
      {"18446744073709551615", "18446744073709551615"},
      {"-1", "18446744073709551615"},
      {"18446744073709551616", "range stoul"},
      {"", "invalid stoul"},
      {"x1", "invalid stoul"},
  };
  for (const auto& [text, outcome] : cases) {
    EXPECT_EQ(Outcome(ToULong, text), outcome) << text;
  }
}

}  // namespace
