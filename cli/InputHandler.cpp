#include "cli/InputHandler.h"

#include <algorithm>
#include <cstddef>
#include <ostream>

namespace cli::detail {

namespace {

std::string CommonPrefix(const std::vector<std::string>& texts) {
  std::string prefix = texts.front();
  for (const std::string& text : texts) {
    const auto difference =
        std::mismatch(prefix.begin(), prefix.end(), text.begin(), text.end()).first;
    prefix.erase(difference, prefix.end());
  }
  return prefix;
}

}  // namespace

InputHandler::InputHandler(CliSession& cliSession, InputDevice& device)
    : session(cliSession), editor(cliSession.Out()) {
  device.SetHandler([this](std::span<const KeyEvent> keys) { HandleKeys(keys); });
  device.SetResumedHandler([this] { HandleResumed(); });
}

void InputHandler::HandleKeys(std::span<const KeyEvent> keys) {
  for (const KeyEvent& key : keys) {
    if (session.IsLeaving()) {
      break;
    }
    _Act(editor.Handle(key));
  }
  _Flush();
}

void InputHandler::HandleResumed() {
  if (session.IsLeaving()) {
    return;
  }
  session.Out() << '\r';
  session.WritePrompt();
  editor.Redraw(LineEditor::Cursor::Stays);
  _Flush();
}

void InputHandler::_Flush() {
  if (session.Out().flush().bad()) {
    session.Leave();
  }
}

void InputHandler::_Act(const EditResult& result) {
  switch (result.kind) {
    case EditResult::Nothing:
      break;
    case EditResult::Command:
      session.ProcessLine(result.text);
      session.WritePrompt();
      break;
    case EditResult::HistoryUp:
      editor.ReplaceLine(session.History().Older(editor.Line()));
      break;
    case EditResult::HistoryDown:
      editor.ReplaceLine(session.History().Newer());
      break;
    case EditResult::Tab:
      _Complete();
      break;
    case EditResult::EndOfInput:
      session.Leave();
      break;
  }
}

void InputHandler::_Complete() {
  const std::vector<std::string> completions = session.CompletionsFor(editor.Line());
  if (completions.empty()) {
    return;
  }
  if (completions.size() == 1) {
    editor.ReplaceLine(completions.front() + ' ');
    return;
  }
  const std::string prefix = CommonPrefix(completions);
  if (prefix.size() > editor.Line().size()) {
    editor.ReplaceLine(prefix);
  } else {
    _ListCompletions(completions);
  }
}

void InputHandler::_ListCompletions(const std::vector<std::string>& completions) {
  std::ostream& out = session.Out();
  out << '\n';
  for (const std::string& completion : completions) {
    out << '\t' << completion;
  }
  out << '\n';
  session.WritePrompt();
  editor.Redraw(LineEditor::Cursor::AtEnd);
}

}  // namespace cli::detail
