// Commands with their options, as the parts of the program declare them. CLI11 does the work, but
// only command_line.cc includes it, because it takes seconds to compile in each file.

#ifndef CMNSYS_TOOLS_COMMAND_LINE_COMMAND_H_
#define CMNSYS_TOOLS_COMMAND_LINE_COMMAND_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace CmnSys::Tool {

// An option, or an argument that is known by its position. Refers to what the program owns.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option Required() const;
  // How help texts call the value.
  Option ValueName(const std::string& name) const;
  // What help texts show as the default: the present value, or some words.
  Option ShowDefault() const;
  Option ShowDefault(const std::string& words) const;
  // The heading under which help texts show it.
  Option Group(const std::string& name) const;
  // May be given several times, with one value each.
  Option Repeatable() const;
  // Takes these words only; the description tells them.
  Option OneOf(const std::vector<std::string>& words) const;
  // Takes whole numbers from `least` to `most` only; the description tells them.
  Option Within(std::uint64_t least, std::uint64_t most) const;
  // `fault` returns what is wrong with a value, nothing if it is fine.
  Option Check(const std::function<std::string(const std::string&)>& fault) const;
  Option Needs(Option other) const;
  Option Excludes(Option other) const;

 private:
  CLI::Option* option_;
};

// A command, or the program itself. Refers to what the program owns. What takes a value must live
// as long as the program parses.
class Command {
 public:
  using Take = std::function<void(const std::string&)>;

  explicit Command(CLI::App* app) : app_(app) {}

  Command AddCommand(const std::string& name, const std::string& description) const;

  // Options have names like "-f,--from", an argument a word. A vector takes all values.
  Option Add(const std::string& names, std::string* value, const std::string& description) const;
  Option Add(const std::string& names, std::vector<std::string>* value,
             const std::string& description) const;
  Option Add(const std::string& names, int* value, const std::string& description) const;
  Option Add(const std::string& names, std::uint64_t* value, const std::string& description) const;
  Option Add(const std::string& names, double* value, const std::string& description) const;
  Option Add(const std::string& names, const Take& take, const std::string& description) const;
  Option AddFlag(const std::string& names, bool* value, const std::string& description) const;
  Option AddFlag(const std::string& names, const std::function<void()>& set,
                 const std::string& description) const;

  // What help texts end with.
  void Footer(const std::string& text) const;

  // What the command does once its options have their values.
  void Action(const std::function<void()>& run) const;

 private:
  CLI::App* app_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_COMMAND_LINE_COMMAND_H_
