#include "server/pollers.h"

#include <pthread.h>
#include <sys/resource.h>

#include <algorithm>

#include "common/completion.h"
#include "common/time.h"

namespace CmnSys::Rpc {

namespace {

// A service's code that takes longer is slow.
constexpr std::chrono::milliseconds kSlow{1};
// So many quick runs in a row make slow code quick again.
constexpr int kCaution = 64;
// So many milliseconds without an event let the guard sleep.
constexpr int kGuardRests = 100;
// How often the guard looks nevertheless.
constexpr std::chrono::milliseconds kGuardSleeps{250};
// How often lines are adjusted to the load, and which part of the time makes a line a busy one.
constexpr std::chrono::milliseconds kLoadPeriod{16};
constexpr double kBusy = 0.85;
// A thread that has used so much CPU time without an event or a rest does not come back soon.
constexpr std::chrono::milliseconds kStuck{2};
// Lines besides one for each core, for when all are stuck.
constexpr int kSpareLines = 4;
// How soon a thread that polls and is not wanted any more ends when there is nothing to do.
constexpr std::chrono::milliseconds kLook{20};

std::chrono::nanoseconds Read(clockid_t clock) {
  timespec time{};
  if (clock_gettime(clock, &time) != 0) return {};
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

// How often the calling thread has waited for something.
long Waits() {
  rusage used{};
  getrusage(RUSAGE_THREAD, &used);
  return used.ru_nvcsw;
}

void Decrement(std::atomic<int>* count) {
  const int now = count->load(std::memory_order_relaxed);
  if (now > 0) count->store(now - 1, std::memory_order_relaxed);
}

}  // namespace

// What the calling thread polls; null when it does not, or not any more.
static thread_local void* polled_line = nullptr;
static thread_local std::chrono::steady_clock::rep began = 0;

void Pace::Took(std::chrono::nanoseconds time) {
  if (time > kSlow) {
    if (IsSuspect()) caution_.store(kCaution, std::memory_order_relaxed);
    suspicion_.store(kCaution, std::memory_order_relaxed);
    return;
  }
  Decrement(&caution_);
  Decrement(&suspicion_);
}

RunTime::RunTime(bool exact) : exact_(exact), begin_(std::chrono::steady_clock::now()) {
  if (!exact) return;
  cpu_ = Read(CLOCK_THREAD_CPUTIME_ID);
  waits_ = Waits();
}

std::chrono::nanoseconds RunTime::Elapsed() const {
  const std::chrono::nanoseconds elapsed = std::chrono::steady_clock::now() - begin_;
  if (!exact_ || elapsed <= kSlow || Waits() != waits_) return elapsed;
  return Read(CLOCK_THREAD_CPUTIME_ID) - cpu_;
}

Pollers::~Pollers() { Stop(); }

void Pollers::Start(grpc::CompletionQueue* queue) {
  queue_ = queue;
  cores_ = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  for (int i = 0; i < cores_ + kSpareLines; ++i) lines_.emplace_back();
  const std::lock_guard lock(mutex_);
  guard_ = std::thread([this] { Guard(); });
  Open();
}

void Pollers::Stop() {
  if (!guard_.joinable()) return;
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return open_lines_ == 0; });
    stopping_ = true;
    changed_.notify_all();
  }
  guard_.join();
}

void Pollers::Open() {
  const auto line =
      std::find_if(lines_.begin(), lines_.end(), [](const Line& each) { return !each.open; });
  if (line == lines_.end()) return;
  line->open = true;
  line->wanted = true;
  ++open_lines_;
  workers_->PostWaiting([this, line] { Poll(&*line); });
}

void Pollers::Poll(Line* line) {
  clockid_t clock = CLOCK_REALTIME;
  pthread_getcpuclockid(pthread_self(), &clock);
  line->cpu_clock = clock;
  polled_line = line;
  void* tag = nullptr;
  bool ok = false;
  while (polled_line != nullptr && Next(line, &tag, &ok)) {
    ++line->events;
    WakeGuard();
    Tag::CompletePosted(tag, ok);
  }
  if (polled_line == nullptr) return;  // Another thread polls.
  polled_line = nullptr;
  const std::lock_guard lock(mutex_);
  line->open = false;
  line->wanted = false;
  --open_lines_;
  changed_.notify_all();
}

