// How far a command has come, shown while a person waits.

#ifndef CMNSYS_TOOLS_IO_PROGRESS_H_
#define CMNSYS_TOOLS_IO_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace CmnSys::Tool {

// A line on standard error that tells how much of an input is done. It appears after a second, only
// when standard error is a terminal, and goes away at the end.
class Progress {
 public:
  // `path` is that of the input; of a regular file the bar shows the share, else only the bytes.
  explicit Progress(const std::string& path);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Cheap enough to be called for each message.
  void Update(std::uint64_t bytes_done);

  // Takes the line away, so that something else can be written to the terminal; the next update may
  // show it again.
  static void Hide();

 private:
  void Show(std::uint64_t bytes_done);

  bool enabled_;
  std::optional<std::uint64_t> total_;
  std::uint64_t next_check_ = 0;
  std::chrono::steady_clock::time_point next_show_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_PROGRESS_H_
