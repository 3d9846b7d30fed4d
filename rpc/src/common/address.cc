#include "common/address.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

namespace CmnSys::Rpc {

namespace {

constexpr const char* kUnixPrefix = "unix:";

// Of ASCII alone, whatever the locale.
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
bool IsNameCharacter(char c) {
  return (ToLower(c) >= 'a' && ToLower(c) <= 'z') || IsDigit(c) || c == '-' || c == '.' || c == '_';
}

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

AddressList Resolve(const Address& address) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* list = nullptr;
  const int error = getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list);
  if (error != 0) {
    throw std::runtime_error("cannot resolve \"" + address.host + "\": " + gai_strerror(error));
  }
  return {list, &freeaddrinfo};
}

bool IsLoopback(const in_addr& ip4) { return ntohl(ip4.s_addr) >> 24U == IN_LOOPBACKNET; }

bool IsLoopback(const in6_addr& ip6) { return IN6_IS_ADDR_LOOPBACK(&ip6); }

bool IsLoopback(const sockaddr* address) {
  switch (address->sa_family) {
    case AF_INET:
      return IsLoopback(reinterpret_cast<const sockaddr_in*>(address)->sin_addr);
    case AF_INET6:
      return IsLoopback(reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr);
    default:
      return false;
  }
}

// With or without a scope: "fe80::1%eth0".
bool IsIp6(const std::string& text) {
  in6_addr ip6{};
  const std::size_t percent = text.find('%');
  if (inet_pton(AF_INET6, text.substr(0, percent).c_str(), &ip6) != 1) return false;
  return percent == std::string::npos ||
         (percent + 1 < text.size() &&
          std::all_of(text.begin() + static_cast<std::ptrdiff_t>(percent) + 1, text.end(),
                      IsNameCharacter));
}

// "localhost" and the names below it (RFC 6761), but no IPv6 address whose scope ends that way.
bool IsLocalhost(std::string host) {
  if (!std::all_of(host.begin(), host.end(), IsNameCharacter)) return false;
  std::transform(host.begin(), host.end(), host.begin(), ToLower);
  if (!host.empty() && host.back() == '.') host.pop_back();
  static constexpr std::string_view kBelow = ".localhost";
  return host == kBelow.substr(1) ||
         (host.size() > kBelow.size() &&
          host.compare(host.size() - kBelow.size(), kBelow.size(), kBelow) == 0);
}

}  // namespace

std::string Address::Text() const {
  if (IsUnix()) return kUnixPrefix + path;
  return (host.find(':') == std::string::npos ? host : "[" + host + "]") + ":" + port;
}

Address ParseAddress(const std::string& text) {
  const auto fail = [&text](const char* why) -> Address {
    throw std::invalid_argument("\"" + text + "\" is no address: " + why);
  };
  static constexpr const char* kForms =
      "write host:port, 192.0.2.7:port, [2001:db8::7]:port or unix:path";
  // The system's functions would read no further, and take the rest for nothing.
  if (text.find('\0') != std::string::npos) {
    throw std::invalid_argument("what holds a null character is no address");
  }
  Address address;
  if (text.rfind(kUnixPrefix, 0) == 0) {
    address.path = text.substr(std::string(kUnixPrefix).size());
    if (address.path.empty()) return fail(kForms);
    if (address.path.size() >= sizeof(sockaddr_un::sun_path)) {
      return fail("the path of a Unix domain socket has at most 107 bytes");
    }
    return address;
  }
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) return fail(kForms);
  address.host = text.substr(0, colon);
  address.port = text.substr(colon + 1);
  if (address.host.front() == '[') {
    if (address.host.back() != ']') return fail(kForms);
    address.host = address.host.substr(1, address.host.size() - 2);
    if (!IsIp6(address.host)) return fail("what stands in brackets is no IPv6 address");
  } else if (!std::all_of(address.host.begin(), address.host.end(), IsNameCharacter)) {
    return fail(kForms);
  }
  const bool number = !address.port.empty() && address.port.size() <= 5 &&
                      std::all_of(address.port.begin(), address.port.end(), IsDigit);
  if (!number || std::stoi(address.port) > 65535) {
    return fail("the port is a number up to 65535");
  }
  return address;
}

std::vector<Address> Expand(const Address& address) {
  if (!IsLocalhost(address.host)) return {address};
  return {{"127.0.0.1", address.port, ""}, {"::1", address.port, ""}};
}

std::optional<bool> IsLocal(const Address& address) {
  if (address.IsUnix() || IsLocalhost(address.host)) return true;
  in_addr ip4{};
  if (inet_pton(AF_INET, address.host.c_str(), &ip4) == 1) return IsLoopback(ip4);
  if (IsIp6(address.host)) {
    in6_addr ip6{};
    const std::string without_scope = address.host.substr(0, address.host.find('%'));
    inet_pton(AF_INET6, without_scope.c_str(), &ip6);
    return IsLoopback(ip6);
  }
  return std::nullopt;
}

std::string PeerAddress(const std::string& uri) {
  const std::size_t begin = uri.rfind(kUnixPrefix, 0) == 0 ? 0 : uri.find(':') + 1;
  std::string text;
  for (std::size_t i = begin; i < uri.size(); ++i) {
    unsigned char byte = 0;
    const char* const digits = uri.data() + i + 1;
    if (uri[i] == '%' && i + 2 < uri.size() &&
        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      text += static_cast<char>(byte);
      i += 2;
    } else {
      text += uri[i];
    }
  }
  return text;
}

std::invalid_argument PlaintextRefused(const std::string& address) {
  return std::invalid_argument(address +
                               " is not a loopback address, and there everybody on the way could "
                               "read and change the calls: set TLS files, or Plaintext::kAnywhere "
                               "if that is meant");
}

void CheckPlaintextAllowed(const Address& address, Plaintext plaintext) {
  if (plaintext == Plaintext::kAnywhere) return;
  std::optional<bool> local = IsLocal(address);
  if (!local) {
    local = true;
    try {
      const AddressList list = Resolve(address);
      for (const addrinfo* i = list.get(); i != nullptr; i = i->ai_next) {
        local = *local && IsLoopback(i->ai_addr);
      }
    } catch (const std::runtime_error& error) {
      throw std::invalid_argument(error.what());
    }
  }
  if (!*local) throw PlaintextRefused(address.Text());
}

}  // namespace CmnSys::Rpc
