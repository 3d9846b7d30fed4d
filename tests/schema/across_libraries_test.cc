#include "across_libraries.h"

#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include <typeindex>

#include "ProtoBuf/CmnSys/CmnSys.SvcDefault.pb.h"

// A program at a fixed address has copies of the library's variables and entries for its functions
// of its own. It, another library and the schema library must still mean the same ones.
namespace CmnSys::Test {
namespace {

using google::protobuf::Message;
using Pb::CmnSys::Gid;
using Pb::CmnSys::Events::Event;
using Pb::CmnSys::Events::event_user_login;

TEST(AcrossLibraries, TypeInformationIsTheSame) {
  EXPECT_EQ(typeid(Gid), Other::TypeOfGid());
  EXPECT_EQ(std::type_index(typeid(Gid)).hash_code(), Other::TypeOfGid().hash_code());
  EXPECT_EQ(typeid(event_user_login), Other::TypeOfExtension());
  // Made inside the schema library, and in the other one.
  const std::unique_ptr<Message> all[] = {std::unique_ptr<Message>(Gid::default_instance().New()),
                                          Other::NewGid()};
  for (const auto& one : all) {
    const Message& made = *one;
    EXPECT_EQ(typeid(made), typeid(Gid));
  }
}

TEST(AcrossLibraries, CastsFindTheClass) {
  const std::unique_ptr<Message> inside(Gid::default_instance().New());
  EXPECT_NE(dynamic_cast<Gid*>(inside.get()), nullptr);
  EXPECT_EQ(dynamic_cast<Event*>(inside.get()), nullptr);
  EXPECT_NE(dynamic_cast<Gid*>(Other::NewGid().get()), nullptr);
  EXPECT_TRUE(Other::IsGid(Gid()));
  EXPECT_FALSE(Other::IsGid(Event()));

  class Server : public Pb::Rpc::SvcDefault::Default {};
  EXPECT_TRUE(Other::IsDefaultService(Server()));
}

TEST(AcrossLibraries, MessagesAreCaughtAsWhatTheyAre) {
  EXPECT_THROW(Other::ThrowGid("camera"), Gid);
  try {
    Other::ThrowGid("camera");
  } catch (const Message& thrown) {
    EXPECT_EQ(static_cast<const Gid&>(thrown).id(), "camera");
  }
}

TEST(AcrossLibraries, FunctionsHaveOneAddress) {
  EXPECT_EQ(&Gid::descriptor, Other::AddressOfDescriptorFunction());
  EXPECT_EQ(Gid::descriptor(), Other::AddressOfDescriptorFunction()());
}

TEST(AcrossLibraries, UnsetFieldsReadAsOneDefaultInstance) {
  const std::unique_ptr<Message> made(Event::default_instance().New());
  const auto& event = static_cast<const Event&>(*made);
  EXPECT_EQ(&event.originating_server_gid(), &Gid::default_instance());
  EXPECT_EQ(&Other::UnsetServerGid(event), &Gid::default_instance());
  EXPECT_EQ(&Other::DefaultGid(), &Gid::default_instance());
  EXPECT_EQ(&event.GetReflection()->GetMessage(
                event, Event::descriptor()->FindFieldByName("originating_server_gid")),
            &Gid::default_instance());
}

TEST(AcrossLibraries, ExtensionsHaveOneIdentifier) {
  EXPECT_EQ(&event_user_login, Other::LoginExtension());
  Event event;
  EXPECT_EQ(&event.GetExtension(event_user_login), &Other::UnsetLogin(event));
  event.MutableExtension(event_user_login)->set_user_name("ada");
  Event copy;
  ASSERT_TRUE(copy.ParseFromString(event.SerializeAsString()));
  EXPECT_EQ(copy.GetExtension(event_user_login).user_name(), "ada");
}

}  // namespace
}  // namespace CmnSys::Test
