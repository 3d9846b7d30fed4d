#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"

namespace CmnSys::Test {
namespace {

// Descriptors of a file are assigned at their first use, whichever thread that is. All threads
// start at once and come to the same files in different ways.
TEST(LazyDescriptors, AreAssignedOnceForThreadsThatRaceToThem) {
  const std::vector<std::function<const google::protobuf::FileDescriptor*()>> ways = {
      [] { return Pb::CmnSys::Events::Event::descriptor()->file(); },
      [] { return Pb::CmnSys::Events::EventPair().GetMetadata().descriptor->file(); },
      [] { return Pb::CmnSys::Events::EventType_descriptor()->file(); },
      [] { return Pb::CmnSys::Events::EventList().GetDescriptor()->file(); },
      [] { return Pb::Rpc::SvcQuery::Query::descriptor()->file(); },
      [] { return Pb::Rpc::SvcQuery::InitiateReq::descriptor()->file(); },
      [] {
        Pb::CmnSys::Iota iota;
        EXPECT_TRUE(iota.ParseFromString("\x08\x04\xe2\x0c\x02\x08\x07"));
        EXPECT_EQ(iota.ShortDebugString(), "type: IOTA_TYPE_U32 iota_u32 { val: 7 }");
        return iota.GetDescriptor()->file();
      },
      [] { return Pb::CmnSys::IotaType_descriptor()->file(); },
  };
  std::vector<const google::protobuf::FileDescriptor*> files(ways.size());
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < ways.size(); ++i) {
    threads.emplace_back([&, i] {
      while (!go.load()) std::this_thread::yield();
      files[i] = ways[i]();
    });
  }
  go.store(true);
  for (std::thread& thread : threads) thread.join();

  for (std::size_t i = 1; i < 4; ++i) EXPECT_EQ(files[i], files[0]);
  EXPECT_EQ(files[5], files[4]);
  EXPECT_EQ(files[7], files[6]);
}

}  // namespace
}  // namespace CmnSys::Test
