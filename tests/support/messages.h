// Messages made by name, for tests whose cases are tables.

#ifndef CMNSYS_TESTS_SUPPORT_MESSAGES_H_
#define CMNSYS_TESTS_SUPPORT_MESSAGES_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace CmnSys::Test {

// An empty message of the generated class with this full name; throws std::runtime_error when there
// is none.
inline std::unique_ptr<google::protobuf::Message> NewMessage(const std::string& type) {
  const auto* descriptor =
      google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(type);
  if (descriptor == nullptr) throw std::runtime_error("no message " + type);
  return std::unique_ptr<google::protobuf::Message>(
      google::protobuf::MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
}

// Throws std::runtime_error when the text is not a message of this type.
inline std::unique_ptr<google::protobuf::Message> MessageFromText(const std::string& type,
                                                                  const std::string& text) {
  auto message = NewMessage(type);
  if (!google::protobuf::TextFormat::ParseFromString(text, message.get())) {
    throw std::runtime_error("not a " + type + ": " + text);
  }
  return message;
}

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_SUPPORT_MESSAGES_H_
