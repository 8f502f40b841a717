#pragma once

#include <span>
#include <string>
#include <vector>

#include "cli/CliSession.h"
#include "cli/InputDevice.h"
#include "cli/LineEditor.h"

namespace cli::detail {

/// Joins the keys of a device, the editor and a session. Bound to the scheduler's thread.
class InputHandler {
 public:
  /// Installs itself as the handler of `device`, which must not deliver keys after this object is
  /// gone. `cliSession` must outlive it.
  InputHandler(CliSession& cliSession, InputDevice& device);
  InputHandler(const InputHandler&) = delete;
  InputHandler& operator=(const InputHandler&) = delete;

  /// Handles the keys in order and flushes the session's stream once behind them. Keys behind the
  /// one that ends the session are dropped. A stream that can't be written any more, since the
  /// terminal or the reader is gone, ends the session as the end of input does.
  void HandleKeys(std::span<const KeyEvent> keys);

  /// Writes the prompt and the line again from the start of the screen's line, and leaves the
  /// cursor where it was. Over themselves they change nothing.
  void HandleResumed();

 private:
  void _Flush();
  void _Act(const EditResult& result);
  void _Complete();
  void _ListCompletions(const std::vector<std::string>& completions);

  CliSession& session;
  LineEditor editor;
};

}  // namespace cli::detail
