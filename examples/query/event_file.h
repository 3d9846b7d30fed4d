// Events from a file in protobuf's text format.

#ifndef QUERY_EXAMPLE_EVENT_FILE_H_
#define QUERY_EXAMPLE_EVENT_FILE_H_

#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"

namespace QueryExample {

// Reads a Pb.CmnSys.Events.EventList. Throws std::runtime_error that names the file, and for a
// syntax error also its line and column.
Pb::CmnSys::Events::EventList ReadEventFile(const std::string& path);

}  // namespace QueryExample

#endif  // QUERY_EXAMPLE_EVENT_FILE_H_
