#include "util/all_messages.h"

#include <stdexcept>

#include "CmnSys/Util/Schema.h"

namespace CmnSys::Test {

using google::protobuf::Message;

std::vector<const Message*> AllMessages() {
  std::vector<const Message*> messages;
  for (const std::string& name : Util::MessageNames(Util::SchemaFiles())) {
    messages.push_back(Util::FindPrototype(name));
  }
  return messages;
}

std::unique_ptr<Message> NewMessage(const std::string& type) {
  const Message* prototype = Util::FindPrototype(type);
  if (prototype == nullptr) throw std::runtime_error("there is no message type " + type);
  return std::unique_ptr<Message>(prototype->New());
}

}  // namespace CmnSys::Test
