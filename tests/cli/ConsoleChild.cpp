// A console of its own for the tests at a pseudo-terminal: it is run as a process, with a few
// commands that end it in every way there is.

#include <sys/mman.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>

#include "cli/CliLocalTerminalSession.h"
#include "cli/FileHistoryStorage.h"
#include "cli/GenericAsioScheduler.h"
#include "cli/StandardOutput.h"

namespace {

// The sum of so many frames, which no stack holds.
int Descend(int frames) {
  volatile char room[4096];  // NOLINT(modernize-avoid-c-arrays)
  room[0] = 1;
  return frames == 0 ? 0 : Descend(frames - 1) + room[0];
}

std::unique_ptr<cli::Menu> MakeTree() {
  auto menu = std::make_unique<cli::Menu>("main");
  menu->AddCommand(
      "say", [](std::ostream& out, const std::string& text) { out << '[' << text << "]\n"; },
      "Echoes a word");
  menu->AddCommand(
      "print",
      [](std::ostream& out, const std::string& text) {
        out << '(';
        std::printf("%s", text.c_str());
        out << ")\n";
      },
      "Echoes a word in another way");
  menu->AddCommand(
      "size",
      [](std::ostream& out, const std::string& text) { out << '[' << text.size() << "]\n"; },
      "Size of a word");
  menu->AddCommand(
      "throw", [](std::ostream&) { throw std::runtime_error("thrown"); }, "");
  menu->AddCommand(
      "uncaught",
      [](std::ostream&) { std::thread([] { throw std::runtime_error("uncaught"); }).join(); }, "");
  menu->AddCommand(
      "abort", [](std::ostream&) { std::abort(); }, "");
  menu->AddCommand(
      "segv",
      [](std::ostream&) {
        void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        *static_cast<volatile int*>(page) = 1;
      },
      "");
  menu->AddCommand(
      "overflow", [](std::ostream&) { std::cerr << Descend(10'000'000); }, "");
  return menu;
}

}  // namespace

int main() {
  // No report of a sanitizer between the fault and the process's end by its signal.
  for (const int signal : {SIGABRT, SIGBUS, SIGSEGV}) {
    std::signal(signal, SIG_DFL);
  }

  const cli::StandardOutput waitingOutput;
  cli::Cli cli(MakeTree(), std::make_unique<cli::FileHistoryStorage>(1000, ".cli"));
  cli.SetExitAction([](std::ostream& out) { out << "bye\n"; });
  cli::detail::GenericAsioScheduler<cli::detail::NewStandaloneAsioLib> scheduler;
  cli::CliLocalTerminalSession session(cli, scheduler, std::cout, 200);
  session.SetExitAction([&scheduler](std::ostream& out) {
    out << "closing\n";
    scheduler.Stop();
  });
  scheduler.Run();
  return 0;
}
