#include "io/progress.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace CmnSys::Tool {
namespace {

constexpr std::uint64_t kBytesBetweenChecks = std::uint64_t{1} << 20;
constexpr std::size_t kBarWidth = 30;

// A process has one standard error, so it is one line for all.
bool shown = false;

}  // namespace

Progress::Progress(const std::string& path)
    : enabled_(::isatty(STDERR_FILENO) == 1),
      next_show_(std::chrono::steady_clock::now() + std::chrono::seconds(1)) {
  struct stat status = {};
  const bool found =
      path == "-" ? ::fstat(STDIN_FILENO, &status) == 0 : ::stat(path.c_str(), &status) == 0;
  if (found && S_ISREG(status.st_mode) && status.st_size > 0) {
    total_ = static_cast<std::uint64_t>(status.st_size);
  }
}

Progress::~Progress() { Hide(); }

void Progress::Hide() {
  if (shown) std::cerr << "\r\x1b[K" << std::flush;
  shown = false;
}

void Progress::Update(std::uint64_t bytes_done) {
  if (!enabled_ || bytes_done < next_check_) return;
  next_check_ = bytes_done + kBytesBetweenChecks;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_show_) return;
  next_show_ = now + std::chrono::milliseconds(200);
  Show(bytes_done);
}

void Progress::Show(std::uint64_t bytes_done) {
  shown = true;
  std::string line = std::to_string(bytes_done >> 20) + " MiB";
  if (total_) {
    const std::uint64_t done = std::min(bytes_done, *total_);
    const auto filled = static_cast<std::size_t>(done * kBarWidth / *total_);
    line = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, ' ') + "] " +
           std::to_string(done * 100 / *total_) + "% of " + std::to_string(*total_ >> 20) + " MiB";
  }
  std::cerr << '\r' << line << "\x1b[K" << std::flush;
}

}  // namespace CmnSys::Tool
