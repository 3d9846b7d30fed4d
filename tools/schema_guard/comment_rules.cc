#include "comment_rules.h"

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "words.h"

namespace CmnSys::SchemaGuard {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::ServiceDescriptor;
using google::protobuf::SourceLocation;

namespace {

using WordSet = std::set<std::string>;

// Names that are misspelt, and part of the contract like all others.
const WordSet& Misspelt() {
  static const auto* const names = new WordSet{"EVENT_CATEGOTY_APPLICATIOJHN",
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

bool AnyOf(const std::vector<std::string>& words, const WordSet& set) {
  return std::any_of(words.begin(), words.end(),
                     [&](const std::string& word) { return set.count(word) != 0; });
}

bool IsPlaceholder(const std::string& comment) {
  const std::vector<std::string> words = Words(comment);
  return words.empty() || AnyOf(words, {"todo", "tbd", "fixme", "xxx"}) ||
         comment.find("...") != std::string::npos || comment.find("??") != std::string::npos;
}

bool TellsMisspelling(const std::vector<std::string>& words) {
  return AnyOf(words, {"misspelled", "misspelt"});
}

// "Number 9 is unused.", "Numbers 2 to 6 must stay free."
bool TellsUnusedNumbers(const std::vector<std::string>& words) {
  return !words.empty() && AnyOf({words.front()}, {"number", "numbers"}) &&
         AnyOf(words, {"free", "unassigned", "unused"});
}

// The comment without the sentences that do not say what the declaration means.
std::string Meaning(std::string_view comment) {
  std::string meaning;
  while (!comment.empty()) {
    const std::string_view sentence = comment.substr(0, comment.find_first_of(".;") + 1);
    const std::string_view rest = sentence.empty() ? comment : sentence;
    const std::vector<std::string> words = Words(rest);
    if (!TellsMisspelling(words) && !TellsUnusedNumbers(words)) meaning += rest;
    comment.remove_prefix(rest.size());
  }
  return meaning;
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

bool NeedsUnit(const FieldDescriptor& field) {
  static const auto* const durations =
      new WordSet{"age", "delay", "duration", "interval", "period", "timeout"};
  static const auto* const units =
      new WordSet{"days", "minutes", "ms", "msec", "sec", "seconds", "secs"};
  const std::vector<std::string> words = Words(field.name());
  return IsNumber(field) && AnyOf(words, *durations) && !AnyOf(words, *units);
}

bool TellsUnit(const std::string& comment) {
  static const auto* const units =
      new WordSet{"agreed",       "day",         "days",         "hour",   "hours",   "jiffies",
                  "microseconds", "millisecond", "milliseconds", "minute", "minutes", "nanoseconds",
                  "second",       "seconds",     "unit",         "units"};
  return AnyOf(Words(comment), *units);
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
    for (int i = 0; i < file.message_type_count(); ++i) Message(*file.message_type(i));
    for (int i = 0; i < file.enum_type_count(); ++i) Enum(*file.enum_type(i));
    for (int i = 0; i < file.extension_count(); ++i) Field(*file.extension(i));
    for (int i = 0; i < file.service_count(); ++i) Service(*file.service(i));
  }

 private:
  void Message(const Descriptor& message) {
    Commented(message);
    for (int i = 0; i < message.field_count(); ++i) Field(*message.field(i));
    for (int i = 0; i < message.extension_count(); ++i) Field(*message.extension(i));
    for (int i = 0; i < message.enum_type_count(); ++i) Enum(*message.enum_type(i));
    for (int i = 0; i < message.nested_type_count(); ++i) Message(*message.nested_type(i));
  }

  void Field(const FieldDescriptor& field) {
    Commented(field, field.message_type());
    if (NeedsUnit(field) && !TellsUnit(LeadingComment(field))) {
      findings_.Add(field, "is a duration; say its unit, or that the unit is agreed");
    }
  }

  void Enum(const EnumDescriptor& type) {
    Commented(type);
    for (int i = 0; i < type.value_count(); ++i) Commented(*type.value(i));
  }

  void Service(const ServiceDescriptor& service) {
    Commented(service);
    for (int i = 0; i < service.method_count(); ++i) Commented(*service.method(i));
  }

  // `type` is the type of a field that holds a message: its name says no more than the field's own.
  template <class Declaration>
  void Commented(const Declaration& declaration, const Descriptor* type = nullptr) {
    const std::string comment = LeadingComment(declaration);
    if (comment.empty()) {
      findings_.Add(declaration, "has no comment; say what it means, directly before it");
      return;
    }
    if (Misspelt().count(declaration.name()) != 0 && !TellsMisspelling(Words(comment))) {
      findings_.Add(declaration, "is misspelt; say so in the comment");
    }
    if (IsPlaceholder(comment)) {
      findings_.Add(declaration, "has a placeholder for a comment; say what it means");
      return;
    }
    const std::string meaning = Meaning(comment);
    if (IsPlaceholder(meaning)) {
      findings_.Add(declaration,
                    "has a comment that does not say what it means, but only: " + comment +
                        "; an empty line takes a note about unused numbers away from it");
      return;
    }
    WordSet name = NameTopics(declaration.name());
    if (type != nullptr) name.merge(NameTopics(type->name()));
    const WordSet topics = Topics(meaning);
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
