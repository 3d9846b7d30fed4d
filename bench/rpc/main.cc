// One process of the benchmark of the transport: a server, or a client that makes calls.
// bench/run.py starts both and tells them on standard input what to do; an answer is one line.
//
//   bench_rpc server ours|native CERTIFICATES
//       prints its address, and then answers
//       publish COUNT   publishes so many notifications, ends the streams: the CPU time, see below
//       cpu             seconds of CPU time so far
//   bench_rpc client ours|native CERTIFICATES ADDRESS
//       call small|large CALLERS SECONDS
//           calls, by so many threads, for so long: calls, seconds, seconds of CPU time, and in
//           microseconds the median and 99th percentile of the time of a call
//       receive SUBSCRIBERS
//           prints "ready" when the server has accepted all, and when all streams have ended: the
//           messages, the seconds between the first and the last, seconds of CPU time
//
// CERTIFICATES is a folder of examples/make-certificates.sh; without it ("") there is no TLS.

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <iostream>
#include <limits>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "messages/event_fields.h"
#include "rpc/peers.h"

namespace CmnSys::Bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kSeed = 7;
// A result of about 214 kB.
constexpr std::size_t kPairs = 564;
// Before the time is taken, each thread makes so many calls.
constexpr int kWarmUp = 20;

double Seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

double CpuSeconds() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

// Lets all threads go on when the last has arrived.
class Barrier {
 public:
  explicit Barrier(int count) : missing_(count) {}
  void Arrive() {
    --missing_;
    while (missing_ > 0) std::this_thread::yield();
  }

 private:
  std::atomic<int> missing_;
};

void Call(BenchClient* client, std::istream& words) {
  std::string size;
  int callers = 0;
  double seconds = 0;
  if (!(words >> size >> callers >> seconds)) throw std::runtime_error("call what?");
  std::mutex mutex;
  std::vector<float> all;
  std::vector<std::thread> threads;
  Barrier begin(callers + 1);
  std::atomic<bool> over{false};
  for (int i = 0; i < callers; ++i) {
    threads.emplace_back([&] {
      SvcQuery::InitiateReq initiate;
      initiate.mutable_query()->mutable_gid()->set_id("5d1b2c3e-9a47-4f6e-8b7a-112233445566");
      SvcQuery::ContinueReq next;
      next.mutable_query_gid()->set_id("5d1b2c3e-9a47-4f6e-8b7a-112233445566");
      SvcQuery::InitiateRsp initiated;
      SvcQuery::ContinueRsp result;
      const auto call = [&] {
        if (size == "small") {
          client->Initiate(initiate, &initiated);
        } else {
          client->Continue(next, &result);
        }
      };
      for (int warm_up = 0; warm_up < kWarmUp; ++warm_up) call();
      std::vector<float> times;
      begin.Arrive();
      for (Clock::time_point before = Clock::now(); !over;) {
        call();
        const Clock::time_point after = Clock::now();
        times.push_back(static_cast<float>(Seconds(after - before) * 1e6));
        before = after;
      }
      const std::lock_guard lock(mutex);
      all.insert(all.end(), times.begin(), times.end());
    });
  }
  begin.Arrive();
  const double cpu = CpuSeconds();
  const Clock::time_point start = Clock::now();
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  over = true;
  for (std::thread& thread : threads) thread.join();
  const double took = Seconds(Clock::now() - start);
  std::sort(all.begin(), all.end());
  std::cout << all.size() << ' ' << took << ' ' << CpuSeconds() - cpu << ' ' << all[all.size() / 2]
            << ' ' << all[all.size() * 99 / 100] << std::endl;
}

void Receive(BenchClient* client, std::istream& words) {
  int subscribers = 0;
  if (!(words >> subscribers)) throw std::runtime_error("receive how often?");
  std::atomic<Clock::rep> first{std::numeric_limits<Clock::rep>::max()};
  std::atomic<Clock::rep> last{0};
  std::atomic<std::uint64_t> messages{0};
  std::atomic<int> inactive{subscribers};
  std::vector<std::thread> threads;
  for (int i = 0; i < subscribers; ++i) {
    threads.emplace_back([&] {
      std::uint64_t mine = 0;
      client->Receive([&] { --inactive; },
                      [&](const Notification&) {
                        if (mine++ > 0) return;
                        Clock::rep now = Clock::now().time_since_epoch().count();
                        Clock::rep known = first;
                        while (now < known && !first.compare_exchange_weak(known, now)) continue;
                      });
      last = Clock::now().time_since_epoch().count();
      messages += mine;
    });
  }
  while (inactive > 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  const double cpu = CpuSeconds();
  std::cout << "ready" << std::endl;
  for (std::thread& thread : threads) thread.join();
  std::cout << messages << ' ' << Seconds(Clock::duration(last - first)) << ' '
            << CpuSeconds() - cpu << std::endl;
}

Notification MakeNotification(const QueryResult& result) {
  Notification notification;
  notification.set_notification_type(Pb::CmnSys::Notifications::NOTIFICATION_EVENT);
  notification.set_timestamp_ms(1'700'000'000'000);
  *notification.mutable_gid() = result.gid();
  *notification.mutable_notification_event()->mutable_event() =
      result.query_result_system_events().results(0).event();
  return notification;
}

void Serve(BenchServer* server, const Notification& notification) {
  std::cout << server->Address() << std::endl;
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream words(line);
    std::string command;
    int count = 0;
    words >> command;
    if (command == "publish" && words >> count) {
      for (int i = 0; i < count; ++i) server->Publish(notification);
      server->EndAll();
    } else if (command != "cpu") {
      throw std::runtime_error("unknown command: " + line);
    }
    std::cout << CpuSeconds() << std::endl;
  }
}

void Use(BenchClient* client) {
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "call") {
      Call(client, words);
    } else if (command == "receive") {
      Receive(client, words);
    } else {
      throw std::runtime_error("unknown command: " + line);
    }
  }
}

int Main(const std::vector<std::string>& words) {
  const bool is_server = words.size() == 3 && words[0] == "server";
  const bool is_client = words.size() == 4 && words[0] == "client";
  if (!is_server && !is_client) {
    std::cerr << "usage: bench_rpc server ours|native CERTIFICATES\n"
                 "       bench_rpc client ours|native CERTIFICATES ADDRESS\n";
    return 2;
  }
  const bool ours = words[1] == "ours";
  if (is_server) {
    QueryResult result;
    Set(MakeQueryResult(kSeed, kPairs), &result);
    const auto server = (ours ? StartOurs : StartNative)(words[2], result);
    Serve(server.get(), MakeNotification(result));
  } else {
    Use((ours ? ConnectOurs : ConnectNative)(words[3], words[2]).get());
  }
  return 0;
}

}  // namespace

}  // namespace CmnSys::Bench

int main(int argc, char** argv) {
  try {
    return CmnSys::Bench::Main({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::cerr << "bench_rpc: " << error.what() << '\n';
    return 1;
  }
}
