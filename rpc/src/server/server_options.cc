#include "server/server_options.h"

#include <chrono>
#include <climits>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

namespace CmnSys::Rpc {

void CheckOptions(const ServerOptions& options) {
  // The header that carries it may take 8 KiB with all others, and three bytes for each of these.
  constexpr std::size_t kMostErrorTextBytes = 2500;
  const auto check = [](bool good, const char* what) {
    if (!good) throw std::invalid_argument(std::string("ServerOptions::") + what);
  };
  check(!options.addresses.empty(), "addresses is empty");
  check(options.workers >= 1, "workers must be at least 1");
  check(options.max_workers >= options.workers, "max_workers must not be less than workers");
  const std::pair<int, const char*> counts[] = {
      {options.max_calls, "max_calls must be at least 1"},
      {options.max_streams_per_connection, "max_streams_per_connection must be at least 1"},
      {options.max_connections, "max_connections must be at least 1"},
      {options.max_connections_per_client, "max_connections_per_client must be at least 1"}};
  for (const auto& [value, text] : counts) check(value >= 1, text);
  check(options.max_message_bytes >= 1 && options.max_message_bytes <= INT_MAX,
        "max_message_bytes must be from 1 to 2,147,483,647");
  check(options.max_buffered_bytes >= 1 << 20, "max_buffered_bytes must be at least 1,048,576");
  check(options.max_published_bytes >= 1 << 20, "max_published_bytes must be at least 1,048,576");
  check(options.max_error_text_bytes <= kMostErrorTextBytes,
        "max_error_text_bytes must be at most 2,500");
  const std::pair<std::chrono::milliseconds, const char*> durations[] = {
      {options.handshake_timeout, "handshake_timeout must be at least 1 ms"},
      {options.request_timeout, "request_timeout must be at least 1 ms"},
      {options.response_timeout, "response_timeout must be at least 1 ms"},
      {options.keepalive_timeout, "keepalive_timeout must be at least 1 ms"},
      {options.max_connection_idle, "max_connection_idle must be at least 1 ms"},
      {options.max_connection_age, "max_connection_age must be at least 1 ms"}};
  for (const auto& [value, text] : durations) check(value.count() >= 1, text);
  check(options.keepalive >= std::chrono::seconds(1), "keepalive must be at least 1 s");
}

}  // namespace CmnSys::Rpc
