#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.view.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.view.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.view.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.view.h"
#include "ProtoBuf/CmnSys/CmnSys.Timeline.view.h"

namespace CmnSys::Test {
namespace {

using Pb::CmnSys::Gid;
using Pb::CmnSys::IotaView;
using Pb::CmnSys::Events::Event;
using Pb::CmnSys::Events::EventView;
using Pb::CmnSys::QueriesResult::QueryResult;
using Pb::CmnSys::QueriesResult::QueryResultView;
using Pb::CmnSys::Timeline::DeviceTimelineView;
using std::string_literals::operator""s;
namespace Events = Pb::CmnSys::Events;

QueryResult ThreePairs() {
  QueryResult result;
  for (int i = 0; i < 3; ++i) {
    auto* event = result.mutable_query_result_system_events()->add_results()->mutable_event();
    event->set_this_id(i);
    event->MutableExtension(Events::event_device_motion_start)->set_device_id("camera");
  }
  return result;
}

TEST(View, SubViewsAndRangesOutliveTheViewTheyCameFrom) {
  const std::string bytes = ThreePairs().SerializeAsString();
  const auto pairs = QueryResultView(bytes).query_result_system_events().results();
  EXPECT_EQ(pairs.size(), 3);
  EXPECT_EQ(std::count_if(pairs.begin(), pairs.end(),
                          [](const auto& pair) { return pair.event().this_id() > 0; }),
            2);
  const auto payload = pairs.begin()->event().GetExtension(Events::event_device_motion_start);
  EXPECT_EQ(payload.device_id(), "camera");
}

TEST(View, AnErrorLeavesNothingSetAndStaysWhereItIs) {
  const std::string good = ThreePairs().SerializeAsString();
  const QueryResultView cut(std::string_view(good).substr(0, good.size() - 1));
  EXPECT_TRUE(cut.HasError());
  EXPECT_FALSE(cut.has_query_result_system_events());
  EXPECT_FALSE(cut.query_result_system_events().HasError());
  // The second field of the sub-message is cut off, the event around it is whole.
  const std::string whole =
      "\x8a\x01\x04\x0a\x01"
      "a\x12\x28\x02"s;
  const EventView event(whole);
  EXPECT_FALSE(event.HasError());
  EXPECT_EQ(event.this_id(), 0);
  EXPECT_TRUE(event.originating_server_gid().HasError());
  EXPECT_FALSE(event.originating_server_gid().has_id());
}

TEST(View, ListsOfBytesAreReadUpToMalformedOnes) {
  const std::string device =
      "\x0a\x01"
      "d"s;
  const std::string record = "\x12\x02\x08\x07"s;
  const std::string bytes = device + record + device + record + "\x12\x05"s;
  EXPECT_TRUE(DeviceTimelineView(bytes).record().empty());
  const auto records = DeviceTimelineView::record(bytes);
  EXPECT_EQ(records.begin()->starttime(), 7);
  EXPECT_EQ(records.size(), 2);
  EXPECT_TRUE(records.HasError());
  EXPECT_FALSE(DeviceTimelineView::record(device + record).HasError());
}

TEST(View, IsCopiedToAMessageAsAWhole) {
  // The Gid of the event in two pieces.
  const std::string bytes =
      "\x8a\x01\x03\x0a\x01"
      "a\x8a\x01\x03\x12\x01"
      "b"s;
  Gid gid;
  ASSERT_TRUE(EventView(bytes).originating_server_gid().CopyTo(&gid));
  EXPECT_EQ(gid.id() + gid.data_store_id(), "ab");
  Event event;
  ASSERT_TRUE(EventView(bytes).CopyTo(&event));
  EXPECT_EQ(event.originating_server_gid().SerializeAsString(), gid.SerializeAsString());
  EXPECT_FALSE(EventView("\x8a\x01\x03"s).CopyTo(&event));
}

// How many Iotas stand in one another as arguments of texts.
int Depth(const IotaView& iota) {
  int deepest = 0;
  for (const IotaView argument : iota.iota_localized_string().val().arguments()) {
    deepest = std::max(deepest, Depth(argument));
  }
  return deepest + 1;
}

TEST(View, IsReadToTheDepthLimitOnAStackOf256KiB) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "AddressSanitizer makes frames larger.";
#endif
  std::string bytes;
  for (int i = 0; i < 33; ++i) {  // 99 messages below the outermost one
    for (const char* const tag : {"\x12", "\x0a", "\xe2\x0d"}) {
      std::string length(1, static_cast<char>(bytes.size() & 0x7f));
      if (bytes.size() >= 0x80) {
        length[0] = static_cast<char>(length[0] | '\x80');
        length += static_cast<char>(bytes.size() >> 7);
      }
      bytes.insert(0, tag + length);
    }
  }
  const auto read = [&bytes] {
    rlimit limit = {};
    limit.rlim_cur = limit.rlim_max = 256 << 10;
    if (setrlimit(RLIMIT_STACK, &limit) != 0) std::exit(2);
    std::exit(Depth(IotaView(bytes)) == 34 ? 0 : 1);
  };
  EXPECT_EXIT(read(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace CmnSys::Test
