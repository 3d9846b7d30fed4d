// Accepts connections and hands them to a gRPC server.

#ifndef CMNSYS_RPC_SRC_ACCEPTOR_H_
#define CMNSYS_RPC_SRC_ACCEPTOR_H_

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "common/address.h"

namespace CmnSys::Rpc {

// gRPC's own listener gives up for good when the process has no file descriptor left for a new
// connection; this one waits a little and goes on.
class Acceptor {
 public:
  // Listens on the addresses; connections wait until Start(). Throws std::runtime_error.
  explicit Acceptor(const std::vector<Address>& addresses);
  ~Acceptor();  // Stops.
  Acceptor(const Acceptor&) = delete;
  Acceptor& operator=(const Acceptor&) = delete;

  // IP addresses and ports.
  std::vector<std::string> Names() const;

  // Calls `accepted` with every new connection, which then belongs to it, on a thread of its own.
  void Start(std::function<void(int listener, int connection)> accepted);
  // Closes the listening sockets; when it returns `accepted` is not called any more.
  void Stop();

 private:
  void Run(const std::function<void(int, int)>& accepted);
  // Whether the process has run out of something, so that a pause is needed.
  static bool AcceptAll(int listener, const std::function<void(int, int)>& accepted);

  std::vector<ListeningSocket> sockets_;
  int wake_ = -1;  // Readable when the thread is to end.
  std::thread thread_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_ACCEPTOR_H_
