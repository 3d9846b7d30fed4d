#ifndef CMNSYS_TESTS_UTIL_ALL_MESSAGES_H_
#define CMNSYS_TESTS_UTIL_ALL_MESSAGES_H_

#include <google/protobuf/message.h>

#include <vector>

namespace CmnSys::Test {

// The default instances of every message type of the schema, sorted by name.
std::vector<const google::protobuf::Message*> AllMessages();

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_UTIL_ALL_MESSAGES_H_
