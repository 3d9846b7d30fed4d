#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/wire_format.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "CmnSys/Util/Check.h"
#include "CmnSys/Util/Schema.h"
#include "commands.h"
#include "failure.h"
#include "input.h"
#include "message_stream.h"
#include "message_type.h"
#include "output.h"
#include "text/field_path.h"
#include "text/runtime_text.h"

namespace CmnSys::Tool {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::UnknownFieldSet;
using google::protobuf::internal::WireFormat;
using google::protobuf::io::CodedInputStream;

namespace {

// Records of a stream that are looked at.
constexpr std::size_t kMostRecords = 100;

struct GuessOptions {
  Format from = Format::kAuto;
  InputOptions input;
  std::size_t limit = 5;
};

// What speaks for and against a type.
struct Evidence {
  std::uint64_t unknown_bytes = 0;
  int known_fields = 0;
  int messages = 0;
  int enum_values = 0;
  int texts = 0;
  int unreadable_texts = 0;
  int readable_bytes = 0;  // Bytes fields that hold text.
  int unknown_fields = 0;
  // Records that protobuf writes otherwise from this type: with numbers that are too long for their
  // field, or strings of bytes that pass for packed numbers.
  int rewritten = 0;
  int violations = 0;
  std::vector<std::string> names;  // Of the outermost message's fields.

  // The rarer something is by chance, the more it counts.
  int Score() const {
    return known_fields + messages + 2 * enum_values + 2 * texts - 3 * unreadable_texts -
           readable_bytes - 4 * unknown_fields - 10 * rewritten - 2 * violations;
  }
};

struct Candidate {
  const Descriptor* type = nullptr;
  Evidence evidence;
};

bool IsReadable(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x80 || (byte >= 0x20 && byte != 0x7f) || c == '\n' || c == '\t' || c == '\r';
  });
}

bool IsUtf8(const std::string& text) { return Util::FirstInvalidUtf8(text) == text.size(); }

void Weigh(const Message& message, Evidence* evidence);

void WeighValue(const Message& message, const FieldDescriptor* field, int index,
                Evidence* evidence) {
  const Reflection* reflection = message.GetReflection();
  const bool repeated = field->is_repeated();
  ++evidence->known_fields;
  if (field->cpp_type() == FieldDescriptor::CPPTYPE_ENUM) ++evidence->enum_values;
  if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
    ++evidence->messages;
    Weigh(repeated ? reflection->GetRepeatedMessage(message, field, index)
                   : reflection->GetMessage(message, field),
          evidence);
  }
  if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
    const std::string text = repeated ? reflection->GetRepeatedString(message, field, index)
                                      : reflection->GetString(message, field);
    const bool readable = IsUtf8(text) && IsReadable(text);
    if (field->type() == FieldDescriptor::TYPE_BYTES) {
      constexpr std::size_t kFewestLetters = 4;
      if (readable && text.size() >= kFewestLetters) ++evidence->readable_bytes;
    } else if (!readable) {
      ++evidence->unreadable_texts;
    } else if (!text.empty()) {
      ++evidence->texts;
    }
  }
}

void Weigh(const Message& message, Evidence* evidence) {
  const Reflection* reflection = message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    // Any bytes pass for an array of numbers, so that its elements count once.
    const bool each = field->is_repeated() && !field->is_packable();
    const int count = each ? reflection->FieldSize(message, field) : 1;
    for (int i = 0; i < count; ++i) WeighValue(message, field, i, evidence);
  }
  const UnknownFieldSet& unknown = reflection->GetUnknownFields(message);
  evidence->unknown_fields += unknown.field_count();
  evidence->unknown_bytes += WireFormat::ComputeUnknownFieldsSize(unknown);
}

void AddNames(const Message& message, std::vector<std::string>* names) {
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    const std::string name = Util::FieldName(*field);
    if (std::find(names->begin(), names->end(), name) == names->end()) names->push_back(name);
  }
}

// Weighs a type against the records; returns false when one of them is no such message.
bool WeighType(const std::vector<std::string_view>& records, int max_depth, Message* message,
               Evidence* evidence) {
  for (const std::string_view record : records) {
    CodedInputStream stream(reinterpret_cast<const std::uint8_t*>(record.data()),
                            static_cast<int>(record.size()));
    stream.SetRecursionLimit(max_depth);
    if (!message->ParseFromCodedStream(&stream) || !stream.ConsumedEntireMessage()) return false;
    Weigh(*message, evidence);
    AddNames(*message, &evidence->names);
    if (message->ByteSizeLong() != record.size()) ++evidence->rewritten;
    evidence->violations += static_cast<int>(Util::Check(*message).size());
  }
  return true;
}

std::vector<Candidate> Candidates(const std::vector<std::string_view>& records, int max_depth) {
  std::vector<Candidate> candidates;
  for (const std::string& name : Util::MessageNames(Util::SchemaFiles())) {
    const std::unique_ptr<Message> message = NewMessage(name);
    Candidate candidate;
    candidate.type = message->GetDescriptor();
    if (WeighType(records, max_depth, message.get(), &candidate.evidence)) {
      candidates.push_back(std::move(candidate));
    }
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) {
                     const int a_score = a.evidence.Score();
                     const int b_score = b.evidence.Score();
                     // Of types that explain the same, the one that has less besides is the more
                     // specific one.
                     return a_score != b_score ? a_score > b_score
                                               : a.type->field_count() < b.type->field_count();
                   });
  return candidates;
}

