// Text read as the address of a server.
//
// What is taken stands for itself again, an address that counts as local is one by the system's own
// functions, and nothing is looked up.

#include "common/address.h"

#include <arpa/inet.h>

#include "target.h"

namespace CmnSys::Fuzz {
namespace {

using Rpc::Address;

// By the system's functions; nothing for what is no IP address.
std::optional<bool> IsLoopback(const std::string& host) {
  in_addr ip4{};
  if (::inet_pton(AF_INET, host.c_str(), &ip4) == 1) return ntohl(ip4.s_addr) >> 24 == 127;
  in6_addr ip6{};
  if (::inet_pton(AF_INET6, host.substr(0, host.find('%')).c_str(), &ip6) != 1) return {};
  return IN6_IS_ADDR_LOOPBACK(&ip6);
}

void Run(std::string_view input) {
  const std::string text(input);
  Rpc::PeerAddress(text);
  Address address;
  try {
    address = Rpc::ParseAddress(text);
  } catch (const std::invalid_argument& error) {
    Expect(!std::string_view(error.what()).empty(), "a refusal says why");
    return;
  }
  const Address again = Rpc::ParseAddress(address.Text());
  Expect(again.host == address.host && again.port == address.port && again.path == address.path,
         address.Text() + " stands for itself");
  if (address.IsUnix()) {
    Expect(Rpc::IsLocal(address) == true, "sockets are local");
    return;
  }
  Expect(!address.port.empty() && std::stoi(address.port) <= 65535, "the port is one");
  const std::optional<bool> loopback = IsLoopback(address.host);
  if (loopback) Expect(Rpc::IsLocal(address) == loopback, address.host + " is local or not");
  for (const Address& one : Rpc::Expand(address)) {
    Expect(one.port == address.port, "the port stays");
    if (Rpc::IsLocal(address) == true) {
      Expect(IsLoopback(one.host).value_or(false), one.host + " is a loopback address");
    }
  }
}

std::vector<std::string> Seeds() {
  return {"localhost:1",       "a.LOCALHOST.:65535",       "127.0.0.1:0", "192.0.2.7:41000",
          "[::1]:80",          "[fe80::1%eth0]:80",        "unix:/a/b",   "host-1.example:443",
          "[::ffff:127.1]:80", "[::ffff:127.0.0.1]:00080", "unix:",       "ipv6:%5B::1%5D:5"};
}

const Registration kRegistration({"address", Run, Seeds});

}  // namespace
}  // namespace CmnSys::Fuzz
