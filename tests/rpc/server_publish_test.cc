// What a publisher owes its subscribers: bursts, long messages, slow ones, an orderly end.

#include <atomic>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.Notifications.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "fixture.h"

namespace CmnSys::Test {
namespace {

namespace Events = Pb::CmnSys::Events;
using Pb::CmnSys::Notifications::Notification;
using Pb::Rpc::SvcEvents::EventNotificationSubscribeReq;
using Push = Rpc::TypedPublisher<EventNotificationSubscribeReq, Notification>;

Notification Numbered(int number, std::size_t bytes = 0) {
  Notification notification;
  notification.set_timestamp_ms(static_cast<std::uint64_t>(number));
  notification.mutable_gid()->set_id(std::string(bytes, 'x'));
  return notification;
}

EventNotificationSubscribeReq Filter(Events::EventType type) {
  EventNotificationSubscribeReq request;
  request.add_event_filter(type);
  return request;
}

constexpr Events::EventType kOne = Events::EVENT_ALL;
constexpr Events::EventType kSeven = Events::EVENT_DEVICE_MOTION_START;

int TypeIn(const EventNotificationSubscribeReq& request) {
  return request.event_filter_size() == 0 ? 0 : request.event_filter(0);
}

// Counts what it is told.
class CountingObserver final : public Rpc::Observer {
 public:
  void OnCallEnd(const Rpc::CallEnd& end) override {
    calls.push_back(end.info.method + " " + Rpc::StatusCodeName(end.status.code));
    bytes = end.request_bytes + end.response_bytes;
  }
  void OnEvent(const Rpc::Event& event) override {
    subscribed += event.kind == Rpc::Event::Kind::kSubscribed;
    dropped += event.kind == Rpc::Event::Kind::kSubscriberDropped;
    unsubscribed += event.kind == Rpc::Event::Kind::kUnsubscribed;
  }

  std::vector<std::string> calls;
  std::uint64_t bytes = 0;
  std::atomic<int> subscribed{0};
  std::atomic<int> dropped{0};
  std::atomic<int> unsubscribed{0};
};

class Publishing : public testing::Test {
 protected:
  void Start(Rpc::PublisherOptions options = {}) {
    server_options.addresses = {"127.0.0.1:0"};
    server_options.observer = observer;
    server = std::make_unique<Rpc::Server>(server_options);
    push = server->AddPublisher<EventNotificationSubscribeReq, Notification>("Push", "All",
                                                                             std::move(options));
    server->Start();
    channel = std::make_unique<Rpc::Channel>(server->Addresses().front());
  }

  std::shared_ptr<CountingObserver> observer = std::make_shared<CountingObserver>();
  Rpc::ServerOptions server_options;
  std::unique_ptr<Rpc::Server> server;
  Push push{nullptr};
  std::unique_ptr<Rpc::Channel> channel;
};

// One subscription that can be kept from taking messages.
struct Client {
  explicit Client(Rpc::Channel* channel, const EventNotificationSubscribeReq& request = {},
                  bool blocked = false) {
    if (!blocked) go.Set();
    Rpc::SubscriptionHandler handler;
    handler.on_active = [this] { active.Set(); };
    handler.on_message = [this](const google::protobuf::Message& message) {
      go.Wait();
      const std::lock_guard lock(mutex);
      numbers.push_back(static_cast<int>(static_cast<const Notification&>(message).timestamp_ms()));
    };
    handler.on_end = [this](const Rpc::Status& status) {
      outcome = status;
      ended.Set();
    };
    subscription = channel->Subscribe("Push/All", request, Notification::default_instance(),
                                      std::move(handler));
  }
  std::size_t Count() {
    const std::lock_guard lock(mutex);
    return numbers.size();
  }