bool Pollers::Next(Line* line, void** tag, bool* ok) {
  if (line == &lines_.front()) return queue_->Next(tag, ok);
  while (line->wanted) {
    const auto got = queue_->AsyncNext(tag, ok, DeadlineAfter(kLook));
    if (got != grpc::CompletionQueue::TIMEOUT) return got == grpc::CompletionQueue::GOT_EVENT;
  }
  return false;
}

bool Pollers::TryBegin() {
  auto* line = static_cast<Line*>(polled_line);
  if (line == nullptr || began != 0 || !workers_->TryEnter()) return false;
  began = Clock::now().time_since_epoch().count();
  line->since = began;
  WakeGuard();
  return true;
}

void Pollers::End() {
  auto* line = static_cast<Line*>(polled_line);
  if (!line->since.compare_exchange_strong(began, 0)) polled_line = nullptr;
  began = 0;
  workers_->Leave();
}

void Pollers::WakeGuard() {
  if (guard_awake_) return;
  const std::lock_guard lock(mutex_);
  guard_awake_ = true;
  changed_.notify_all();
}

bool Pollers::RelieveSlow() {
  bool running = false;
  const Clock::rep latest = (Clock::now() - kSlow).time_since_epoch().count();
  for (Line& line : lines_) {
    Clock::rep since = line.since;
    running = running || since != 0;
    if (since != 0 && since < latest && line.since.compare_exchange_strong(since, 0)) {
      workers_->PostWaiting([this, &line] { Poll(&line); });
    }
  }
  return running;
}

bool Pollers::LookAtLines() {
  bool active = false;
  stuck_ = true;
  for (Line& line : lines_) {
    if (!line.open) continue;
    const clockid_t clock = line.cpu_clock;
    const std::chrono::nanoseconds now = Read(clock);
    const std::uint64_t events = line.events;
    active = active || now != line.now || events != line.seen_events;
    if (clock != line.seen_clock) line.adjusted = now;
    const bool rests = now == line.now;
    if (clock != line.seen_clock || events != line.seen_events || rests) line.last_event = now;
    line.seen_clock = clock;
    line.seen_events = events;
    line.now = now;
    stuck_ = stuck_ && line.since == 0 && now - line.last_event > kStuck;
  }
  if (stuck_) Open();
  return active;
}

void Pollers::AdjustLines(Clock::duration period) {
  std::chrono::nanoseconds used{0};
  int wanted = 0;
  for (Line& line : lines_) {
    if (!line.open) continue;
    if (line.wanted) ++wanted;
    used += line.now - line.adjusted;
    line.adjusted = line.now;
  }
  const auto enough_for = [&](double lines) { return used < kBusy * lines * period; };
  if (wanted < cores_ && !enough_for(wanted)) Open();
  if (stuck_) return;
  for (auto line = lines_.rbegin(); wanted > 1 && enough_for(0.5 * (wanted - 1)); ++line) {
    if (line->wanted.exchange(false)) --wanted;
  }
}

void Pollers::Guard() {
  std::unique_lock lock(mutex_);
  int quiet = 0;
  Clock::time_point adjusted = Clock::now();
  while (!stopping_) {
    const bool running = RelieveSlow();
    quiet = LookAtLines() || running ? 0 : quiet + 1;
    const Clock::time_point now = Clock::now();
    if (now - adjusted >= kLoadPeriod) AdjustLines(now - std::exchange(adjusted, now));
    if (quiet <= kGuardRests) {
      changed_.wait_for(lock, kSlow);
      continue;
    }
    // A run that does not see the flag cleared is seen here.
    guard_awake_ = false;
    if (RelieveSlow()) continue;
    changed_.wait_for(lock, kGuardSleeps, [this] { return guard_awake_ || stopping_; });
    quiet = guard_awake_.exchange(true) ? 0 : kGuardRests;
  }
}

}  // namespace CmnSys::Rpc
