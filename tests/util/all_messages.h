#ifndef CMNSYS_TESTS_UTIL_ALL_MESSAGES_H_
#define CMNSYS_TESTS_UTIL_ALL_MESSAGES_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

namespace CmnSys::Test {

// The default instances of every message type of the schema, sorted by name.
std::vector<const google::protobuf::Message*> AllMessages();

// A new empty message of a type given by its full name; throws std::runtime_error for none.
std::unique_ptr<google::protobuf::Message> NewMessage(const std::string& type);

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_UTIL_ALL_MESSAGES_H_
