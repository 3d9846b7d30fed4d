#include "help/manual_page.h"

#include <sstream>
#include <vector>

namespace CmnSys::Tool {
namespace {

// Text that troff prints as it stands.
std::string Escaped(const std::string& text) {
  std::string result;
  if (!text.empty() && (text.front() == '.' || text.front() == '\'')) result = "\\&";
  for (const char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      result += c;
    }
  }
  return result;
}

// One paragraph of a help text: lines that are indented stay as they are, others are filled.
std::string Paragraph(const std::vector<std::string>& lines) {
  std::string page = ".PP\n";
  bool verbatim = false;
  for (const std::string& line : lines) {
    const bool indented = line.front() == ' ';
    if (indented != verbatim) page += indented ? ".RS 2\n.nf\n" : ".fi\n.RE\n";
    verbatim = indented;
    page += Escaped(indented ? line.substr(line.find_first_not_of(' ')) : line) + "\n";
  }
  return page + (verbatim ? ".fi\n.RE\n" : "");
}

std::string Paragraphs(const std::string& text) {
  std::string page;
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) {
      lines.push_back(line);
    } else if (!lines.empty()) {
      page += Paragraph(lines);
      lines.clear();
    }
  }
  return page + (lines.empty() ? "" : Paragraph(lines));
}

// The argument's default and whether it may be repeated, as a sentence or two.
std::string Details(const Argument& argument) {
  std::string text;
  if (!argument.default_value.empty()) text += " Default: " + argument.default_value + ".";
  if (argument.repeatable) text += " May be given several times.";
  return text;
}

std::string Entry(const Argument& argument) {
  std::string names;
  for (const std::string& name : argument.names) {
    names += (names.empty() ? "" : ", ") + ("\\fB" + Escaped(name) + "\\fR");
  }
  const std::string value = argument.value.empty() ? "" : "\\fI" + Escaped(argument.value) + "\\fR";
  return ".TP\n" + names + (names.empty() || value.empty() ? "" : " ") + value + "\n" +
         Escaped(argument.description + "." + Details(argument)) + "\n";
}

std::string Entries(const CommandDescription& command) {
  std::string page;
  for (const Argument& argument : command.positionals) page += Entry(argument);
  for (const Argument& argument : command.options) page += Entry(argument);
  return page;
}

// "cmnsys COMMAND [OPTIONS] TYPE [INPUT]"
std::string Usage(const CommandDescription& command) {
  std::string usage = "cmnsys " + command.name + " [OPTIONS]";
  for (const Argument& argument : command.positionals) {
    const std::string value = argument.value + (argument.repeatable ? "..." : "");
    usage += argument.required ? " " + value : " [" + value + "]";
  }
  return usage;
}

}  // namespace

std::string ManualPage(const CommandDescription& program) {
  std::string page = ".TH CMNSYS 1 \"\" \"cmnsys " CMNSYS_VERSION "\" \"User Commands\"\n";
  page +=
      ".SH NAME\ncmnsys \\- show, read and write the messages of the system\n.SH SYNOPSIS\n.nf\n";
  for (const CommandDescription& command : program.commands) page += Escaped(Usage(command)) + "\n";
  page += ".fi\n.SH DESCRIPTION\n" + Escaped(program.description) + "\n";
  page += Paragraphs(program.footer) + Entries(program) + ".SH COMMANDS\n";
  for (const CommandDescription& command : program.commands) {
    page += ".SS " + Escaped(Usage(command)) + "\n" + Escaped(command.description) + ".\n";
    page += Entries(command) + Paragraphs(command.footer);
  }
  return page;
}

}  // namespace CmnSys::Tool
