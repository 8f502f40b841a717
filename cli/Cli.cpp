#include "cli/Cli.h"

#include <utility>

namespace cli {

Cli::OutStream::OutStream() : std::ostream(static_cast<std::streambuf*>(this)) {
}

void Cli::OutStream::Add(std::ostream& stream) {
  streams.push_back(&stream);
}

void Cli::OutStream::Remove(std::ostream& stream) {
  std::erase(streams, &stream);
}

int Cli::OutStream::overflow(int c) {
  using Traits = std::char_traits<char>;
  if (!Traits::eq_int_type(c, Traits::eof())) {
    for (std::ostream* stream : streams) {
      stream->put(Traits::to_char_type(c));
    }
  }
  return Traits::not_eof(c);
}

std::streamsize Cli::OutStream::xsputn(const char* text, std::streamsize size) {
  for (std::ostream* stream : streams) {
    stream->rdbuf()->sputn(text, size);
  }
  return size;
}

Cli::Cli(std::unique_ptr<Menu> topMenu, std::unique_ptr<HistoryStorage> storage)
    : historyStorage(std::move(storage)), rootMenu(std::move(topMenu)) {
}

Cli::~Cli() = default;

void Cli::SetExitAction(ExitAction action) {
  exitAction = std::move(action);
}

void Cli::SetStdExceptionHandler(StdExceptionHandler handler) {
  stdExceptionHandler = std::move(handler);
}

void Cli::RunExitAction(std::ostream& out) const {
  if (exitAction) {
    exitAction(out);
  }
}

void Cli::ReportException(std::ostream& out, const std::string& commandLine,
                          const std::exception& exception) const {
  if (stdExceptionHandler) {
    stdExceptionHandler(out, commandLine, exception);
  } else {
    out << exception.what() << "\n";
  }
}

Cli::OutStream& Cli::Out() {
  static OutStream out;
  return out;
}

}  // namespace cli
