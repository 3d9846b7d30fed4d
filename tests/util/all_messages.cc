#include "util/all_messages.h"

#include <google/protobuf/descriptor.h>

#include <stdexcept>

#include "CmnSys/Util/Schema.h"

namespace CmnSys::Test {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

namespace {

const Message* Prototype(const std::string& type) {
  const Descriptor* descriptor = DescriptorPool::generated_pool()->FindMessageTypeByName(type);
  if (descriptor == nullptr) throw std::runtime_error("there is no message type " + type);
  return MessageFactory::generated_factory()->GetPrototype(descriptor);
}

}  // namespace

std::vector<const Message*> AllMessages() {
  std::vector<const Message*> messages;
  for (const std::string& name : Util::MessageNames(Util::SchemaFiles())) {
    messages.push_back(Prototype(name));
  }
  return messages;
}

std::unique_ptr<Message> NewMessage(const std::string& type) {
  Util::SchemaFiles();  // Keeps linkers from dropping the schema library.
  return std::unique_ptr<Message>(Prototype(type)->New());
}

}  // namespace CmnSys::Test
