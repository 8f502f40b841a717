#include "cli/SplitLine.h"

namespace cli {

namespace {

class Splitter {
 public:
  void Add(char c) {
    switch (state) {
      case State::kBetweenWords:
        _AddBetweenWords(c);
        break;
      case State::kInWord:
        _AddInWord(c);
        break;
      case State::kInQuotes:
        _AddInQuotes(c);
        break;
      case State::kAfterBackslash:
        _AddAfterBackslash(c);
        break;
    }
  }

  std::vector<std::string> Finish() {
    std::erase_if(words, [](const std::string& word) { return word.empty(); });
    return std::move(words);
  }

 private:
  enum class State { kBetweenWords, kInWord, kInQuotes, kAfterBackslash };

  static bool _IsSeparator(char c) { return c == ' ' || c == '\t' || c == '\n'; }
  static bool _IsQuote(char c) { return c == '"' || c == '\''; }

  void _OpenQuotes(char c) {
    words.emplace_back();
    quoteIsDouble = c == '"';
    state = State::kInQuotes;
  }

  void _AddBetweenWords(char c) {
    if (_IsSeparator(c)) {
      return;
    }
    if (_IsQuote(c)) {
      _OpenQuotes(c);
    } else if (c == '\\') {
      words.emplace_back();
      previous = State::kInWord;
      state = State::kAfterBackslash;
    } else {
      words.emplace_back(1, c);
      state = State::kInWord;
    }
  }

  void _AddInWord(char c) {
    if (_IsSeparator(c)) {
      state = State::kBetweenWords;
    } else if (_IsQuote(c)) {
      _OpenQuotes(c);
    } else if (c == '\\') {
      previous = State::kInWord;
      state = State::kAfterBackslash;
    } else {
      words.back() += c;
    }
  }

  void _AddInQuotes(char c) {
    if (c == (quoteIsDouble ? '"' : '\'')) {
      state = State::kBetweenWords;
    } else if (c == '\\') {
      previous = State::kInQuotes;
      state = State::kAfterBackslash;
    } else {
      words.back() += c;
    }
  }

  void _AddAfterBackslash(char c) {
    if (!_IsQuote(c) && c != '\\') {
      words.back() += '\\';
    }
    words.back() += c;
    state = previous;
  }

  State state = State::kBetweenWords;
  State previous = State::kInWord;
  bool quoteIsDouble = false;
  std::vector<std::string> words;
};

}  // namespace

std::vector<std::string> SplitLine(std::string_view line) {
  Splitter splitter;
  for (const char c : line) {
    splitter.Add(c);
  }
  return splitter.Finish();
}

}  // namespace cli
