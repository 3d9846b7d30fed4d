#include <google/protobuf/stubs/common.h>
#include <gtest/gtest.h>

#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Maps.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDefault.pb.h"

namespace CmnSys::Test {
namespace {

// Run under a leak checker, this finds what the runtime's shutdown leaves behind after messages,
// extensions, reflection and services have been used. Nothing of the library is used afterwards.
TEST(Shutdown, ReleasesEverythingThatUseHasBuilt) {
  {
    Pb::CmnSys::Events::Event event;
    event.set_event_type(Pb::CmnSys::Events::EVENT_DEVICE_MOTION_START);
    event.MutableExtension(Pb::CmnSys::Events::event_device_motion_start);
    Pb::CmnSys::Events::Event copy;
    ASSERT_TRUE(copy.ParseFromString(event.SerializeAsString()));
    EXPECT_TRUE(copy.HasExtension(Pb::CmnSys::Events::event_device_motion_start));
    EXPECT_NE(copy.DebugString().find("event_device_motion_start"), std::string::npos);
    EXPECT_EQ(Pb::Rpc::SvcDefault::Default::descriptor()->method_count(), 1);
    EXPECT_EQ(Pb::CmnSys::Maps::MapObject::descriptor()->extension_range_count(), 1);
  }
  google::protobuf::ShutdownProtobufLibrary();
}

}  // namespace
}  // namespace CmnSys::Test
