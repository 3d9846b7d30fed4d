#include "help/completion.h"

#include <algorithm>

#include "schema/names.h"

namespace CmnSys::Tool {
namespace {

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

// The words that complete what is typed.
class Answer {
 public:
  explicit Answer(std::string typed) : typed_(std::move(typed)) {}

  void Add(const std::string& word, const std::string& explanation = "") {
    if (!StartsWith(word, typed_)) return;
    words_ += word + (explanation.empty() ? "" : "\t" + explanation) + "\n";
  }

  // Names in full, and by their last part.
  void AddNames(const std::string& kind) {
    for (const std::string& name : NamesOf(kind)) {
      Add(name);
      Add(name.substr(name.rfind('.') + 1));
    }
  }

  const std::string& text() const { return words_; }

 private:
  std::string typed_;
  std::string words_ = "words\n";
};

bool TakesValue(const Argument& option) { return !option.value.empty(); }

// The command line as far as it is typed.
class CommandLine {
 public:
  explicit CommandLine(const CommandDescription& program) : program_(program) {}

  // A word that is complete. Bash splits --option=value into three.
  void Pass(const std::string& word) {
    if (word == "=") return;
    if (waiting_ != nullptr) {
      waiting_ = nullptr;
    } else if (word.size() > 1 && word[0] == '-') {
      const Argument* option = Find(word.substr(0, word.find('=')));
      if (option != nullptr && TakesValue(*option) && word.find('=') == word.npos) {
        waiting_ = option;
      }
    } else if (command_ == nullptr) {
      for (const CommandDescription& command : program_.commands) {
        if (command.name == word) command_ = &command;
      }
    } else {
      ++arguments_;
    }
  }

  std::string Complete(std::string typed) const {
    if (typed == "=") typed.clear();
    if (waiting_ != nullptr) return Values(*waiting_, typed);
    const std::size_t equals = typed.find('=');
    if (!typed.empty() && typed[0] == '-' && equals != typed.npos) {
      const Argument* option = Find(typed.substr(0, equals));
      return option == nullptr ? "words\n" : Values(*option, typed, typed.substr(0, equals + 1));
    }
    Answer answer(typed);
    if (!typed.empty() && typed[0] == '-') {
      AddOptions(command_ != nullptr ? *command_ : program_, &answer);
      if (command_ != nullptr) AddOptions(program_, &answer, true);
    } else if (command_ == nullptr) {
      for (const CommandDescription& command : program_.commands) {
        answer.Add(command.name, command.description);
      }
    } else if (const Argument* argument = Positional()) {
      return Values(*argument, typed);
    }
    return answer.text();
  }

 private:
  const Argument* Find(const std::string& name) const {
    for (const CommandDescription* command : {command_, &program_}) {
      if (command == nullptr) continue;
      for (const Argument& option : command->options) {
        const std::vector<std::string>& names = option.names;
        if (std::find(names.begin(), names.end(), name) != names.end()) return &option;
      }
    }
    return nullptr;
  }

  // Of the program's options, those with a value may also follow a command.
  static void AddOptions(const CommandDescription& command, Answer* answer,
                         bool with_value_only = false) {
    for (const Argument& option : command.options) {
      if (with_value_only && !TakesValue(option)) continue;
      // Long names first.
      for (auto name = option.names.rbegin(); name != option.names.rend(); ++name) {
        answer->Add(*name, option.description);
      }
    }
  }

  // The argument that is typed, by its place.
  const Argument* Positional() const {
    std::size_t place = 0;
    for (const Argument& argument : command_->positionals) {
      if (place++ == arguments_ || argument.repeatable) return &argument;
    }
    return nullptr;
  }

  static std::string Values(const Argument& argument, const std::string& typed,
                            const std::string& prefix = "") {
    Answer answer(typed);
    for (const std::string& word : argument.words) answer.Add(prefix + word);
    const std::string& kind = argument.value;
    if (kind == "INPUT" || kind == "LEFT" || kind == "RIGHT" || kind == "FILE") return "files\n";
    if (kind == "TYPE") answer.AddNames("messages");
    if (kind == "METHOD") answer.AddNames("methods");
    if (kind == "NAME" && argument.names.empty()) answer.AddNames("all");
    return answer.text();
  }

  const CommandDescription& program_;
  const CommandDescription* command_ = nullptr;
  const Argument* waiting_ = nullptr;  // An option whose value comes next.
  std::size_t arguments_ = 0;
};

}  // namespace

std::string Complete(const CommandDescription& program, const std::vector<std::string>& words) {
  CommandLine line(program);
  for (std::size_t i = 0; i + 1 < words.size(); ++i) line.Pass(words[i]);
  return line.Complete(words.empty() ? "" : words.back());
}

}  // namespace CmnSys::Tool
