#include "comment_rules.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "words.h"

namespace CmnSys::SchemaGuard {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::SourceLocation;

namespace {

// Names that are misspelt, or spelt against the conventions of the schema, and stay so.
const std::set<std::string>& Misspelt() {
  static const auto* const names = new std::set<std::string>{"EVENT_CATEGOTY_APPLICATIOJHN",
                                                             "MonthlyRecurrecnceType",
                                                             "RAGNE_TYPE_RANGE_BOUNDED",
                                                             "disconnnectReq",
                                                             "emailMesssage",
                                                             "reponses"};
  return *names;
}

template <class Declaration>
std::string LeadingComment(const Declaration& declaration) {
  SourceLocation source;
  return declaration.GetSourceLocation(&source) ? source.leading_comments : "";
}

// A comment apart from the declaration by an empty line speaks of it and of those that follow.
template <class Declaration>
std::string SectionComment(const Declaration& declaration) {
  SourceLocation source;
  std::string comments;
  if (declaration.GetSourceLocation(&source)) {
    for (const std::string& comment : source.leading_detached_comments) comments += comment;
  }
  return comments;
}

// The comment at the beginning of the file stands before the syntax statement.
std::string FileComment(const FileDescriptor& file) {
  SourceLocation source;
  std::string comments;
  if (file.GetSourceLocation({FileDescriptorProto::kSyntaxFieldNumber}, &source)) {
    for (const std::string& comment : source.leading_detached_comments) comments += comment;
    comments += source.leading_comments;
  }
  return comments;
}

bool AnyOf(const std::vector<std::string>& words, const std::set<std::string>& set) {
  return std::any_of(words.begin(), words.end(),
                     [&](const std::string& word) { return set.count(word) != 0; });
}

bool IsPlaceholder(const std::string& comment) {
  const std::vector<std::string> words = Words(comment);
  return words.empty() || AnyOf(words, {"todo", "tbd", "fixme", "xxx"}) ||
         comment.find("...") != std::string::npos || comment.find("??") != std::string::npos;
}

bool TellsNumber(const std::string& comment, int number) {
  return AnyOf(Words(comment), {std::to_string(number)});
}

// Whether a comment explains why `number` follows on `previous` with a gap.
bool TellsGap(const std::string& comment, int previous, int number) {
  return TellsNumber(comment, number) ||
         (TellsNumber(comment, previous + 1) && TellsNumber(comment, number - 1));
}

bool HasOddDefault(const FieldDescriptor& field) {
  if (!field.has_default_value()) return false;
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return field.default_value_int32() != 0;
    case FieldDescriptor::CPPTYPE_INT64:
      return field.default_value_int64() != 0;
    case FieldDescriptor::CPPTYPE_UINT32:
      return field.default_value_uint32() != 0;
    case FieldDescriptor::CPPTYPE_UINT64:
      return field.default_value_uint64() != 0;
    case FieldDescriptor::CPPTYPE_FLOAT:
      return field.default_value_float() != 0;
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return field.default_value_double() != 0;
    case FieldDescriptor::CPPTYPE_BOOL:
      return field.default_value_bool();
    case FieldDescriptor::CPPTYPE_ENUM:
      return field.default_value_enum()->index() != 0;
    case FieldDescriptor::CPPTYPE_STRING:
      return !field.default_value_string().empty();
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return false;
  }
  return false;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text = " ";
  for (const std::string& word : words) text += word + " ";
  return text;
}

// The words of an enum value by which it differs from the enum's other values.
std::string OwnWords(const EnumValueDescriptor& value) {
  std::vector<std::string> words = Words(value.name());
  std::size_t shared = words.size() - 1;
  for (int i = 0; i < value.type()->value_count(); ++i) {
    const std::vector<std::string> other = Words(value.type()->value(i)->name());
    const auto [end, other_end] =
        std::mismatch(words.begin(), words.end(), other.begin(), other.end());
    shared = std::min<std::size_t>(shared, end - words.begin());
  }
  words.erase(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(shared));
  return Joined(words);
}

// Whether most values of the field's enum have the names of other fields: then the field tells
// which of these is set.
bool IsSelector(const FieldDescriptor& field) {
  if (field.is_repeated() || field.enum_type() == nullptr) return false;
  const Descriptor& message = *field.containing_type();
  int payloads = 0;
  for (int v = 0; v < field.enum_type()->value_count(); ++v) {
    const std::string own_words = OwnWords(*field.enum_type()->value(v));
    for (int i = 0; i < message.field_count(); ++i) {
      if (message.field(i)->message_type() != nullptr &&
          Joined(Words(message.field(i)->name())).find(own_words) != std::string::npos) {
        ++payloads;
        break;
      }
    }
  }
  // One value stands for the unknown kind.
  return payloads >= 2 && 2 * payloads >= field.enum_type()->value_count() - 1;
}

bool IsNumber(const FieldDescriptor& field) {
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_BOOL:
    case FieldDescriptor::CPPTYPE_ENUM:
    case FieldDescriptor::CPPTYPE_STRING:
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return false;
    default:
      return true;
  }
}

// A time without its unit in the name.
bool NeedsUnit(const FieldDescriptor& field) {
  static const auto* const times = new std::set<std::string>{
      "age", "delay", "duration", "interval", "period", "time", "timeout", "timestamp"};
  static const auto* const units =
      new std::set<std::string>{"days", "minutes", "ms", "msec", "sec", "seconds", "secs", "utc"};
  const std::vector<std::string> words = Words(field.name());
  return IsNumber(field) && AnyOf(words, *times) && !AnyOf(words, *units);
}

