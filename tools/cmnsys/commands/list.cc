#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "CmnSys/Util/Schema.h"
#include "commands/commands.h"
#include "io/failure.h"
#include "io/output.h"

namespace CmnSys::Tool {

using google::protobuf::FileDescriptor;

namespace {

struct ListOptions {
  std::string kind = "messages";
  std::string part;
};

// Each file with its area in a second column, so that a part of either finds it.
std::vector<std::string> FilesWithAreas(const std::vector<const FileDescriptor*>& files) {
  std::size_t width = 0;
  for (const FileDescriptor* file : files) width = std::max(width, file->name().size());
  std::vector<std::string> lines;
  for (const FileDescriptor* file : files) {
    lines.push_back(file->name() + std::string(width - file->name().size() + 2, ' ') +
                    Util::SchemaArea(*file));
  }
  return lines;
}

std::vector<std::string> ServiceNames(const std::vector<const FileDescriptor*>& files) {
  std::vector<std::string> names;
  for (const FileDescriptor* file : files) {
    for (int i = 0; i < file->service_count(); ++i) names.push_back(file->service(i)->full_name());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// SERVICE/METHOD
std::vector<std::string> MethodNames(const std::vector<const FileDescriptor*>& files) {
  std::vector<std::string> names;
  for (const FileDescriptor* file : files) {
    for (int i = 0; i < file->service_count(); ++i) {
      const google::protobuf::ServiceDescriptor* service = file->service(i);
      for (int j = 0; j < service->method_count(); ++j) {
        names.push_back(service->full_name() + "/" + service->method(j)->name());
      }
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

void List(const ListOptions& options) {
  const std::vector<const FileDescriptor*>& files = Util::SchemaFiles();
  const std::vector<std::string> names = options.kind == "files"      ? FilesWithAreas(files)
                                         : options.kind == "services" ? ServiceNames(files)
                                         : options.kind == "methods"  ? MethodNames(files)
                                         : options.kind == "messages" ? Util::MessageNames(files)
                                                                      : Util::AllNames(files);
  std::string text;
  for (const std::string& name : names) {
    if (name.find(options.part) != std::string::npos) text += name + "\n";
  }
  if (text.empty()) {
    throw Failure("none of the " + std::to_string(names.size()) + " names has \"" + options.part +
                      "\" in it; case counts",
                  ExitStatus::kNo);
  }
  WriteOutput({}, text, OutputKind::kText);
}

}  // namespace

void AddListCommand(CLI::App* app) {
  auto options = std::make_shared<ListOptions>();
  CLI::App* command = app->add_subcommand("list", "List the names in the schema");
  command->add_option("PART", options->part, "List only the names that contain this");
  command
      ->add_option("-k,--kind", options->kind,
                   "What to list; files: with their area; all: every declared name")
      ->check(CLI::IsMember({"messages", "files", "services", "methods", "all"}))
      ->type_name("KIND")
      ->capture_default_str();
  command->footer(
      "Examples:\n"
      "  cmnsys list\n"
      "  cmnsys list Iota\n"
      "  cmnsys list --kind files Devices\n"
      "  cmnsys list --kind all GID_TYPE_");
  command->callback([options] { List(*options); });
}

}  // namespace CmnSys::Tool
