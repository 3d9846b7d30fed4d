#include "client/metadata.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace CmnSys::Rpc {

namespace {

// Servers accept 8 KiB of headers; gRPC's own need a part of it.
constexpr std::size_t kMaxMetadataBytes = 4096;
// What HTTP/2 counts for a header besides its name and value (RFC 7540, section 6.5.2).
constexpr std::size_t kHeaderOverhead = 32;

// Names that gRPC reads or writes itself: a call that carries one of them loses it, fails, or ends
// the process. Those that begin with "grpc" are reserved as a whole.
constexpr std::array<std::string_view, 14> kReserved = {
    "authorization",  "connection",   "content-encoding",
    "content-length", "content-type", "endpoint-load-metrics-bin",
    "host",           "keep-alive",   "lb-cost-bin",
    "lb-token",       "te",           "transfer-encoding",
    "upgrade",        "user-agent"};

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool EndsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

bool IsNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
}

bool IsPrintable(char c) { return c >= ' ' && c <= '~'; }

bool IsReserved(std::string_view name) {
  return std::find(kReserved.begin(), kReserved.end(), name) != kReserved.end() ||
         StartsWith(name, "grpc") || StartsWith(name, "cmnsys-");
}

}  // namespace

void Metadata::Add(const std::string& name, const std::string& value) {
  if (name.empty() || !std::all_of(name.begin(), name.end(), IsNameCharacter)) {
    throw std::invalid_argument("metadata name \"" + name +
                                "\" is not made of a to z, 0 to 9, '_', '-' and '.'");
  }
  if (IsReserved(name)) throw std::invalid_argument("metadata name \"" + name + "\" is reserved");
  if (!EndsWith(name, "-bin") && !std::all_of(value.begin(), value.end(), IsPrintable)) {
    throw std::invalid_argument("the value of metadata \"" + name +
                                "\" has other than printable ASCII characters; a name that ends "
                                "with \"-bin\" may carry any bytes");
  }
  const std::size_t bytes = bytes_ + name.size() + value.size() + kHeaderOverhead;
  if (bytes > kMaxMetadataBytes) {
    throw std::invalid_argument("with \"" + name + "\" the metadata of the call is " +
                                std::to_string(bytes) + " bytes long; the limit is " +
                                std::to_string(kMaxMetadataBytes));
  }
  bytes_ = bytes;
  entries_.emplace_back(name, value);
}

}  // namespace CmnSys::Rpc
