// Reads and makes messages whose type is known only at run time.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

// A new message of the named type, or null when the loaded libraries do not have the type.
std::unique_ptr<Message> NewMessage(const std::string& full_name) {
  const Descriptor* type = DescriptorPool::generated_pool()->FindMessageTypeByName(full_name);
  if (type == nullptr) return nullptr;
  return std::unique_ptr<Message>(MessageFactory::generated_factory()->GetPrototype(type)->New());
}

// Prints what is set, extensions included.
void PrintSetFields(const Message& message) {
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    std::cout << field->number() << ' ' << field->full_name() << '\n';
  }
}

}  // namespace

int main() {
  // Calling any function of the library makes the linker keep it, also under --as-needed.
  Pb::CmnSys::protobuf_AddDesc_ProtoBuf_2fCmnSys_2fCmnSys_2eGid_2eproto();

  const std::unique_ptr<Message> event = NewMessage("Pb.CmnSys.Events.Event");
  if (event == nullptr) return 1;
  const FieldDescriptor* name = event->GetDescriptor()->FindFieldByName("originating_server_name");
  event->GetReflection()->SetString(event.get(), name, "server-1");
  PrintSetFields(*event);
  return 0;
}
