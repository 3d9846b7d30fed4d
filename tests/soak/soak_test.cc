// A server and its clients over days, in short: calls, cancellations, subscriptions, renewed
// certificates and restarts. Afterwards the process has no more memory, descriptors and threads
// than after the first tenth of the time, but for the workers of the server and a few that gRPC's
// own pools may add under load: what leaks in each round is more.
//
// CMNSYS_SOAK_SECONDS says how long it takes; make soak runs it for ten minutes.

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>
#include <vector>

#include "rpc/fixture.h"

namespace CmnSys::Test {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;
using std::chrono::steady_clock;

struct Holdings {
  long kilobytes = 0;
  long descriptors = 0;
  long threads = 0;
};

Holdings Measure() {
  ::malloc_trim(0);
  Holdings holdings;
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (word == "VmRSS:") status >> holdings.kilobytes;
    if (word == "Threads:") status >> holdings.threads;
  }
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    static_cast<void>(entry);
    ++holdings.descriptors;
  }
  return holdings;
}

// Certificates that are replaced by switching a link; both authorities are believed all the time.
class RenewedCertificates {
 public:
  RenewedCertificates() {
    std::ofstream authorities(folder_.PathOf("ca.pem"));
    for (const Certificates& one : both_) authorities << ReadFile(one.PathOf("ca.pem"));
    Renew();
  }

  void Renew() {
    current_ = 1 - current_;
    const fs::path folder = fs::path(both_[current_].PathOf("ca.pem")).parent_path();
    fs::create_directory_symlink(folder, folder_.PathOf("next"));
    fs::rename(folder_.PathOf("next"), folder_.PathOf("now"));
  }

  Rpc::TlsFiles Of(const std::string& name) const {
    Rpc::TlsFiles files;
    files.ca_file = folder_.PathOf("ca.pem");
    files.certificate_file = folder_.PathOf("now/" + name + ".pem");
    files.key_file = folder_.PathOf("now/" + name + ".key");
    files.reload_interval = seconds(1);
    return files;
  }

 private:
  Certificates both_[2];
  int current_ = 0;
  TemporaryFolder folder_;
};

class Soak {
 public:
  Soak() { Restart(); }

  // One time all that clients and a server do. Leaves nothing in progress.
  void Round(int number) {
    if (number % 5 == 4) certificates_.Renew();
    if (number % 7 == 6) Restart();
    if (lasting_ == nullptr) lasting_ = NewChannel();
    EXPECT_TRUE(Eventually([&] { return Call(lasting_.get()).code == StatusCode::kOk; }))
        << "the lasting channel comes back";
    const auto fresh = NewChannel();
    std::vector<std::thread> callers;
    for (Rpc::Channel* channel : {lasting_.get(), lasting_.get(), fresh.get(), fresh.get()}) {
      callers.emplace_back([channel] {
        for (int i = 0; i < 25; ++i) {
          const Result result = Call(channel, RequestWith(std::string(1000, 'x')));
          EXPECT_EQ(result.code, StatusCode::kOk) << result.text;
        }
      });
    }
    for (std::thread& caller : callers) caller.join();
    Cancel(fresh.get());
    Subscribe(fresh.get());
  }

  // The server's own, which come with its load and end after some seconds without.
  int Workers() const { return server_->Counters().workers; }

  // Whether the server has nothing to do any more.
  bool IsIdle() const {
    const Rpc::ServerCounters counters = server_->Counters();
    return counters.calls == 0 && counters.subscribers == 0 && counters.connections <= 1;
  }

 private:
  static constexpr const char* kPush = "Push/Subscribe";

  void Restart() {
    Rpc::ServerOptions options;
    options.addresses = {address_};
    options.tls = certificates_.Of("server");
    server_.reset();
    server_ = std::make_unique<Rpc::Server>(options);
    server_->Register(&service_);
    publisher_ = server_->AddPublisher<InitiateReq, InitiateRsp>("Push", "Subscribe").operator->();
    server_->Start();
    address_ = server_->Addresses().front();
  }

  std::unique_ptr<Rpc::Channel> NewChannel() const {
    Rpc::ChannelOptions options;
    options.tls = certificates_.Of("client");
    return std::make_unique<Rpc::Channel>(address_, options);
  }

