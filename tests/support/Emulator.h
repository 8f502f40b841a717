#pragma once

#include <unistd.h>

#include <string>

/// Tests that are built for another machine run under an emulator, and so do the programs that they
/// start.
#ifdef BOARD_TEST_EMULATOR
inline constexpr const char* kEmulator = BOARD_TEST_EMULATOR;
#else
inline constexpr const char* kEmulator = "";  ///< none
#endif

inline constexpr bool kEmulated = *kEmulator != '\0';

/// What is on standard error of a program that died by a signal and said nothing itself: nothing,
/// or the emulator's word on it. A regular expression.
inline constexpr const char* kOnlyTheSignal = kEmulated ? "^qemu: [^\n]*\n$" : "^$";

/// `errors` of such a program without the emulator's word.
inline std::string WithoutEmulator(const std::string& errors) {
  return kEmulated ? errors.substr(0, errors.find("qemu: ")) : errors;
}

/// execl of a program of this build without arguments. Returns if it fails.
inline void ExecuteProgram(const char* program) {
  if (kEmulated) {
    execl(kEmulator, kEmulator, program, nullptr);
  } else {
    execl(program, program, nullptr);
  }
}