// The records of a stream of delimited messages; empty when the bytes are none.
std::vector<std::string_view> SplitDelimited(std::string_view bytes) {
  std::vector<std::string_view> records;
  while (!bytes.empty()) {
    CodedInputStream stream(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                            static_cast<int>(bytes.size()));
    std::uint32_t length = 0;
    if (!stream.ReadVarint32(&length)) return {};
    bytes.remove_prefix(static_cast<std::size_t>(stream.CurrentPosition()));
    if (length > bytes.size()) return {};
    records.push_back(bytes.substr(0, length));
    bytes.remove_prefix(length);
  }
  return records;
}

std::string Counted(int count, const std::string& one, const std::string& several) {
  return std::to_string(count) + " " + (count == 1 ? one : several);
}

std::string Reason(const Evidence& evidence, std::uint64_t total) {
  std::string text = evidence.unknown_bytes == 0
                         ? "knows all " + std::to_string(total) + " bytes"
                         : "does not know " + Counted(evidence.unknown_fields, "field", "fields") +
                               " of " + std::to_string(evidence.unknown_bytes) + " of " +
                               std::to_string(total) + " bytes";
  constexpr std::size_t kMostNames = 4;
  for (std::size_t i = 0; i < evidence.names.size() && i <= kMostNames; ++i) {
    text += i == 0 ? "; has " : ", ";
    text += i == kMostNames ? "..." : evidence.names[i];
  }
  const auto add = [&text](int count, const std::string& one, const std::string& several) {
    if (count > 0) text += "; " + Counted(count, one, several);
  };
  add(evidence.enum_values, "enum value is declared", "enum values are declared");
  add(evidence.texts, "string is readable", "strings are readable");
  add(evidence.unreadable_texts, "string is not readable", "strings are not readable");
  add(evidence.readable_bytes, "bytes field holds text", "bytes fields hold text");
  add(evidence.rewritten, "record would be written otherwise",
      "records would be written otherwise");
  add(evidence.violations, "payload does not go with its selector",
      "payloads do not go with their selectors");
  return text;
}

void Guess(const GuessOptions& options) {
  const WireInput input = ReadWireInput(options.input, options.from);
  if (input.bytes.empty()) {
    throw Failure(options.input.Name() + " is empty, which every message type fits");
  }
  std::vector<std::string_view> records = {input.bytes};
  const std::vector<std::string_view> split = SplitDelimited(input.bytes);
  if (input.delimited) {
    if (split.empty()) throw Failure(options.input.Name() + " is no stream of delimited messages");
    records = split;
    if (records.size() > kMostRecords) records.resize(kMostRecords);
  } else if (split.size() > 1) {
    PrintError("the bytes are also " + std::to_string(split.size()) +
               " records of a delimited stream; --from delimited guesses for those");
  }
  std::uint64_t total = 0;
  for (const std::string_view record : records) total += record.size();

  const std::vector<Candidate> candidates = Candidates(records, options.input.max_depth);
  if (candidates.empty()) {
    throw Failure(options.input.Name() + " fits no message type of the schema");
  }
  const int best = candidates.front().evidence.Score();
  const auto equals = std::count_if(
      candidates.begin(), candidates.end(),
      [best](const Candidate& candidate) { return candidate.evidence.Score() == best; });
  std::string text;
  for (std::size_t i = 0; i < candidates.size() && i < options.limit; ++i) {
    const Evidence& evidence = candidates[i].evidence;
    text += std::to_string(i + 1) + ". " + candidates[i].type->full_name() + "  (score " +
            std::to_string(evidence.Score()) + ")\n   " + Reason(evidence, total) + "\n";
  }
  if (equals > 1) {
    text += std::to_string(equals) + " types fit equally well; more bytes would tell them apart\n";
  }
  WriteOutput({}, text, OutputKind::kText);
}

}  // namespace

void AddGuessCommand(CLI::App* app) {
  auto options = std::make_shared<GuessOptions>();
  CLI::App* command =
      app->add_subcommand("guess", "Tell which message types unknown bytes are likely to be");
  options->input.AddTo(command);
  AddFormatOption(command, "-f,--from", &options->from,
                  "Format of the input: binary, delimited, hex or delimited-hex");
  command->add_option("-n,--limit", options->limit, "Types to print")
      ->check(CLI::Range(1, 10000))
      ->type_name("NUMBER")
      ->capture_default_str();
  command->footer(
      "Tries all message types and ranks those that can be parsed, the likeliest first. Known "
      "fields, declared enum values and readable strings speak for a type; unknown fields, "
      "unreadable strings and payloads without their selector against it. Short messages fit many "
      "types.\n"
      "\n"
      "Examples:\n"
      "  cmnsys guess captured.bin\n"
      "  echo '0a 02 01 02 38 02' | cmnsys guess --from hex --limit 3");
  command->callback([options] { Guess(*options); });
}

}  // namespace CmnSys::Tool