bool TellsUnit(const std::string& comment) {
  static const auto* const units = new std::set<std::string>{
      "convention",  "conventions",  "day",     "days",        "hour",
      "hours",       "jiffies",      "jiffy",   "microsecond", "microseconds",
      "millisecond", "milliseconds", "minute",  "minutes",     "nanosecond",
      "nanoseconds", "second",       "seconds", "unit",        "units"};
  return AnyOf(Words(comment), *units) || comment.find("time base") != std::string::npos;
}

class CommentCheck {
 public:
  explicit CommentCheck(Findings* findings) : findings_(*findings) {}

  void File(const FileDescriptor& file) {
    const std::string comment = FileComment(file);
    if (comment.empty()) {
      findings_.Add(file, "begins without a comment; say what the file is for");
    } else if (IsPlaceholder(comment)) {
      findings_.Add(file, "begins with a placeholder; say what the file is for");
    }
    for (int i = 0; i < file.message_type_count(); ++i) Message(*file.message_type(i), comment);
    for (int i = 0; i < file.enum_type_count(); ++i) Enum(*file.enum_type(i));
    for (int i = 0; i < file.extension_count(); ++i) {
      Required(*file.extension(i), file.extension(i)->message_type());
    }
    for (int i = 0; i < file.service_count(); ++i) Service(*file.service(i));
  }

 private:
  // `around` holds the comments that also speak of this message: the file's and the outer ones.
  void Message(const Descriptor& message, const std::string& around) {
    Required(message);
    const std::string comment = LeadingComment(message);
    std::string group;
    int previous = 0;
    for (int i = 0; i < message.field_count(); ++i) {
      const FieldDescriptor& field = *message.field(i);
      const std::string own = LeadingComment(field);
      if (!own.empty()) group = own;
      if (const std::string reason = WhyNeeded(field, previous, comment); !reason.empty()) {
        Required(field, field.message_type(), reason);
      } else {
        Meaningful(field, field.message_type());
      }
      if (NeedsUnit(field) && !TellsUnit(around + SectionComment(message) + comment + group)) {
        findings_.Add(field, "is a time; say its unit, or whose convention the unit is");
      }
      previous = field.number();
    }
    for (int i = 0; i < message.enum_type_count(); ++i) Enum(*message.enum_type(i));
    for (int i = 0; i < message.nested_type_count(); ++i) {
      Message(*message.nested_type(i), around + SectionComment(message) + comment);
    }
  }

  void Enum(const EnumDescriptor& type) {
    Required(type);
    const std::string comment = LeadingComment(type);
    int previous = -1;
    for (int i = 0; i < type.value_count(); ++i) {
      const EnumValueDescriptor& value = *type.value(i);
      if (value.number() != previous + 1 && !TellsGap(comment, previous, value.number())) {
        Required(value, nullptr, OddNumber(previous, value.number()));
      } else {
        Meaningful(value);
      }
      previous = value.number();
    }
  }

  void Service(const ServiceDescriptor& service) {
    Required(service);
    for (int i = 0; i < service.method_count(); ++i) Required(*service.method(i));
  }

  static std::string OddNumber(int previous, int number) {
    return previous < 0
               ? "begins with " + std::to_string(number)
               : "number " + std::to_string(number) + " follows on " + std::to_string(previous);
  }

  static std::string WhyNeeded(const FieldDescriptor& field, int previous,
                               const std::string& message_comment) {
    if (field.options().deprecated()) return "deprecated";
    if (HasOddDefault(field)) return "the default is not what an unset field reads as elsewhere";
    if (IsSelector(field)) return "selects the payload";
    if (field.number() != previous + 1 && !TellsGap(message_comment, previous, field.number())) {
      return OddNumber(previous, field.number());
    }
    return "";
  }

  template <class Declaration>
  void Required(const Declaration& declaration, const Descriptor* type = nullptr,
                const std::string& reason = "") {
    if (LeadingComment(declaration).empty()) {
      findings_.Add(declaration, "has no comment" + (reason.empty() ? "" : " (" + reason + ")"));
    }
    Meaningful(declaration, type);
  }

  template <class Declaration>
  void Meaningful(const Declaration& declaration, const Descriptor* type = nullptr) {
    const std::string comment = LeadingComment(declaration);
    if (Misspelt().count(declaration.name()) != 0 &&
        !AnyOf(Words(comment), {"misspelled", "misspelt", "spelled", "spelt"})) {
      findings_.Add(declaration, "is misspelt; say in a comment that it is spelt so and stays");
    }
    if (comment.empty()) return;
    if (IsPlaceholder(comment)) {
      findings_.Add(declaration, "has a placeholder for a comment; say what it is for");
      return;
    }
    std::set<std::string> name = NameTopics(declaration.name());
    if (type != nullptr) name.merge(NameTopics(type->name()));
    const std::set<std::string> topics = Topics(comment);
    if (std::includes(name.begin(), name.end(), topics.begin(), topics.end())) {
      findings_.Add(declaration, "has a comment that says only what the name says: " + comment);
    }
  }

  Findings& findings_;
};

}  // namespace

void FindCommentFaults(const SchemaSet& schema, Findings* findings) {
  for (const FileDescriptor* file : schema.files()) CommentCheck(findings).File(*file);
}

}  // namespace CmnSys::SchemaGuard
