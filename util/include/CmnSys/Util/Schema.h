// What the loaded schema library holds: its files and the names in them.
//
// All functions are thread-safe. The first call loads the library's descriptors (some ten
// milliseconds); the returned descriptors live until google::protobuf::ShutdownProtobufLibrary.

#ifndef CMNSYS_UTIL_SCHEMA_H_
#define CMNSYS_UTIL_SCHEMA_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

#include "CmnSys/Util/Export.h"

namespace CmnSys::Util {

// The library's own schema files, sorted by path. Files of the sibling libraries are not among
// them. The vector lives as long as the process.
CMNSYSUTIL_EXPORT const std::vector<const google::protobuf::FileDescriptor*>& SchemaFiles();

// The area of the system that a file of SchemaFiles() describes, such as "Devices": one of the nine
// that ProtoBuf/CmnSys/README.md tells of. "" for other files.
CMNSYSUTIL_EXPORT std::string SchemaArea(const google::protobuf::FileDescriptor& file);

// Full names of all messages in the given files, nested ones included, sorted.
CMNSYSUTIL_EXPORT std::vector<std::string> MessageNames(
    const std::vector<const google::protobuf::FileDescriptor*>& files);

// Full names of everything that the given files declare: messages, fields, enums, enum values,
// extensions, services and methods, sorted. The full name of an enum value has the enum's scope,
// not the enum itself, in front ("Pb.CmnSys.GID_TYPE_SERVER").
CMNSYSUTIL_EXPORT std::vector<std::string> AllNames(
    const std::vector<const google::protobuf::FileDescriptor*>& files);

// The message type with the given full name ("Pb.CmnSys.Gid"), of this library or a sibling, or
// nullptr when there is none.
CMNSYSUTIL_EXPORT const google::protobuf::Descriptor* FindMessageType(const std::string& full_name);

// A new empty message of the generated class with the given full name, or nullptr when there is
// none.
CMNSYSUTIL_EXPORT std::unique_ptr<google::protobuf::Message> NewMessage(
    const std::string& full_name);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SCHEMA_H_
