#include "help/completion.h"

#include <algorithm>

#include "commands/options.h"
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

std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  return names;
}

bool IsShown(const CLI::Option& option) { return !option.get_group().empty(); }
bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() != 0; }

// The command line as far as it is typed.
class CommandLine {
 public:
  explicit CommandLine(const CLI::App& app) : app_(app) {}

  // A word that is complete. Bash splits --option=value into three.
  void Pass(const std::string& word) {
    if (word == "=") return;
    if (waiting_ != nullptr) {
      waiting_ = nullptr;
    } else if (word.size() > 1 && word[0] == '-') {
      const CLI::Option* option = Find(word.substr(0, word.find('=')));
      if (option != nullptr && TakesValue(*option) && word.find('=') == word.npos) {
        waiting_ = option;
      }
    } else if (command_ == nullptr) {
      for (const CLI::App* command : app_.get_subcommands({})) {
        if (command->get_name() == word) command_ = command;
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
      const CLI::Option* option = Find(typed.substr(0, equals));
      return option == nullptr ? "words\n" : Values(*option, typed, typed.substr(0, equals + 1));
    }
    Answer answer(typed);
    if (!typed.empty() && typed[0] == '-') {
      AddOptions(command_ != nullptr ? *command_ : app_, &answer);
      if (command_ != nullptr) AddOptions(app_, &answer, true);
    } else if (command_ == nullptr) {
      for (const CLI::App* command : app_.get_subcommands({})) {
        answer.Add(command->get_name(), command->get_description());
      }
    } else if (const CLI::Option* argument = Argument()) {
      return Values(*argument, typed);
    }
    return answer.text();
  }

 private:
  const CLI::Option* Find(const std::string& name) const {
    for (const CLI::App* app : {command_, &app_}) {
      if (app == nullptr) continue;
      for (const CLI::Option* option : app->get_options()) {
        const std::vector<std::string> names = NamesOf(*option);
        if (std::find(names.begin(), names.end(), name) != names.end()) return option;
      }
    }
    return nullptr;
  }

  // Of the program's options, those with a value may also follow a command.
  static void AddOptions(const CLI::App& app, Answer* answer, bool with_value_only = false) {
    for (const CLI::Option* option : app.get_options()) {
      if (!IsShown(*option) || (with_value_only && !TakesValue(*option))) continue;
      for (const std::string& name : NamesOf(*option)) answer->Add(name, option->get_description());
    }
  }

  // The argument that is typed, by its place.
  const CLI::Option* Argument() const {
    std::size_t place = 0;
    for (const CLI::Option* option : command_->get_options()) {
      if (!option->get_positional()) continue;
      if (place == arguments_ || option->get_expected_max() > 1) return option;
      ++place;
    }
    return nullptr;
  }

  static std::string Values(const CLI::Option& option, const std::string& typed,
                            const std::string& prefix = "") {
    Answer answer(typed);
    for (const std::string& word : WordsOf(option)) answer.Add(prefix + word);
    // An argument is known by its name, an option by the name of its value.
    const bool is_argument = option.get_positional();
    const std::string kind = is_argument ? option.get_name() : option.get_type_name();
    if (kind == "INPUT" || kind == "LEFT" || kind == "RIGHT" || kind == "FILE") return "files\n";
    if (kind == "TYPE") answer.AddNames("messages");
    if (kind == "METHOD") answer.AddNames("methods");
    if (kind == "NAME" && is_argument) answer.AddNames("all");
    return answer.text();
  }

  const CLI::App& app_;
  const CLI::App* command_ = nullptr;
  const CLI::Option* waiting_ = nullptr;  // An option whose value comes next.
  std::size_t arguments_ = 0;
};

}  // namespace

std::string Complete(const CLI::App& app, const std::vector<std::string>& words) {
  CommandLine line(app);
  for (std::size_t i = 0; i + 1 < words.size(); ++i) line.Pass(words[i]);
  return line.Complete(words.empty() ? "" : words.back());
}

}  // namespace CmnSys::Tool
