#include "CmnSys/Util/Schema.h"

#include <algorithm>

#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"
#include "lookups/schema_file_paths.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::Message;
using google::protobuf::MessageFactory;
using google::protobuf::ServiceDescriptor;

namespace {

std::vector<std::string> Sorted(std::vector<std::string> names) {
  std::sort(names.begin(), names.end());
  return names;
}

void AddMessageNames(const Descriptor* message, std::vector<std::string>* names) {
  names->push_back(message->full_name());
  for (int i = 0; i < message->nested_type_count(); ++i) {
    AddMessageNames(message->nested_type(i), names);
  }
}

void AddEnumNames(const EnumDescriptor* type, std::vector<std::string>* names) {
  names->push_back(type->full_name());
  for (int i = 0; i < type->value_count(); ++i) {
    names->push_back(type->value(i)->full_name());
  }
}

void AddMemberNames(const Descriptor* message, std::vector<std::string>* names) {
  for (int i = 0; i < message->field_count(); ++i) {
    names->push_back(message->field(i)->full_name());
  }
  for (int i = 0; i < message->enum_type_count(); ++i) {
    AddEnumNames(message->enum_type(i), names);
  }
  for (int i = 0; i < message->nested_type_count(); ++i) {
    AddMemberNames(message->nested_type(i), names);
  }
}

void AddServiceNames(const ServiceDescriptor* service, std::vector<std::string>* names) {
  names->push_back(service->full_name());
  for (int i = 0; i < service->method_count(); ++i) {
    names->push_back(service->method(i)->full_name());
  }
}

}  // namespace

const std::vector<const FileDescriptor*>& SchemaFiles() {
  static const auto* const files = [] {
    // Registration has long happened when the library was loaded. The call makes linkers keep the
    // library, which they drop under --as-needed when no symbol of it is used.
    Pb::CmnSys::protobuf_AddDesc_ProtoBuf_2fCmnSys_2fCmnSys_2eGid_2eproto();
    auto* result = new std::vector<const FileDescriptor*>;
    for (const std::string& path : Sorted(SchemaFilePaths())) {
      result->push_back(DescriptorPool::generated_pool()->FindFileByName(path));
    }
    return result;
  }();
  return *files;
}

std::vector<std::string> MessageNames(const std::vector<const FileDescriptor*>& files) {
  std::vector<std::string> names;
  for (const FileDescriptor* file : files) {
    for (int i = 0; i < file->message_type_count(); ++i) {
      AddMessageNames(file->message_type(i), &names);
    }
  }
  return Sorted(std::move(names));
}

std::vector<std::string> AllNames(const std::vector<const FileDescriptor*>& files) {
  std::vector<std::string> names = MessageNames(files);
  for (const FileDescriptor* file : files) {
    for (int i = 0; i < file->message_type_count(); ++i) {
      AddMemberNames(file->message_type(i), &names);
    }
    for (int i = 0; i < file->enum_type_count(); ++i) {
      AddEnumNames(file->enum_type(i), &names);
    }
    for (int i = 0; i < file->extension_count(); ++i) {
      names.push_back(file->extension(i)->full_name());
    }
    for (int i = 0; i < file->service_count(); ++i) {
      AddServiceNames(file->service(i), &names);
    }
  }
  return Sorted(std::move(names));
}

const Descriptor* FindMessageType(const std::string& full_name) {
  SchemaFiles();  // Sees to it that the library is loaded.
  return DescriptorPool::generated_pool()->FindMessageTypeByName(full_name);
}

std::unique_ptr<Message> NewMessage(const std::string& full_name) {
  const Descriptor* const type = FindMessageType(full_name);
  if (type == nullptr) return nullptr;
  return std::unique_ptr<Message>(MessageFactory::generated_factory()->GetPrototype(type)->New());
}

}  // namespace CmnSys::Util
