#include <google/protobuf/descriptor.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/wire_format.h>

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "input.h"
#include "message_stream.h"
#include "message_type.h"
#include "output.h"
#include "progress.h"
#include "text/field_path.h"

namespace CmnSys::Tool {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::UnknownFieldSet;
using google::protobuf::internal::WireFormat;

namespace {

struct SizeOptions {
  std::string type;
  Format from = Format::kAuto;
  InputOptions input;
  JsonOptions json;
  int max_depth_shown = 100;
  bool by_path = false;
};

struct Usage {
  std::uint64_t bytes = 0;  // With tags and lengths.
  std::uint64_t count = 0;  // Values; elements of repeated fields one by one.
  int depth = 0;
};

using UsageByPath = std::map<std::string, Usage>;

std::string PathOf(const std::string& parent, const std::string& name) {
  return parent.empty() ? name : parent + "." + name;
}

void AddMessage(const Message& message, const std::string& path, int depth, UsageByPath* usage);

void AddField(const Message& message, const FieldDescriptor* field, const std::string& parent,
              int depth, UsageByPath* usage) {
  const Reflection* reflection = message.GetReflection();
  const std::string name = Util::FieldName(*field);
  const std::string path = PathOf(parent, field->is_repeated() ? name + "[]" : name);
  const int count = field->is_repeated() ? reflection->FieldSize(message, field) : 1;
  Usage& own = (*usage)[path];
  own.bytes += WireFormat::FieldByteSize(field, message);
  own.count += static_cast<std::uint64_t>(count);
  own.depth = depth;
  if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) return;
  for (int i = 0; i < count; ++i) {
    AddMessage(field->is_repeated() ? reflection->GetRepeatedMessage(message, field, i)
                                    : reflection->GetMessage(message, field),
               path, depth + 1, usage);
  }
}

void AddMessage(const Message& message, const std::string& path, int depth, UsageByPath* usage) {
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) AddField(message, field, path, depth, usage);

  const UnknownFieldSet& unknown = message.GetReflection()->GetUnknownFields(message);
  for (int i = 0; i < unknown.field_count(); ++i) {
    UnknownFieldSet single;
    single.AddField(unknown.field(i));
    Usage& own = (*usage)[PathOf(path, std::to_string(unknown.field(i).number()))];
    own.bytes += WireFormat::ComputeUnknownFieldsSize(single);
    own.count += 1;
    own.depth = depth;
  }
}

std::string Row(std::uint64_t bytes, std::uint64_t total, std::uint64_t count,
                const std::string& path) {
  char columns[80];
  std::snprintf(columns, sizeof columns, "%12" PRIu64 " %6.1f%% %10" PRIu64 "  ", bytes,
                total == 0 ? 0.0 : 100.0 * static_cast<double>(bytes) / static_cast<double>(total),
                count);
  return columns + path + "\n";
}

void Size(const SizeOptions& options) {
  const std::unique_ptr<Message> message = NewMessage(options.type);
  const auto source = OpenSource(options.input, options.from, options.json);
  UsageByPath usage;
  std::uint64_t total = 0;
  std::uint64_t records = 0;
  {
    Progress progress(options.input.path);
    while (source->Next(message.get())) {
      total += message->ByteSizeLong();
      ++records;
      AddMessage(*message, "", 1, &usage);
      progress.Update(source->position());
    }
  }

  std::vector<std::pair<std::string, Usage>> rows;
  for (const auto& entry : usage) {
    if (entry.second.depth <= options.max_depth_shown) rows.emplace_back(entry);
  }
  if (!options.by_path) {
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return a.second.bytes > b.second.bytes; });
  }
  std::string text = "       BYTES   SHARE      VALUES  FIELD\n";
  text += Row(total, total, records, "(" + message->GetTypeName() + ")");
  for (const auto& [path, own] : rows) text += Row(own.bytes, total, own.count, path);
  WriteOutput({}, text, OutputKind::kText);
}

}  // namespace

void AddSizeCommand(CLI::App* app) {
  auto options = std::make_shared<SizeOptions>();
  CLI::App* command =
      app->add_subcommand("size", "Show how many wire bytes each field of messages takes");
  command->add_option("TYPE", options->type, "Message type, for example Pb.CmnSys.Gid or Gid")
      ->required();
  options->input.AddTo(command);
  AddFormatOption(command, "-f,--from", &options->from, "Format of the input");
  command->add_option("-d,--depth", options->max_depth_shown, "Show fields to this depth only")
      ->check(CLI::Range(1, 1000))
      ->type_name("LEVELS")
      ->default_str("all");
  command->add_flag("--by-path", options->by_path, "Sort by field instead of by size");
  command->footer(
      "The bytes of a field include its tag and length and all that lies below it; those of "
      "repeated fields and of all records of a stream are added up. Unknown fields stand by "
      "number. \"cmnsys convert --help\" explains the formats.\n"
      "\n"
      "Examples:\n"
      "  cmnsys size Event event.bin\n"
      "  cmnsys size Event events.delimited --depth 1");
  command->callback([options] { Size(*options); });
}

}  // namespace CmnSys::Tool
