// The argument TYPE of commands that work on messages.

#ifndef CMNSYS_TOOLS_SCHEMA_MESSAGE_TYPE_H_
#define CMNSYS_TOOLS_SCHEMA_MESSAGE_TYPE_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

namespace CmnSys::Tool {

// Returns the one name that the query stands for, in full or by its last parts. Throws Failure for
// none, with the nearest names, and for several, with all of them. `kind` says what is looked for,
// for example "message type".
std::string ResolveName(const std::vector<std::string>& names, const std::string& query,
                        const std::string& kind);

// Returns an empty message of the type that TYPE names. Throws Failure when there is none.
std::unique_ptr<google::protobuf::Message> NewMessage(const std::string& type);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_SCHEMA_MESSAGE_TYPE_H_