  static void Cancel(Rpc::Channel* channel) {
    constexpr int kCalls = 20;
    std::atomic<int> ended{0};
    Rpc::ClientController controllers[kCalls];
    InitiateRsp responses[kCalls];
    const InitiateReq request;
    Pb::Rpc::SvcQuery::Query_Stub stub(channel);
    for (int i = 0; i < kCalls; ++i) {
      stub.Initiate(&controllers[i], &request, &responses[i], NewClosure([&] { ++ended; }));
      controllers[i].StartCancel();
    }
    EXPECT_TRUE(Eventually([&] { return ended == kCalls; }));
  }

  void Subscribe(Rpc::Channel* channel) {
    constexpr std::size_t kSubscribers = 5;
    std::atomic<std::size_t> received{0};
    std::vector<std::unique_ptr<Rpc::Subscription>> subscriptions;
    for (std::size_t i = 0; i < kSubscribers; ++i) {
      Rpc::SubscriptionHandlerOf<InitiateRsp> handler;
      handler.on_message = [&](const InitiateRsp&) { ++received; };
      subscriptions.push_back(channel->Subscribe<InitiateRsp>(kPush, InitiateReq(), handler));
    }
    EXPECT_TRUE(Eventually([&] { return publisher_->SubscriberCount() == kSubscribers; }));
    for (int i = 0; i < 20; ++i) publisher_->Publish(InitiateRsp());
    EXPECT_TRUE(Eventually([&] { return received == 20 * kSubscribers; }));
  }

  RenewedCertificates certificates_;
  QueryService service_{Echo()};
  std::string address_ = "127.0.0.1:0";
  std::unique_ptr<Rpc::Server> server_;
  Rpc::Publisher* publisher_ = nullptr;
  std::unique_ptr<Rpc::Channel> lasting_;
};

TEST(Soak, HoldsNoMoreThanAtTheBeginning) {
  const char* wanted = std::getenv("CMNSYS_SOAK_SECONDS");
  const seconds length(wanted == nullptr ? 10 : std::max(1, std::atoi(wanted)));
  const auto start = steady_clock::now();
  Soak soak;
  // The most of the beginning, and what is left at the end, when as little as possible is going on.
  Holdings most;
  std::vector<Holdings> later;
  int rounds = 0;
  // At least so many rounds that everything has happened in both parts.
  constexpr int kFewest = 8;
  constexpr int kOfPools = 4;
  for (bool begins = true; steady_clock::now() < start + length || rounds < 2 * kFewest; ++rounds) {
    soak.Round(rounds);
    ASSERT_FALSE(testing::Test::HasFailure()) << "in round " << rounds;
    ASSERT_TRUE(Eventually([&] { return soak.IsIdle(); })) << "in round " << rounds;
    Holdings now = Measure();
    now.threads -= soak.Workers();
    begins = begins && (rounds < kFewest || steady_clock::now() < start + length / 10);
    if (begins) {
      most.kilobytes = std::max(most.kilobytes, now.kilobytes);
      most.descriptors = std::max(most.descriptors, now.descriptors);
      most.threads = std::max(most.threads, now.threads);
    } else {
      later.push_back(now);
    }
  }
  // A leak shows in all of the last rounds.
  const auto least = [&](long Holdings::*part) {
    long result = later.back().*part;
    for (std::size_t i = later.size() - later.size() / 4 - 1; i < later.size(); ++i) {
      result = std::min(result, later[i].*part);
    }
    return result;
  };
  std::cout << rounds << " rounds; at most in the beginning " << most.kilobytes << " kB, "
            << most.descriptors << " descriptors, " << most.threads << " threads; at least in the "
            << "end " << least(&Holdings::kilobytes) << ", " << least(&Holdings::descriptors)
            << ", " << least(&Holdings::threads) << "\n";
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // They keep what was freed.
  EXPECT_LE(least(&Holdings::kilobytes), most.kilobytes + most.kilobytes / 10);
#endif
  EXPECT_LE(least(&Holdings::descriptors), most.descriptors + kOfPools);
  EXPECT_LE(least(&Holdings::threads), most.threads + kOfPools);
}

}  // namespace
}  // namespace CmnSys::Test
