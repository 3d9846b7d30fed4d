#include "common/grpc_log.h"

#include <grpc/support/log.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace CmnSys::Rpc {

namespace {

struct Observers {
  std::mutex mutex;
  std::vector<std::weak_ptr<Observer>> list;
};

// Never destroyed: gRPC logs until the very end of the process.
Observers& AllObservers() {
  static auto* observers = new Observers;
  return *observers;
}

void Log(gpr_log_func_args* args) {
  // What an observer makes gRPC log is not told again.
  static thread_local bool telling = false;
  std::vector<std::shared_ptr<Observer>> observers;
  if (!telling) {
    const std::lock_guard lock(AllObservers().mutex);
    for (const auto& each : AllObservers().list) {
      if (auto observer = each.lock()) observers.push_back(std::move(observer));
    }
  }
  if (observers.empty()) {
    std::fprintf(stderr, "%s %s:%d] %s\n", gpr_log_severity_string(args->severity), args->file,
                 args->line, args->message);
    return;
  }
  Event event;
  event.kind = Event::Kind::kLog;
  event.text = std::string(gpr_log_severity_string(args->severity)) + " " + args->message;
  telling = true;
  for (const auto& observer : observers) observer->OnEvent(event);
  telling = false;
}

}  // namespace

void SendGrpcLogTo(const std::shared_ptr<Observer>& observer) {
  if (observer == nullptr) return;
  Observers& all = AllObservers();
  const std::lock_guard lock(all.mutex);
  const auto is_gone_or_same = [&](const std::weak_ptr<Observer>& each) {
    const auto held = each.lock();
    return held == nullptr || held == observer;
  };
  all.list.erase(std::remove_if(all.list.begin(), all.list.end(), is_gone_or_same), all.list.end());
  all.list.push_back(observer);
  gpr_set_log_function(&Log);
}

}  // namespace CmnSys::Rpc
