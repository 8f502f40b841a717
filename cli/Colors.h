#pragma once

#include <iosfwd>

namespace cli {

/// Which colours the console writes, and to which streams. All of it is bound to the thread that
/// runs the session. The codes are those of ECMA-48, "select graphic rendition".

/// Switches colours on or off for the whole process. They start off.
void SetColorEnabled(bool enabled);
/// True while colours are switched on, as SetColorEnabled left them.
bool ColorEnabled();

/// True if `stream` takes escape sequences: because a coloured text was once written to it, or
/// because it is a terminal that supports colours.
bool EscapesAllowed(std::ostream& stream);

/// Writes the sequence for `code` if the stream takes it.
void WriteEscape(std::ostream& stream, int code);

/// Manipulators around the prompt's name (green, bold) and around what the operator types (bright
/// white). The first of each pair writes only while colours are on, and from then on the stream
/// takes escape sequences for good; the reset is written to every stream that takes them.
std::ostream& BeforePrompt(std::ostream& stream);
std::ostream& AfterPrompt(std::ostream& stream);
std::ostream& BeforeInput(std::ostream& stream);
std::ostream& AfterInput(std::ostream& stream);

/// True if the environment's "TERM" names a terminal that knows colours. What "TERM" says when it
/// is first found set holds for the life of the process.
bool TerminalSupportsColor();

/// True if `stream` writes to the buffer of std::cout and standard output is a terminal, or to that
/// of std::cerr or std::clog and standard error is one. What they are is looked up once in the life
/// of the process: an echoed key costs no system call of its own.
bool StreamIsTerminal(std::ostream& stream);

}  // namespace cli
