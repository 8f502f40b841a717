#pragma once

#include <cstddef>
#include <ostream>
#include <string>

#include "cli/KeyEvent.h"

namespace cli {

/// What the editor makes of a key, for its owner to act on.
struct EditResult {
  enum Kind {
    Nothing = 0,
    Command = 1,
    HistoryUp = 2,
    HistoryDown = 3,
    Tab = 4,
    EndOfInput = 5,
  };

  Kind kind = Nothing;
  std::string text;  ///< the finished line of a `Command`, else empty
};

/// The line being typed and its echo. The cursor moves by backspaces and by writing text again, so
/// that any terminal will do.
///
/// Nothing is flushed here: the owner flushes once when all keys that arrived together are through.
/// Bound to the thread that runs the session.
class LineEditor {
 public:
  /// `stream` must outlive the editor.
  explicit LineEditor(std::ostream& stream);

  /// Edits the line and echoes the change. At the end of the line a typed character costs the same
  /// however long the line is; in its middle the text behind it is written again.
  EditResult Handle(const detail::KeyEvent& key);

  /// Puts `text` in the place of the line, with the cursor behind it.
  void ReplaceLine(const std::string& text);

  /// Writes the line again behind a new prompt.
  enum class Cursor { AtEnd, Stays };
  void Redraw(Cursor cursor);

  const std::string& Line() const { return line; }
  std::size_t Position() const { return position; }

 private:
  void _Insert(char c);
  void _MoveLeft();
  void _MoveRight();
  void _Backspace();
  void _Delete();
  void _Home();
  void _End();
  EditResult _Return();
  void _Write(std::size_t from);
  void _WriteRepeated(std::size_t count, char c);

  std::string line;
  std::size_t position = 0;
  std::ostream& out;
};

}  // namespace cli
