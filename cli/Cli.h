#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "cli/HistoryStorage.h"
#include "cli/Menu.h"

namespace cli {

/// Owns one tree of commands and what all its sessions have in common. It must outlive them.
/// Bound to the thread that runs the sessions.
class Cli {
 public:
  using ExitAction = std::function<void(std::ostream& out)>;
  using StdExceptionHandler = std::function<void(std::ostream& out, const std::string& commandLine,
                                                 const std::exception& exception)>;

  /// A stream to all open sessions: what is written to it is copied to each session's stream.
  class OutStream : private std::streambuf, public std::ostream {
   public:
    OutStream(const OutStream&) = delete;
    OutStream& operator=(const OutStream&) = delete;

    /// `stream` is not owned; it gets a copy of all output until it is removed.
    void Add(std::ostream& stream);
    /// Removes all entries of `stream`.
    void Remove(std::ostream& stream);

   private:
    friend class Cli;
    OutStream();

    int overflow(int c) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;

    std::vector<std::ostream*> streams;
  };

  Cli(std::unique_ptr<Menu> topMenu, std::unique_ptr<HistoryStorage> storage);
  ~Cli();
  Cli(const Cli&) = delete;
  Cli& operator=(const Cli&) = delete;

  /// Called with a session's stream when it ends, behind the session's own exit action.
  void SetExitAction(ExitAction action);

  /// Called with what a command lets through. Without one the exception's text is written.
  void SetStdExceptionHandler(StdExceptionHandler handler);

  Menu& RootMenu() { return *rootMenu; }
  HistoryStorage& History() { return *historyStorage; }

  /// Runs the exit action, if there is one.
  void RunExitAction(std::ostream& out) const;
  /// Hands `exception` to the handler, or writes its text and a line feed.
  void ReportException(std::ostream& out, const std::string& commandLine,
                       const std::exception& exception) const;

  /// The process's one stream to all sessions.
  static OutStream& Out();

 private:
  std::unique_ptr<HistoryStorage> historyStorage;
  std::unique_ptr<Menu> rootMenu;
  ExitAction exitAction;
  StdExceptionHandler stdExceptionHandler;
};

}  // namespace cli
