#include "common/address.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace CmnSys::Rpc {

namespace {

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

AddressList Resolve(const Address& address, int flags) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags | AI_NUMERICSERV;
  addrinfo* list = nullptr;
  const int error = getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list);
  if (error != 0) {
    throw std::runtime_error("cannot resolve \"" + address.host + "\": " + gai_strerror(error));
  }
  return {list, &freeaddrinfo};
}

bool IsLoopback(const sockaddr* address) {
  if (address->sa_family == AF_INET) {
    const auto* ip4 = reinterpret_cast<const sockaddr_in*>(address);
    return ntohl(ip4->sin_addr.s_addr) >> 24U == IN_LOOPBACKNET;
  }
  if (address->sa_family == AF_INET6) {
    return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr);
  }
  return false;
}

// The IP address and port of a socket; empty when the system does not tell them.
std::string NameOf(int fd) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
      getnameinfo(reinterpret_cast<sockaddr*>(&address), length, host.data(), host.size(),
                  port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "";
  }
  return Address{host.data(), port.data()}.Text();
}

}  // namespace

std::string Address::Text() const {
  return (host.find(':') == std::string::npos ? host : "[" + host + "]") + ":" + port;
}

Address ParseAddress(const std::string& text) {
  const auto fail = [&text]() -> Address {
    throw std::invalid_argument("\"" + text +
                                "\" is no address: write host:port, 192.0.2.7:port or "
                                "[2001:db8::7]:port");
  };
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) return fail();
  Address address{text.substr(0, colon), text.substr(colon + 1)};
  if (address.host.front() == '[') {
    if (address.host.back() != ']') return fail();
    address.host = address.host.substr(1, address.host.size() - 2);
  } else if (address.host.find_first_of(":/ ") != std::string::npos) {
    return fail();
  }
  const bool number = !address.port.empty() && address.port.size() <= 5 &&
                      std::all_of(address.port.begin(), address.port.end(),
                                  [](char c) { return c >= '0' && c <= '9'; });
  if (!number || std::stoi(address.port) > 65535 || address.host.empty()) return fail();
  return address;
}

void CheckPlaintextAllowed(const Address& address, Plaintext plaintext) {
  if (plaintext == Plaintext::kAnywhere) return;
  bool loopback = true;
  try {
    const AddressList list = Resolve(address, 0);
    for (const addrinfo* i = list.get(); i != nullptr; i = i->ai_next) {
      loopback = loopback && IsLoopback(i->ai_addr);
    }
  } catch (const std::runtime_error& error) {
    throw std::invalid_argument(error.what());
  }
  if (!loopback) {
    throw std::invalid_argument(address.Text() +
                                " is not a loopback address, and there everybody on the way could "
                                "read and change the calls: set TLS files, or "
                                "Plaintext::kAnywhere if that is meant");
  }
}

ListeningSocket::ListeningSocket(const Address& address) {
  const AddressList list = Resolve(address, AI_PASSIVE);
  const int family = list->ai_family;
  fd_ = socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const int on = 1;
  const int off = 0;
  if (fd_ < 0 || setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      (family == AF_INET6 && setsockopt(fd_, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) != 0) ||
      bind(fd_, list->ai_addr, list->ai_addrlen) != 0 || listen(fd_, SOMAXCONN) != 0) {
    const int error = errno;
    if (fd_ >= 0) close(fd_);
    throw std::runtime_error("cannot listen on " + address.Text() + ": " +
                             std::generic_category().message(error));
  }
  name_ = NameOf(fd_);
}

ListeningSocket::ListeningSocket(ListeningSocket&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), name_(std::move(other.name_)) {}

ListeningSocket::~ListeningSocket() {
  if (fd_ >= 0) close(fd_);
}

}  // namespace CmnSys::Rpc
