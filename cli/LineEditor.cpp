#include "cli/LineEditor.h"

#include <utility>

#include "cli/Colors.h"

namespace cli {

using detail::KeyEvent;
using detail::KeyType;

namespace {

constexpr char kCursorLeft = '\b';

}  // namespace

LineEditor::LineEditor(std::ostream& stream) : out(stream) {
}

EditResult LineEditor::Handle(const KeyEvent& key) {
  switch (key.first) {
    case KeyType::Ascii:
      if (key.second == '\t') {
        return {EditResult::Tab, {}};
      }
      _Insert(key.second);
      break;
    case KeyType::Up:
      return {EditResult::HistoryUp, {}};
    case KeyType::Down:
      return {EditResult::HistoryDown, {}};
    case KeyType::Left:
      _MoveLeft();
      break;
    case KeyType::Right:
      _MoveRight();
      break;
    case KeyType::Backspace:
      _Backspace();
      break;
    case KeyType::Delete:
      _Delete();
      break;
    case KeyType::Home:
      _Home();
      break;
    case KeyType::End:
      _End();
      break;
    case KeyType::Return:
      return _Return();
    case KeyType::EndOfInput:
      return {EditResult::EndOfInput, {}};
    case KeyType::Ignored:
      break;
  }
  return {};
}

void LineEditor::ReplaceLine(const std::string& text) {
  out << BeforeInput;
  _WriteRepeated(position, kCursorLeft);
  out << text << AfterInput;
  if (line.size() > text.size()) {
    const std::size_t rest = line.size() - text.size();
    _WriteRepeated(rest, ' ');
    _WriteRepeated(rest, kCursorLeft);
  }
  line = text;
  position = line.size();
}

void LineEditor::Redraw(Cursor cursor) {
  const std::size_t old = position;
  position = 0;
  ReplaceLine(std::string(line));
  if (cursor == Cursor::Stays) {
    _WriteRepeated(line.size() - old, kCursorLeft);
    position = old;
  }
}

void LineEditor::_Insert(char c) {
  out << BeforeInput;
  out.put(c);
  _Write(position);
  out << AfterInput;
  _WriteRepeated(line.size() - position, kCursorLeft);
  line.insert(position, 1, c);
  ++position;
}

void LineEditor::_MoveLeft() {
  if (position != 0) {
    out.put(kCursorLeft);
    --position;
  }
}

void LineEditor::_MoveRight() {
  if (position < line.size()) {
    out << BeforeInput;
    out.put(line[position]);
    out << AfterInput;
    ++position;
  }
}

void LineEditor::_Backspace() {
  if (position == 0) {
    return;
  }
  --position;
  line.erase(position, 1);
  out.put(kCursorLeft);
  _Write(position);
  out.put(' ');
  _WriteRepeated(line.size() + 1 - position, kCursorLeft);
}

void LineEditor::_Delete() {
  if (position == line.size()) {
    return;
  }
  _Write(position + 1);
  out.put(' ');
  _WriteRepeated(line.size() - position, kCursorLeft);
  line.erase(position, 1);
}

void LineEditor::_Home() {
  _WriteRepeated(position, kCursorLeft);
  position = 0;
}

void LineEditor::_End() {
  out << BeforeInput;
  _Write(position);
  out << AfterInput;
  position = line.size();
}

EditResult LineEditor::_Return() {
  out << "\r\n";
  EditResult result{EditResult::Command, std::move(line)};
  line.clear();
  position = 0;
  return result;
}

void LineEditor::_Write(std::size_t from) {
  out.write(line.data() + from, static_cast<std::streamsize>(line.size() - from));
}

void LineEditor::_WriteRepeated(std::size_t count, char c) {
  const std::string text(count, c);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace cli
