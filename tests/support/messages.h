// Messages made by name, for tests whose cases are tables.

#ifndef CMNSYS_TESTS_SUPPORT_MESSAGES_H_
#define CMNSYS_TESTS_SUPPORT_MESSAGES_H_

#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "CmnSys/Util/Schema.h"

namespace CmnSys::Test {

// Throws std::runtime_error when the text is not a message of this type.
inline std::unique_ptr<google::protobuf::Message> MessageFromText(const std::string& type,
                                                                  const std::string& text) {
  auto message = Util::NewMessage(type);
  if (message == nullptr) throw std::runtime_error("no message " + type);
  if (!google::protobuf::TextFormat::ParseFromString(text, message.get())) {
    throw std::runtime_error("not a " + type + ": " + text);
  }
  return message;
}

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_SUPPORT_MESSAGES_H_
