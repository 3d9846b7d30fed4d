#include "analysis/guess.h"

#include <google/protobuf/unknown_field_set.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "CmnSys/Util/Check.h"
#include "CmnSys/Util/Parse.h"
#include "CmnSys/Util/Schema.h"
#include "analysis/sample.h"
#include "analysis/wire_size.h"
#include "text/field_path.h"
#include "text/runtime_text.h"

namespace CmnSys::Tool {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::UnknownFieldSet;

namespace {

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
  evidence->unknown_bytes += FieldBytes(unknown);
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
bool WeighType(const std::vector<std::string>& records, int max_depth, Message* message,
               Evidence* evidence) {
  Util::ParseLimits limits;
  limits.max_depth = max_depth;
  for (const std::string& record : records) {
    if (Util::Parse(record, limits, message)) return false;
    Weigh(*message, evidence);
    AddNames(*message, &evidence->names);
    if (message->ByteSizeLong() != record.size()) ++evidence->rewritten;
    evidence->violations += static_cast<int>(Util::Check(*message).size());
  }
  return true;
}

// All types that the records parse as, of those that the names stand for.
std::vector<Candidate> Weighed(const std::vector<std::string>& records,
                               const std::vector<std::string>& names, int max_depth) {
  std::vector<Candidate> candidates;
  for (const std::string& name : names) {
    const std::unique_ptr<Message> message = Util::NewMessage(name);
    Candidate candidate;
    candidate.type = message->GetDescriptor();
    if (WeighType(records, max_depth, message.get(), &candidate.evidence)) {
      candidates.push_back(std::move(candidate));
    }
  }
  return candidates;
}

// The types that deserve a look at everything: those that know a field at the beginning of the
// first record, or all when none does.
std::vector<std::string> Hopeful(const std::string& record, int max_depth) {
  constexpr std::size_t kBeginning = 2 << 10;
  const std::string beginning = BeginningOfMessage(record, kBeginning, true);
  const std::vector<std::string> all = Util::MessageNames(Util::SchemaFiles());
  if (beginning.empty()) return all;
  std::vector<std::string> knowing;
  std::vector<std::string> parsing;
  for (const Candidate& candidate : Weighed({beginning}, all, max_depth)) {
    parsing.push_back(candidate.type->full_name());
    if (candidate.evidence.known_fields > 0) knowing.push_back(parsing.back());
  }
  return knowing.empty() ? parsing : knowing;
}

}  // namespace

std::vector<Candidate> Candidates(const std::vector<std::string>& records, int max_depth) {
  std::vector<Candidate> candidates =
      Weighed(records, Hopeful(records.front(), max_depth), max_depth);
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

}  // namespace CmnSys::Tool
