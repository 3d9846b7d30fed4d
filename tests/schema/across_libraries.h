// The other library of across_libraries_test: what it sees of the schema library, for comparison
// with what the program sees.

#ifndef CMNSYS_TESTS_SCHEMA_ACROSS_LIBRARIES_H_
#define CMNSYS_TESTS_SCHEMA_ACROSS_LIBRARIES_H_

#include <google/protobuf/service.h>

#include <memory>
#include <typeinfo>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"

namespace CmnSys::Test::Other {

using DescriptorOf = const google::protobuf::Descriptor* (*)();

const std::type_info& TypeOfGid();
const std::type_info& TypeOfExtension();
DescriptorOf AddressOfDescriptorFunction();
const Pb::CmnSys::Gid& DefaultGid();
const Pb::CmnSys::Gid& UnsetServerGid(const Pb::CmnSys::Events::Event& event);
const google::protobuf::Message& UnsetLogin(const Pb::CmnSys::Events::Event& event);
const void* LoginExtension();
std::unique_ptr<google::protobuf::Message> NewGid();
bool IsGid(const google::protobuf::Message& message);
[[noreturn]] void ThrowGid(const char* id);
bool IsDefaultService(const google::protobuf::Service& service);

}  // namespace CmnSys::Test::Other

#endif  // CMNSYS_TESTS_SCHEMA_ACROSS_LIBRARIES_H_
