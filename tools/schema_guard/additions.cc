#include "additions.h"

#include <string>

namespace CmnSys::SchemaGuard {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::DescriptorProto;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FieldOptions;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;
using google::protobuf::FileOptions;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::ServiceOptions;
using google::protobuf::UnknownField;
using google::protobuf::UnknownFieldSet;

namespace {

// The custom options of the siblings' RPC schema that every service sets to 1.
constexpr int kServiceOptions[] = {50001, 50002};

// Custom options stand among the unknown fields: this program does not know their declarations.
bool SetToOne(const UnknownFieldSet& options, int number) {
  for (int i = 0; i < options.field_count(); ++i) {
    const UnknownField& field = options.field(i);
    if (field.number() == number) {
      return field.type() == UnknownField::TYPE_VARINT && field.varint() == 1;
    }
  }
  return false;
}

class AdditionCheck {
 public:
  AdditionCheck(const SchemaSet& baseline, Findings* findings)
      : baseline_(baseline.pool()), findings_(*findings) {}

  void File(const FileDescriptor& file) {
    if (baseline_.FindFileByName(file.name()) == nullptr) NewFile(file);
    for (int i = 0; i < file.message_type_count(); ++i) Message(*file.message_type(i));
    for (int i = 0; i < file.enum_type_count(); ++i) Enum(*file.enum_type(i));
    for (int i = 0; i < file.extension_count(); ++i) Field(*file.extension(i));
    for (int i = 0; i < file.service_count(); ++i) Service(*file.service(i));
  }

 private:
  void NewFile(const FileDescriptor& file) {
    if (file.syntax() != FileDescriptor::SYNTAX_PROTO2) {
      findings_.Add(file, "is not proto2; begin it with syntax = \"proto2\"");
    }
    if (file.public_dependency_count() > 0 || file.weak_dependency_count() > 0) {
      findings_.Add(file, "has a public or weak import; import the file plainly");
    }
    FileOptions allowed;
    if (file.options().optimize_for() == FileOptions::SPEED && file.options().has_optimize_for()) {
      allowed.set_optimize_for(FileOptions::SPEED);
    }
    OnlyOptions(file, allowed);
  }

  void Message(const Descriptor& message) {
    if (baseline_.FindMessageTypeByName(message.full_name()) == nullptr) {
      if (message.reserved_range_count() > 0 || message.reserved_name_count() > 0)
        NoReserved(message);
      if (message.oneof_decl_count() > 0) {
        findings_.Add(message, "has a oneof; make its members optional fields beside a selector");
      }
      OnlyOptions(message, {});
    }
    for (int i = 0; i < message.field_count(); ++i) Field(*message.field(i));
    for (int i = 0; i < message.extension_count(); ++i) Field(*message.extension(i));
    for (int i = 0; i < message.enum_type_count(); ++i) Enum(*message.enum_type(i));
    for (int i = 0; i < message.nested_type_count(); ++i) Message(*message.nested_type(i));
  }

  void Field(const FieldDescriptor& field) {
    const FieldDescriptor* const old = field.is_extension()
                                           ? baseline_.FindExtensionByName(field.full_name())
                                           : baseline_.FindFieldByName(field.full_name());
    if (old != nullptr) return;
    if (field.is_required()) {
      findings_.Add(field,
                    "is required; make it optional, so that every message that is sent now stays "
                    "valid");
    }
    FieldDescriptorProto proto;
    field.CopyTo(&proto);
    if (proto.has_json_name()) findings_.Add(field, "has a json_name; leave it out");
    FieldOptions allowed;
    if (field.options().packed()) allowed.set_packed(true);
    if (field.options().deprecated()) allowed.set_deprecated(true);
    OnlyOptions(field, allowed);
  }

  void Enum(const EnumDescriptor& type) {
    if (baseline_.FindEnumTypeByName(type.full_name()) == nullptr) {
      if (type.reserved_range_count() > 0 || type.reserved_name_count() > 0) NoReserved(type);
      OnlyOptions(type, {});
    }
    for (int i = 0; i < type.value_count(); ++i) {
      const std::string scope = type.full_name().substr(0, type.full_name().rfind('.') + 1);
      if (baseline_.FindEnumValueByName(scope + type.value(i)->name()) == nullptr) {
        OnlyOptions(*type.value(i), {});
      }
    }
  }

  void Service(const ServiceDescriptor& service) {
    if (baseline_.FindServiceByName(service.full_name()) == nullptr) {
      if (service.file()->service_count() > 1) {
        findings_.Add(service, "shares its file with another service; give it a file of its own");
      }
      ServiceOptions allowed;
      for (const int option : kServiceOptions) {
        if (SetToOne(service.options().unknown_fields(), option)) {
          allowed.mutable_unknown_fields()->AddVarint(option, 1);
        } else {
          findings_.Add(service, "lacks the option " + std::to_string(option) +
                                     " with the value 1, which every service carries");
        }
      }
      OnlyOptions(service, allowed);
    }
    for (int i = 0; i < service.method_count(); ++i) {
      const MethodDescriptor& method = *service.method(i);
      if (baseline_.FindMethodByName(method.full_name()) != nullptr) continue;
      if (method.client_streaming() || method.server_streaming()) {
        findings_.Add(method, "streams; a method takes one request and gives one response");
      }
      OnlyOptions(method, {});
    }
  }

  template <class Declaration>
  void NoReserved(const Declaration& declaration) {
    findings_.Add(declaration,
                  "has reserved numbers or names; tell numbers that stay free in a comment, and "
                  "list them in tools/schema_guard/free_numbers.cc");
  }

  template <class Declaration>
  void OnlyOptions(
      const Declaration& declaration,
      const typename std::decay_t<decltype(std::declval<Declaration>().options())>& allowed) {
    if (declaration.options().SerializeAsString() != allowed.SerializeAsString()) {
      findings_.Add(declaration, "has options that the schema does not use: " +
                                     declaration.options().ShortDebugString() + "; leave them out");
    }
  }

  const DescriptorPool& baseline_;
  Findings& findings_;
};

}  // namespace

void FindForbiddenAdditions(const SchemaSet& baseline, const SchemaSet& current,
                            Findings* findings) {
  AdditionCheck check(baseline, findings);
  for (const FileDescriptor* file : current.files()) check.File(*file);
}

}  // namespace CmnSys::SchemaGuard
