// What must be done within a time.

#ifndef CMNSYS_RPC_SRC_TIME_LIMITS_H_
#define CMNSYS_RPC_SRC_TIME_LIMITS_H_

#include <chrono>
#include <list>
#include <mutex>

#include "common/time.h"

namespace CmnSys::Rpc {

// Calls that wait for their client, all of them for the same longest time. Thread-safe.
template <typename Call>
class TimeLimit {
 public:
  using Clock = std::chrono::steady_clock;
  struct Entry {
    Clock::time_point begin;
    Call* call;
  };
  using Place = typename std::list<Entry>::iterator;

  Place Begin(Call* call) {
    const Clock::time_point now = Clock::now();
    const std::lock_guard lock(mutex_);
    return entries_.insert(entries_.end(), Entry{now, call});
  }

  // When it returns, the call is not being ended and will not be.
  void End(Place place) {
    const std::lock_guard lock(mutex_);
    entries_.erase(place);
  }

  // Calls `end` for those that have been waiting for longer than `limit`.
  template <typename Function>
  void Check(std::chrono::milliseconds limit, Function&& end) {
    const std::lock_guard lock(mutex_);
    for (const Entry& entry : entries_) {
      if (Since(entry.begin) < limit) return;
      end(entry.call);
    }
  }

 private:
  std::mutex mutex_;
  std::list<Entry> entries_;  // The longest waiting first.
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_TIME_LIMITS_H_
