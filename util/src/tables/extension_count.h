#ifndef CMNSYS_UTIL_SRC_TABLES_EXTENSION_COUNT_H_
#define CMNSYS_UTIL_SRC_TABLES_EXTENSION_COUNT_H_

#include <google/protobuf/message.h>

namespace CmnSys::Util {

// How many extensions are set in a message whose type has extension ranges, repeated ones that have
// become empty counted, too. Unlike Reflection::ListFields it does not look them up in the
// descriptor pool, for whose lock threads that do so all the time wait.
int CountExtensions(const google::protobuf::Message& message,
                    const google::protobuf::Reflection& reflection);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_TABLES_EXTENSION_COUNT_H_
