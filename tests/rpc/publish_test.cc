// Streams of messages to subscribers, and the health service.

#include <google/protobuf/wrappers.pb.h>

#include <atomic>
#include <mutex>
#include <numeric>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "fixture.h"

namespace CmnSys::Test {
namespace {

namespace Events = Pb::CmnSys::Events;
using Pb::CmnSys::Notifications::Notification;
using Pb::Rpc::SvcEvents::EventNotificationSubscribeReq;

Notification NotificationOf(int number) {
  Notification notification;
  notification.set_timestamp_ms(static_cast<std::uint64_t>(number));
  Events::Event* event = notification.mutable_notification_event()->mutable_event();
  event->MutableExtension(Events::event_device_connected)
      ->set_device_id("camera " + std::to_string(number));
  return notification;
}

struct PushServer {
  explicit PushServer(Rpc::PublisherOptions options = {}, Rpc::ServerOptions server_options = {}) {
    server_options.addresses = {"127.0.0.1:0"};
    server = std::make_unique<Rpc::Server>(std::move(server_options));
    options.service = "Test.EventPush";
    options.method = "Subscribe";
    options.request_prototype = &EventNotificationSubscribeReq::default_instance();
    publisher = server->AddPublisher(std::move(options));
    server->Start();
  }
  std::string address() const { return server->Addresses().front(); }

  std::unique_ptr<Rpc::Server> server;
  Rpc::Publisher* publisher = nullptr;
};

// Collects what one subscription brings.
class Listener {
 public:
  explicit Listener(Rpc::Channel* channel, const EventNotificationSubscribeReq& request = {}) {
    Rpc::SubscriptionHandler handler;
    handler.on_active = [this] { active.Set(); };
    handler.on_message = [this](const google::protobuf::Message& message) {
      if (Signal* signal = block; signal != nullptr) signal->Wait();
      const std::lock_guard lock(mutex_);
      received_.push_back(static_cast<const Notification&>(message));
    };
    handler.on_end = [this](const Rpc::Status& status) {
      outcome = status;
      ended.Set();
    };
    subscription = channel->Subscribe("Test.EventPush/Subscribe", request,
                                      Notification::default_instance(), std::move(handler));
  }

  std::vector<Notification> Received() const {
    const std::lock_guard lock(mutex_);
    return received_;
  }
  std::vector<int> Numbers() const {
    std::vector<int> numbers;
    for (const auto& each : Received()) numbers.push_back(static_cast<int>(each.timestamp_ms()));
    return numbers;
  }

  Signal active;
  Signal ended;
  Rpc::Status outcome;
  std::atomic<Signal*> block{nullptr};
  std::unique_ptr<Rpc::Subscription> subscription;

