#include "util/all_messages.h"

#include <string>

#include "CmnSys/Util/Schema.h"

namespace CmnSys::Test {

using google::protobuf::Message;

std::vector<const Message*> AllMessages() {
  std::vector<const Message*> messages;
  for (const std::string& name : Util::MessageNames(Util::SchemaFiles())) {
    messages.push_back(google::protobuf::MessageFactory::generated_factory()->GetPrototype(
        Util::FindMessageType(name)));
  }
  return messages;
}

}  // namespace CmnSys::Test
