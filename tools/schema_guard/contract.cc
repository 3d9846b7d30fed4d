#include "contract.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace CmnSys::SchemaGuard {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorProto;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumDescriptorProto;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::ServiceDescriptorProto;

namespace {

// Behind how many of the old declarations of its kind a new one may stand at the earliest.
enum class Additions : std::size_t {
  kAnywhere = 0,
  kNotFirst = 1,
  kLast = std::numeric_limits<std::size_t>::max()
};

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

// The declaration on one line, in the language of .proto files.
template <class Declaration>
std::string OneLine(const Declaration& declaration) {
  std::string line;
  for (const char c : declaration.DebugString()) {
    if (std::isspace(static_cast<unsigned char>(c)) == 0) {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

// What a declaration says of itself, without those inside it: options, ranges, package, syntax.
std::string OwnProperties(const FileDescriptor& file) {
  FileDescriptorProto proto;
  file.CopyTo(&proto);
  proto.clear_dependency();
  proto.clear_message_type();
  proto.clear_enum_type();
  proto.clear_service();
  proto.clear_extension();
  return proto.ShortDebugString();
}

std::string OwnProperties(const Descriptor& message) {
  DescriptorProto proto;
  message.CopyTo(&proto);
  proto.clear_field();
  proto.clear_nested_type();
  proto.clear_enum_type();
  proto.clear_extension();
  return proto.ShortDebugString();
}

std::string OwnProperties(const EnumDescriptor& type) {
  EnumDescriptorProto proto;
  type.CopyTo(&proto);
  proto.clear_value();
  return proto.ShortDebugString();
}

std::string OwnProperties(const ServiceDescriptor& service) {
  ServiceDescriptorProto proto;
  service.CopyTo(&proto);
  proto.clear_method();
  return proto.ShortDebugString();
}

std::string OwnProperties(const FieldDescriptor& field) { return OneLine(field); }
std::string OwnProperties(const EnumValueDescriptor& value) { return OneLine(value); }
std::string OwnProperties(const MethodDescriptor& method) { return OneLine(method); }

// Whether both are the same thing on the wire, whatever their names.
bool SameOnTheWire(const FieldDescriptor& a, const FieldDescriptor& b) {
  return a.number() == b.number() &&
         a.containing_type()->full_name() == b.containing_type()->full_name();
}
bool SameOnTheWire(const EnumValueDescriptor& a, const EnumValueDescriptor& b) {
  return a.number() == b.number();
}
template <class Declaration>
bool SameOnTheWire(const Declaration& /*a*/, const Declaration& /*b*/) {
  return false;
}

// Scopes hand out their members by a count and an indexed getter; this makes a list of them.
template <class Scope, class Member>
std::vector<const Member*> List(const Scope& scope, int (Scope::*count)() const,
                                const Member* (Scope::*get)(int) const) {
  std::vector<const Member*> members;
  for (int i = 0; i < (scope.*count)(); ++i) members.push_back((scope.*get)(i));
  return members;
}

template <class Member>
const Member* Named(const std::vector<const Member*>& members, const std::string& name) {
  const auto found = std::find_if(members.begin(), members.end(),
                                  [&](const Member* member) { return member->name() == name; });
  return found == members.end() ? nullptr : *found;
}

class Comparison {
 public:
  explicit Comparison(Findings* findings) : findings_(*findings) {}

  void Files(const SchemaSet& baseline, const SchemaSet& current) {
    for (const FileDescriptor* was : baseline.files()) {
      const FileDescriptor* is = current.pool().FindFileByName(was->name());
      if (is == nullptr) {
        findings_.AddAt(was->name(), "the file is gone; put it back");
      } else {
        File(*was, *is);
      }
    }
  }

 private:
  void File(const FileDescriptor& was, const FileDescriptor& is) {
    Same(was, is);
    Imports(was, is);
    Types(was, is);
    for (const auto& [old_service, service] :
         Kept("service", was, is, &FileDescriptor::service_count, &FileDescriptor::service,
              Additions::kLast)) {
      Same(*old_service, *service);
      KeptAndSame("method", *old_service, *service, &ServiceDescriptor::method_count,
                  &ServiceDescriptor::method, Additions::kLast);
    }
  }

  void Message(const Descriptor& was, const Descriptor& is) {
    Same(was, is);
    KeptAndSame("field", was, is, &Descriptor::field_count, &Descriptor::field,
                Additions::kAnywhere);
    Types(was, is);
  }

  // The types and extensions of a file or a message.
  template <class Scope, class NestedCount, class NestedGet>
  void Types(const Scope& was, const Scope& is, NestedCount count, NestedGet get) {
    for (const auto& [old_message, message] :
         Kept("message", was, is, count, get, Additions::kLast)) {
      Message(*old_message, *message);
    }
    for (const auto& [old_enum, type] :
         Kept("enum", was, is, &Scope::enum_type_count, &Scope::enum_type, Additions::kLast)) {
      Same(*old_enum, *type);
      KeptAndSame("value", *old_enum, *type, &EnumDescriptor::value_count, &EnumDescriptor::value,
                  Additions::kNotFirst);
    }
    KeptAndSame("extension", was, is, &Scope::extension_count, &Scope::extension,
                Additions::kAnywhere);
  }
  void Types(const FileDescriptor& was, const FileDescriptor& is) {
    Types(was, is, &FileDescriptor::message_type_count, &FileDescriptor::message_type);
  }
  void Types(const Descriptor& was, const Descriptor& is) {
    Types(was, is, &Descriptor::nested_type_count, &Descriptor::nested_type);
  }

  void Imports(const FileDescriptor& was, const FileDescriptor& is) {
    for (int i = 0; i < was.dependency_count(); ++i) {
      const std::string due = was.dependency(i)->name();
      if (i >= is.dependency_count() || is.dependency(i)->name() != due) {
        findings_.Add(is, "import " + std::to_string(i + 1) + " is " +
                              (i < is.dependency_count() ? Quoted(is.dependency(i)->name())
                                                         : std::string("missing")) +
                              " where " + Quoted(due) +
                              " is due; keep the imports in their order and add new ones last");
        return;
      }
    }
  }

  // Reports members of `was` that `is` lacks or has in another order, and new ones that stand where
  // they may not. Returns the pairs that both have.
  template <class Scope, class Member>
  std::vector<std::pair<const Member*, const Member*>> Kept(const std::string& kind,
                                                            const Scope& was, const Scope& is,
                                                            int (Scope::*count)() const,
                                                            const Member* (Scope::*get)(int) const,
                                                            Additions additions) {
    const auto old_members = List(was, count, get);
    const auto members = List(is, count, get);
    std::vector<std::pair<const Member*, const Member*>> pairs;
    for (const Member* old_member : old_members) {
      const Member* member = Named(members, old_member->name());
      if (member != nullptr) {
        pairs.emplace_back(old_member, member);
      } else {
        Gone(kind, *old_member, is, members);
      }
    }
    Order(kind, pairs, old_members, members, additions);
    return pairs;
  }

  template <class Scope, class Member>
  void KeptAndSame(const std::string& kind, const Scope& was, const Scope& is,
                   int (Scope::*count)() const, const Member* (Scope::*get)(int) const,
                   Additions additions) {
    for (const auto& [old_member, member] : Kept(kind, was, is, count, get, additions)) {
      Same(*old_member, *member);
    }
  }

  template <class Scope, class Member>
  void Gone(const std::string& kind, const Member& old_member, const Scope& is,
            const std::vector<const Member*>& members) {
    for (const Member* member : members) {
      if (SameOnTheWire(old_member, *member)) {
        findings_.Add(*member, "was named " + Quoted(old_member.name()) + "; keep the name");
        return;
      }
    }
    findings_.Add(is, "the " + kind + " " + Quoted(old_member.name()) + " is gone; put it back");
  }

  template <class Member>
  void Order(const std::string& kind,
             const std::vector<std::pair<const Member*, const Member*>>& pairs,
             const std::vector<const Member*>& old_members,
             const std::vector<const Member*>& members, Additions additions) {
    std::vector<const Member*> kept_in_new_order;
    for (const Member* member : members) {
      if (Named(old_members, member->name()) != nullptr) kept_in_new_order.push_back(member);
    }
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      if (kept_in_new_order[i] != pairs[i].second) {
        findings_.Add(*kept_in_new_order[i], "this " + kind + " stands where " +
                                                 Quoted(pairs[i].first->name()) +
                                                 " is due; keep the " + kind + "s in their order");
        return;
      }
    }
    const std::size_t checked = std::min(pairs.size(), static_cast<std::size_t>(additions));
    for (std::size_t i = 0; i < checked; ++i) {
      if (members[i] != pairs[i].second) {
        findings_.Add(*members[i],
                      "this new " + kind + " stands before the old " +
                          Quoted(pairs[i].first->name()) +
                          (additions == Additions::kLast
                               ? "; move it behind all old ones, whose indexes must not change"
                               : "; move it, because the first value is the default of an unset "
                                 "field"));
        return;
      }
    }
  }

  template <class Declaration>
  void Same(const Declaration& was, const Declaration& is) {
    const std::string before = OwnProperties(was);
    const std::string now = OwnProperties(is);
    if (before != now) {
      findings_.Add(is,
                    "was " + Quoted(before) + " and is now " + Quoted(now) + "; change it back");
    }
  }

  Findings& findings_;
};

}  // namespace

void FindBreaches(const SchemaSet& baseline, const SchemaSet& current, Findings* findings) {
  Comparison(findings).Files(baseline, current);
}

}  // namespace CmnSys::SchemaGuard
