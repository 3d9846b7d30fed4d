// Addresses of servers, and the listening sockets made from them.

#ifndef CMNSYS_RPC_SRC_ADDRESS_H_
#define CMNSYS_RPC_SRC_ADDRESS_H_

#include <string>
#include <vector>

#include "CmnSys/Rpc/Security.h"

namespace CmnSys::Rpc {

struct Address {
  std::string host;  // Without brackets.
  std::string port;  // A number.

  std::string Text() const;  // "host:port", "[IPv6 address]:port"
};

// Reads "host:port" or "[IPv6 address]:port". Throws std::invalid_argument.
Address ParseAddress(const std::string& text);

// Throws std::invalid_argument unless plaintext is allowed for this address: on loopback always,
// elsewhere when it was asked for. A name is resolved.
void CheckPlaintextAllowed(const Address& address, Plaintext plaintext);

// A listening TCP socket.
class ListeningSocket {
 public:
  // Listens. Throws std::runtime_error.
  explicit ListeningSocket(const Address& address);
  ~ListeningSocket();
  ListeningSocket(ListeningSocket&& other) noexcept;
  ListeningSocket& operator=(ListeningSocket&&) = delete;
  ListeningSocket(const ListeningSocket&) = delete;
  ListeningSocket& operator=(const ListeningSocket&) = delete;

  int fd() const { return fd_; }
  const std::string& name() const { return name_; }  // IP address and port.

 private:
  int fd_ = -1;
  std::string name_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_ADDRESS_H_