 private:
  mutable std::mutex mutex_;
  std::vector<Notification> received_;
};

std::vector<int> CountTo(int end) {
  std::vector<int> numbers(static_cast<std::size_t>(end));
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

TEST(Publish, BringsEverySubscriberEverythingInOrderWithExtensions) {
  PushServer server;
  Rpc::Channel channel(server.address());
  std::vector<std::unique_ptr<Listener>> listeners;
  for (int i = 0; i < 10; ++i) {
    listeners.push_back(std::make_unique<Listener>(&channel));
    ASSERT_TRUE(listeners.back()->active.Wait());
  }
  for (int i = 0; i < 500; ++i) EXPECT_EQ(server.publisher->Publish(NotificationOf(i)), 10U);
  server.publisher->EndAll({});
  for (const auto& listener : listeners) {
    ASSERT_TRUE(listener->ended.Wait());
    EXPECT_EQ(listener->outcome.code, StatusCode::kOk) << listener->outcome.text;
    EXPECT_EQ(listener->Numbers(), CountTo(500));
    EXPECT_EQ(listener->Received().at(7).SerializeAsString(),
              NotificationOf(7).SerializeAsString());
  }
  EXPECT_TRUE(Eventually([&] { return server.publisher->SubscriberCount() == 0; }));
}

TEST(Publish, DropsASlowSubscriberWithAClearStatusWhileOthersLoseNothing) {
  Rpc::PublisherOptions options;
  options.max_queued_bytes = 1'000'000;
  PushServer server(options);
  Rpc::Channel channel(server.address());
  Rpc::Channel other_channel(server.address());
  Listener slow(&channel);
  Listener good(&other_channel);
  Signal release;
  slow.block = &release;
  ASSERT_TRUE(slow.active.Wait());
  ASSERT_TRUE(good.active.Wait());
  Notification big = NotificationOf(0);
  big.mutable_gid()->set_id(std::string(20'000, 'x'));
  int published = 0;
  for (; published < 5'000; ++published) {
    big.set_timestamp_ms(static_cast<std::uint64_t>(published));
    if (server.publisher->Publish(big) < 2) break;
    // The good subscriber keeps up.
    ASSERT_TRUE(
        Eventually([&] { return static_cast<int>(good.Received().size()) > published - 20; }));
  }
  ASSERT_LT(published, 5'000) << "the slow subscriber was not dropped";
  release.Set();
  ASSERT_TRUE(slow.ended.Wait());
  EXPECT_EQ(slow.outcome.code, StatusCode::kResourceExhausted);
  EXPECT_NE(slow.outcome.text.find("the subscriber is too slow: 49 messages"), std::string::npos)
      << slow.outcome.text;
  server.publisher->EndAll({});
  ASSERT_TRUE(good.ended.Wait());
  EXPECT_EQ(good.outcome.code, StatusCode::kOk);
  EXPECT_EQ(good.Numbers(), CountTo(published + 1));
}

TEST(Publish, RefusesSubscribersAndSendsTheOthersOnlyWhatTheyWant) {
  Rpc::PublisherOptions options;
  options.on_subscribe = [](Rpc::Subscriber& subscriber) -> Rpc::Status {
    const auto& request = static_cast<const EventNotificationSubscribeReq&>(subscriber.Request());
    if (request.event_filter_size() == 0) {
      return {StatusCode::kInvalidArgument, "an empty filter"};
    }
    subscriber.Send(NotificationOf(1000));
    return {};
  };
  std::atomic<bool> open{false};
  Rpc::ServerOptions server_options;
  server_options.authorize = [&](const Rpc::CallInfo& call) -> Rpc::Status {
    if (open) return {};
    return {StatusCode::kPermissionDenied, "closed: " + call.service};
  };
  PushServer server(options, server_options);
  Rpc::Channel channel(server.address());
  for (const char* text : {"closed: Test.EventPush", "an empty filter"}) {
    Listener refused(&channel);
    ASSERT_TRUE(refused.ended.Wait());
    EXPECT_EQ(refused.outcome.code,
              open ? StatusCode::kInvalidArgument : StatusCode::kPermissionDenied);
    EXPECT_EQ(refused.outcome.text, text);
    EXPECT_FALSE(refused.active.IsSet());
    open = true;
  }

  EventNotificationSubscribeReq all;
  all.add_event_filter(Events::EVENT_ALL);
  EventNotificationSubscribeReq other;
  other.add_event_filter(Events::EVENT_DEVICE_MOTION_START);
  Listener wants(&channel, all);
  Listener wants_not(&channel, other);
  ASSERT_TRUE(wants.active.Wait());
  ASSERT_TRUE(wants_not.active.Wait());
  const auto wanted = [](const Rpc::Subscriber& subscriber) {
    return static_cast<const EventNotificationSubscribeReq&>(subscriber.Request())
               .event_filter(0) == Events::EVENT_ALL;
  };
  EXPECT_EQ(server.publisher->Publish(NotificationOf(1), wanted), 1U);
  server.server->Shutdown();
  ASSERT_TRUE(wants.ended.Wait());
  ASSERT_TRUE(wants_not.ended.Wait());
  EXPECT_EQ(wants.Numbers(), (std::vector<int>{1000, 1}));
  EXPECT_EQ(wants_not.Numbers(), std::vector<int>{1000});
  EXPECT_EQ(wants.outcome.code, StatusCode::kUnavailable);
  EXPECT_EQ(wants.outcome.text, "the server is shutting down");
  EXPECT_EQ(server.publisher->Publish(NotificationOf(2)), 0U);
}

TEST(Publish, SubscriptionsEndByTheirOwnerAndByFailure) {
  PushServer server;
  Rpc::Channel channel(server.address());
  Listener cancelled(&channel);
  ASSERT_TRUE(cancelled.active.Wait());
  cancelled.subscription->Cancel();
  ASSERT_TRUE(cancelled.ended.Wait());
  EXPECT_EQ(cancelled.outcome.code, StatusCode::kCancelled);
  EXPECT_TRUE(Eventually([&] { return server.publisher->SubscriberCount() == 0; }));

  Listener deleted(&channel);
  deleted.subscription.reset();
  EXPECT_TRUE(deleted.ended.IsSet());

  Rpc::Channel nowhere("127.0.0.1:1");
  Listener unreachable(&nowhere);
  ASSERT_TRUE(unreachable.ended.Wait());
  EXPECT_EQ(unreachable.outcome.code, StatusCode::kUnavailable);
}

TEST(Health, IsToldPerServiceAndWatchersLearnOfChanges) {
  using google::protobuf::Int32Value;
  LoopbackServer server(Echo());
  Rpc::Channel channel(server.address());
  // HealthCheckRequest and HealthCheckResponse have the same bytes as these two.
  google::protobuf::StringValue request;
  request.set_value("Pb.Rpc.SvcQuery.Query");
  std::vector<int> statuses;
  Signal active;
  Signal ended;
  Rpc::SubscriptionHandler handler;
  handler.on_active = [&] { active.Set(); };
  handler.on_message = [&](const google::protobuf::Message& message) {
    statuses.push_back(static_cast<const Int32Value&>(message).value());
  };
  handler.on_end = [&](const Rpc::Status&) { ended.Set(); };
  const auto subscription = channel.Subscribe("grpc.health.v1.Health/Watch", request,
                                              Int32Value::default_instance(), handler);
  ASSERT_TRUE(active.Wait());
  server->SetServing("Pb.Rpc.SvcQuery.Query", false);
  server->SetServing("Pb.Rpc.SvcQuery.Query", true);
  server->SetServing("", false);  // Not watched here.
  server->Shutdown();
  ASSERT_TRUE(ended.Wait());
  EXPECT_EQ(statuses, (std::vector<int>{1, 2, 1, 2}));
}

}  // namespace
}  // namespace CmnSys::Test
