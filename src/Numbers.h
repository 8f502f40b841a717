#pragma once

#include <string>

/// Numbers as an operator types them: decimal, hexadecimal behind 0x, octal behind a leading 0.
/// White space and a sign may stand in front; what stands behind the number is ignored.

/// Throws std::invalid_argument("stoi") without a digit and std::out_of_range("stoi") outside the
/// range of a 32-bit int.
int ToInt(const std::string& text);

/// A negative number wraps. Throws std::invalid_argument("stoul") without a digit and
/// std::out_of_range("stoul") outside 64 bits.
unsigned long ToULong(const std::string& text);
