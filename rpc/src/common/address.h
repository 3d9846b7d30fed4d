// Addresses of servers.

#ifndef CMNSYS_RPC_SRC_ADDRESS_H_
#define CMNSYS_RPC_SRC_ADDRESS_H_

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "CmnSys/Rpc/Security.h"

namespace CmnSys::Rpc {

// An IP address or host name with a port, or the path of a Unix domain socket.
struct Address {
  std::string host;  // Without brackets; empty for a Unix domain socket.
  std::string port;  // A number.
  std::string path;  // Of the Unix domain socket; empty otherwise.

  bool IsUnix() const { return !path.empty(); }
  // "host:port", "[IPv6 address]:port", "unix:path"
  std::string Text() const;
};

// Reads what Text() writes. Throws std::invalid_argument.
Address ParseAddress(const std::string& text);

// The addresses that one stands for: localhost and the names below it stand for the loopback
// addresses of both families, whatever a hosts file says (RFC 6761, section 6.3); any other address
// for itself.
std::vector<Address> Expand(const Address& address);

// Whether it is certain that only programs of this machine are at this address: true for loopback
// addresses, localhost and Unix domain sockets, false for other IP addresses, nothing for a name
// that would have to be resolved. Does not block.
std::optional<bool> IsLocal(const Address& address);

// The peer of a call, from how gRPC writes it ("ipv4:192.0.2.7:41000",
// "ipv6:%5B2001:db8::7%5D:41000", "unix:/path"): IP address and port, or "unix:" and the path.
std::string PeerAddress(const std::string& uri);

// What to do about an address that is not local when plaintext was not asked for.
std::invalid_argument PlaintextRefused(const std::string& address);

// Throws std::invalid_argument unless plaintext is allowed for this address: where it is local
// always, elsewhere when it was asked for. A name is resolved.
void CheckPlaintextAllowed(const Address& address, Plaintext plaintext);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_ADDRESS_H_