  Signal active;
  Signal go;
  Signal ended;
  Rpc::Status outcome;
  std::mutex mutex;
  std::vector<int> numbers;
  std::unique_ptr<Rpc::Subscription> subscription;
};

std::vector<int> CountTo(int end) {
  std::vector<int> numbers(static_cast<std::size_t>(end));
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

TEST_F(Publishing, BurstsLongMessagesAndFirstMessagesDropNobody) {
  Rpc::PublisherOptions options;
  options.max_queued_bytes = 1 << 20;
  options.on_subscribe = [](Rpc::Subscriber& subscriber) {
    for (int i = 0; i < 40; ++i) subscriber.Send(Numbered(i, 100'000));  // Four times the limit.
    return Rpc::Status{};
  };
  Start(options);
  Client client(channel.get());
  ASSERT_TRUE(client.active.Wait());
  for (int i = 0; i < 5'000; ++i) EXPECT_EQ(push.Publish(Numbered(i)), 1U);
  ASSERT_TRUE(Eventually([&] { return client.Count() == 5'040; }));
  EXPECT_EQ(push.Publish(Numbered(1, 20 << 20)), 1U);
  EXPECT_EQ(push.Publish(Numbered(2)), 1U);
  ASSERT_TRUE(Eventually([&] { return client.Count() == 5'042; }));
  EXPECT_EQ(push->LongestQueue(), 0U);
  EXPECT_GE(server->Counters().messages_published, 5'002U);
  // In order.
  EXPECT_EQ(std::vector(client.numbers.begin(), client.numbers.begin() + 40), CountTo(40));
  EXPECT_EQ(std::vector(client.numbers.begin() + 40, client.numbers.end() - 2), CountTo(5'000));
}

TEST_F(Publishing, WaitsForRoomWhenItIsToldToSoThatNobodyIsDropped) {
  Rpc::PublisherOptions options;
  options.max_queued_bytes = 300'000;
  Start(options);
  Client slow(channel.get(), {}, true);
  ASSERT_TRUE(slow.active.Wait());
  // Without the wait a full queue is seen, and this subscriber would be dropped.
  std::thread starter([&] {
    EXPECT_TRUE(Eventually([&] { return push->LongestQueue() > 200'000; }));
    slow.go.Set();
  });
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(push.Publish(Numbered(i, 100'000), {}, std::chrono::minutes(2)), 1U);
  }
  starter.join();
  ASSERT_TRUE(Eventually([&] { return slow.Count() == 300; }));
  EXPECT_EQ(server->Counters().subscribers_dropped, 0U);
}

TEST_F(Publishing, DropsASlowSubscriberWithAClearStatusWhileOthersLoseNothing) {
  Rpc::PublisherOptions options;
  options.max_queued_bytes = 1'000'000;
  Start(options);
  Rpc::Channel other_channel(server->Addresses().front());
  Client slow(channel.get(), {}, true);
  Client good(&other_channel);
  ASSERT_TRUE(slow.active.Wait());
  ASSERT_TRUE(good.active.Wait());
  int published = 0;
  while (push.Publish(Numbered(published, 20'000)) == 2) {
    ASSERT_LT(++published, 5'000) << "the slow subscriber was not dropped";
    // The good subscriber keeps up.
    ASSERT_TRUE(Eventually([&] { return static_cast<int>(good.Count()) > published - 20; }));
  }
  slow.go.Set();
  ASSERT_TRUE(slow.ended.Wait());
  EXPECT_EQ(slow.outcome.code, StatusCode::kResourceExhausted);
  EXPECT_NE(slow.outcome.text.find("the subscriber is too slow: 49 messages"), std::string::npos)
      << slow.outcome.text;
  push->EndAll({});
  ASSERT_TRUE(good.ended.Wait());
  EXPECT_EQ(good.outcome.code, StatusCode::kOk);
  EXPECT_EQ(good.numbers, CountTo(published + 1));
}

TEST_F(Publishing, RefusesSubscribersAndTellsTheOthersOfTheShutdown) {
  std::atomic<bool> open{false};
  server_options.authorize = [&](const Rpc::CallInfo& call) -> Rpc::Status {
    if (open) return {};
    return {StatusCode::kPermissionDenied, "closed: " + call.service};
  };
  Rpc::PublisherOptions options;
  options.on_subscribe = [](Rpc::Subscriber& subscriber) -> Rpc::Status {
    const auto& request = subscriber.RequestAs<EventNotificationSubscribeReq>();
    if (request.event_filter_size() != 0) return {};
    return {StatusCode::kInvalidArgument, "an empty filter"};
  };
  Start(options);
  for (const char* text : {"closed: Push", "an empty filter"}) {
    Client refused(channel.get());
    ASSERT_TRUE(refused.ended.Wait());
    EXPECT_EQ(refused.outcome.code,
              open ? StatusCode::kInvalidArgument : StatusCode::kPermissionDenied);
    EXPECT_EQ(refused.outcome.text, text);
    EXPECT_FALSE(refused.active.IsSet());
    open = true;
  }
  Client accepted(channel.get(), Filter(kOne));
  ASSERT_TRUE(accepted.active.Wait());
  server->Shutdown();
  ASSERT_TRUE(accepted.ended.Wait());
  EXPECT_EQ(accepted.outcome.code, StatusCode::kUnavailable);
  EXPECT_EQ(accepted.outcome.text, "the server is shutting down");
  EXPECT_EQ(push.Publish(Numbered(2)), 0U);
}

// With true, because the server keeps too much.
class Stalled : public Publishing, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(, Stalled, testing::Bool(),
                         [](const auto& test) { return test.param ? "TooMuch" : "TooLong"; });

TEST_P(Stalled, SubscribersAreDroppedAndToldToTheObserver) {
  Rpc::PublisherOptions options;
  if (GetParam()) {
    server_options.max_published_bytes = 8 << 20;
  } else {
    options.stall_timeout = std::chrono::seconds(5);
  }
  options.max_queued_bytes = 128 << 20;
  Start(options);
  Client stuck(channel.get(), {}, true);
  Client good(channel.get());
  ASSERT_TRUE(stuck.active.Wait());
  ASSERT_TRUE(good.active.Wait());
  // More than the stream's window takes, which grows on a busy machine.
  std::size_t sent = 0;
  ASSERT_TRUE(Eventually([&] {
    if (sent < 64 && good.Count() == sent)
      push.Publish(Numbered(static_cast<int>(sent++), 1 << 20));
    return server->Counters().subscribers_dropped == 1;
  })) << server->Counters().subscribers_dropped
      << " dropped, " << good.Count() << " of " << sent << " received";
  stuck.go.Set();
  ASSERT_TRUE(stuck.ended.Wait());
  EXPECT_EQ(stuck.outcome.code, StatusCode::kResourceExhausted);
  const char* why = GetParam() ? "bytes were waiting" : "took nothing for 5000 ms";
  EXPECT_NE(stuck.outcome.text.find(why), std::string::npos) << stuck.outcome.text;
  EXPECT_TRUE(Eventually([&] { return good.Count() == sent; }));
  EXPECT_TRUE(Eventually([&] { return observer->subscribed == 2; }));
  EXPECT_EQ(observer->dropped, 1);
  EXPECT_TRUE(Eventually([&] { return observer->unsubscribed == 1; }));
  EXPECT_TRUE(Eventually([&] { return server->Counters().published_bytes == 0; }));
}

TEST_F(Publishing, EndsSingleSubscribersAndThoseStillBeingAcceptedAfterTheirFirstMessages) {
  Signal accepting;
  Signal go_on;
  Rpc::PublisherOptions options;
  options.max_subscribers = 2;
  options.on_subscribe = [&](Rpc::Subscriber& subscriber) {
    if (TypeIn(subscriber.RequestAs<EventNotificationSubscribeReq>()) != kSeven)
      return Rpc::Status{};
    subscriber.Send(Numbered(70));
    subscriber.Send(Numbered(71));
    accepting.Set();
    go_on.Wait();
    return Rpc::Status{};
  };
  Start(options);
  Client one(channel.get(), Filter(kOne));
  Client seven(channel.get(), Filter(kSeven));
  ASSERT_TRUE(one.active.Wait());
  ASSERT_TRUE(accepting.Wait());
  Client third(channel.get());
  ASSERT_TRUE(third.ended.Wait());
  EXPECT_EQ(third.outcome.code, StatusCode::kResourceExhausted) << third.outcome.text;

  EXPECT_EQ(push.Publish(Numbered(5), [](const auto& request) { return TypeIn(request) == kOne; }),
            1U);
  EXPECT_EQ(push->End({StatusCode::kAborted, "logged out"},
                      [](const Rpc::Subscriber& subscriber) {
                        return TypeIn(subscriber.RequestAs<EventNotificationSubscribeReq>()) ==
                               kOne;
                      }),
            1U);
  ASSERT_TRUE(one.ended.Wait());
  EXPECT_EQ(one.numbers, std::vector<int>{5});
  EXPECT_EQ(one.outcome.text, "logged out");
  EXPECT_FALSE(seven.ended.IsSet());

  push->EndAll({});
  go_on.Set();
  ASSERT_TRUE(seven.ended.Wait());
  EXPECT_EQ(seven.outcome.code, StatusCode::kOk) << seven.outcome.text;
  EXPECT_EQ(seven.numbers, (std::vector<int>{70, 71}));
  // Their places are free again.
  EXPECT_TRUE(Eventually([&] {
    Client next(channel.get());
    return next.active.Wait() || !next.ended.IsSet();
  }));
  server->Shutdown();  // Its threads have used what goes out of scope here.
}

TEST(ServerObserver, IsToldOfEveryCallWithItsOutcomeAndSize) {
  const auto observer = std::make_shared<CountingObserver>();
  Rpc::ServerOptions options;
  options.observer = observer;
  LoopbackServer server(Echo(), options);
  Rpc::Channel channel(server.address());
  const InitiateReq request = RequestWith("sized");
  const Result result = Call(&channel, request);
  ASSERT_TRUE(Eventually([&] { return server->Counters().calls_ended == 1; }));
  server->Shutdown();
  EXPECT_EQ(observer->calls, std::vector<std::string>{"Initiate OK"});
  EXPECT_EQ(observer->bytes, request.ByteSizeLong() + result.response.ByteSizeLong());
  EXPECT_EQ(server->Counters().request_bytes, request.ByteSizeLong());
}

}  // namespace
}  // namespace CmnSys::Test
