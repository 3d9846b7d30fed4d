#include "across_libraries.h"

#include "ProtoBuf/CmnSys/CmnSys.SvcDefault.pb.h"

namespace CmnSys::Test::Other {

using google::protobuf::Message;
using Pb::CmnSys::Gid;
using Pb::CmnSys::Events::Event;
using Pb::CmnSys::Events::event_user_login;

const std::type_info& TypeOfGid() { return typeid(Gid); }
const std::type_info& TypeOfExtension() { return typeid(event_user_login); }
DescriptorOf AddressOfDescriptorFunction() { return &Gid::descriptor; }
const Gid& DefaultGid() { return Gid::default_instance(); }
const Gid& UnsetServerGid(const Event& event) { return event.originating_server_gid(); }
const Message& UnsetLogin(const Event& event) { return event.GetExtension(event_user_login); }
const void* LoginExtension() { return &event_user_login; }
std::unique_ptr<Message> NewGid() { return std::make_unique<Gid>(); }
bool IsGid(const Message& message) { return dynamic_cast<const Gid*>(&message) != nullptr; }

void ThrowGid(const char* id) {
  Gid gid;
  gid.set_id(id);
  throw gid;
}

bool IsDefaultService(const google::protobuf::Service& service) {
  return dynamic_cast<const Pb::Rpc::SvcDefault::Default*>(&service) != nullptr;
}

}  // namespace CmnSys::Test::Other
