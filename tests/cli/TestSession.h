#pragma once

#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "cli/CliSession.h"

/// A history that lives in the test.
class MemoryHistory : public cli::HistoryStorage {
 public:
  explicit MemoryHistory(std::vector<std::string>& kept) : lines(kept) {}

  void Store(const std::vector<std::string>& commands) override {
    lines.insert(lines.end(), commands.begin(), commands.end());
  }
  std::vector<std::string> Commands() const override { return lines; }
  void Clear() override { lines.clear(); }

 private:
  std::vector<std::string>& lines;
};

/// A session on a small tree that writes into a string:
///
///   main: ping, pair <string> <string>, pair <string> (named), runtime, castfail, odd, sub
///   sub (in main): ls, ls <string>, deep
///   deep (in sub): dig
class TestSession {
 public:
  explicit TestSession(std::vector<std::string> stored = {})
      : kept(std::move(stored)),
        cli(_MakeTree(), std::make_unique<MemoryHistory>(kept)),
        session(cli, out, 10) {}

  /// Runs a line and gives back what it wrote.
  std::string Run(const std::string& line) {
    session.ProcessLine(line);
    return Written();
  }

  /// What was written since the last call.
  std::string Written() {
    std::string text = out.str();
    out.str("");
    return text;
  }

  std::string Prompt() {
    session.ShowPrompt();
    return Written();
  }

  std::vector<std::string> kept;
  std::ostringstream out;
  cli::CmdHandler ping;
  cli::CmdHandler pair2;
  cli::CmdHandler sub;
  cli::Cli cli;
  cli::CliSession session;

 private:
  std::unique_ptr<cli::Menu> _MakeTree() {
    using std::string;
    auto main = std::make_unique<cli::Menu>("main");
    ping = main->AddCommand(
        "ping", [](std::ostream& o) { o << "pong\n"; }, "Answers");
    pair2 = main->AddCommand(
        "pair", [](std::ostream& o, const string& a, string b) { o << a << '|' << b << '\n'; },
        "Two");
    main->AddCommand("pair", [](std::ostream& o, string a) { o << a << '\n'; }, "One", {"first"});
    main->AddCommand(
        "runtime", [](std::ostream&) { throw std::runtime_error("why"); }, "");
    main->AddCommand(
        "castfail", [](std::ostream&) { throw std::bad_cast(); }, "");
    main->AddCommand(
        "odd", [](std::ostream&) { throw 42; }, "");
    auto menu = std::make_unique<cli::Menu>("sub");
    menu->AddCommand(
        "ls", [](std::ostream& o) { o << "all\n"; }, "Lists");
    menu->AddCommand(
        "ls", [](std::ostream& o, const string& f) { o << f << '\n'; }, "Filters");
    auto deep = std::make_unique<cli::Menu>("deep");
    deep->AddCommand(
        "dig", [](std::ostream& o) { o << "dug\n"; }, "Digs");
    menu->AddSubmenu(std::move(deep));
    sub = main->AddSubmenu(std::move(menu));
    return main;
  }
};
