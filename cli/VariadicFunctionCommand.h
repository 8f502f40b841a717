#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "cli/Command.h"

namespace cli {

/// A command that calls `function` with the session's stream and one string for each word behind
/// the name. Commands may share a name if they differ in the number of parameters.
template <typename F, typename... Args>
class VariadicFunctionCommand : public Command {
  static_assert((std::is_same_v<Args, std::string> && ...),
                "a handler takes the stream and strings; it parses them itself");

 public:
  /// `parameterTexts` names the parameters in the help; without names each shows as "<string>".
  VariadicFunctionCommand(std::string commandName, F handler, std::string text,
                          std::vector<std::string> parameterTexts)
      : Command(std::move(commandName)),
        function(std::move(handler)),
        description(std::move(text)),
        parameterNames(std::move(parameterTexts)) {}

  /// A std::bad_cast out of the handler means that an argument didn't convert: the line counts as
  /// not taken. Any other exception goes through.
  bool Execute(Words words, CliSession& session) override {
    if (!IsEnabled() || words.size() != sizeof...(Args) + 1 || words[0] != Name()) {
      return false;
    }
    try {
      _Call(OutOf(session), words.subspan(1), std::index_sequence_for<Args...>());
    } catch (const std::bad_cast&) {
      return false;
    }
    return true;
  }

  void WriteHelp(std::ostream& out) const override {
    if (!IsEnabled()) {
      return;
    }
    out << " - " << Name();
    if (parameterNames.empty()) {
      for (std::size_t i = 0; i < sizeof...(Args); ++i) {
        out << " <string>";
      }
    }
    for (const std::string& parameter : parameterNames) {
      out << " <" << parameter << '>';
    }
    out << "\n\t" << description << "\n";
  }

 private:
  template <std::size_t... I>
  void _Call(std::ostream& out, [[maybe_unused]] Words arguments, std::index_sequence<I...>) {
    std::invoke(function, out, arguments[I]...);
  }

  F function;
  std::string description;
  std::vector<std::string> parameterNames;
};

namespace detail {

// From the type of a handler to the class of its command. std::function's deduction reads the
// signature of lambdas, function objects and plain functions alike.
template <typename F, typename Signature>
struct CommandOfSignature;

template <typename F, typename Result, typename... Args>
struct CommandOfSignature<F, std::function<Result(std::ostream&, Args...)>> {
  using Type = VariadicFunctionCommand<F, std::decay_t<Args>...>;
};

template <typename F>
using CommandFor = typename CommandOfSignature<F, decltype(std::function{std::declval<F>()})>::Type;

}  // namespace detail

}  // namespace cli
