#include "common/reserves.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <future>
#include <system_error>
#include <thread>
#include <vector>

namespace CmnSys::Rpc {

namespace {

// gRPC was seen to take 7 at its start. Connections come on top.
constexpr int kDescriptors = 16;
// With those of a server of ours.
constexpr int kThreads = 12;

}  // namespace

void ExpectReserves() {
  std::array<int, kDescriptors> descriptors{};
  int error = 0;
  for (int& descriptor : descriptors) {
    descriptor = eventfd(0, EFD_CLOEXEC);
    if (descriptor < 0) error = errno;
  }
  for (const int descriptor : descriptors) {
    if (descriptor >= 0) close(descriptor);
  }
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), "gRPC needs file descriptors");
  }

  std::promise<void> end;
  const std::shared_future<void> ended(end.get_future());
  std::vector<std::thread> threads;
  std::error_code missing;
  try {
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([ended] { ended.wait(); });
    }
  } catch (const std::system_error& failure) {
    missing = failure.code();
  }
  end.set_value();
  for (std::thread& thread : threads) thread.join();
  if (missing) throw std::system_error(missing, "gRPC needs threads");
}

}  // namespace CmnSys::Rpc
