#include <memory>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/options.h"
#include "io/failure.h"
#include "io/output.h"
#include "schema/names.h"

namespace CmnSys::Tool {

namespace {

struct ListOptions {
  std::string kind = "messages";
  std::string part;
};

void List(const ListOptions& options) {
  const std::vector<std::string> names = NamesOf(options.kind);
  std::string text;
  for (const std::string& name : names) {
    if (name.find(options.part) != std::string::npos) text += name + "\n";
  }
  if (text.empty()) {
    const std::string what = options.kind == "all" ? "names" : options.kind;
    throw Failure("none of the " + std::to_string(names.size()) + " " + what + " has \"" +
                      options.part + "\" in its name; case counts" +
                      (options.kind == "all" ? "" : ", and --kind all searches all names"),
                  ExitStatus::kNo);
  }
  WriteOutput({}, text, OutputKind::kText);
}

}  // namespace

void AddListCommand(Command program) {
  auto options = std::make_shared<ListOptions>();
  Command command = program.AddCommand("list", "List the names in the schema");
  command.Add("PART", &options->part, "List only the names that contain this");
  command
      .Add("-k,--kind", &options->kind,
           "What to list; files come with their area, all is every name")
      .OneOf(NameKinds())
      .ValueName("KIND")
      .ShowDefault();
  command.Footer(
      "Examples:\n"
      "  cmnsys list\n"
      "  cmnsys list Iota\n"
      "  cmnsys list --kind all GID_TYPE_");
  command.Action([options] { List(*options); });
}

}  // namespace CmnSys::Tool
