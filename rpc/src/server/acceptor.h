// Accepts connections and hands them to a gRPC server.

#ifndef CMNSYS_RPC_SRC_ACCEPTOR_H_
#define CMNSYS_RPC_SRC_ACCEPTOR_H_

#include <sys/socket.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "common/address.h"
#include "server/server_core.h"

namespace CmnSys::Rpc {

// A listening socket.
class ListeningSocket {
 public:
  // Listens on the IP address of a socket address, or at the path of a Unix domain socket, where
  // nothing may be. Throws std::system_error.
  ListeningSocket(const Address& address, const sockaddr* where, socklen_t length);
  ~ListeningSocket();
  ListeningSocket(ListeningSocket&& other) noexcept;
  ListeningSocket& operator=(ListeningSocket&&) = delete;
  ListeningSocket(const ListeningSocket&) = delete;
  ListeningSocket& operator=(const ListeningSocket&) = delete;

  int fd() const { return fd_; }
  const std::string& name() const { return name_; }  // IP address and port, or "unix:path".
  std::string port() const;                          // Empty for a Unix domain socket.

 private:
  int fd_ = -1;
  std::string name_;
  std::string path_;  // Of a Unix domain socket; removed in the end, unless it is another's by now.
  ino_t inode_ = 0;
};

// gRPC's own listener gives up for good when the process has no file descriptor left for a new
// connection, and limits nothing; this one waits a little and goes on, and keeps to the limits.
class Acceptor {
 public:
  // Listens on all addresses that the given ones stand for; connections wait until Start(). Throws
  // std::runtime_error.
  Acceptor(ServerCore* core, const std::vector<Address>& addresses);
  ~Acceptor();  // Stops.
  Acceptor(const Acceptor&) = delete;
  Acceptor& operator=(const Acceptor&) = delete;

  // IP addresses and ports.
  std::vector<std::string> Names() const;

  // Calls `accepted` with every new connection, which then belongs to it, on a thread of its own.
  void Start(std::function<void(int listener, int connection)> accepted);
  // Closes the connections of a peer soon. Thread-safe.
  void Close(const std::string& peer);
  // Closes the listening sockets; when it returns `accepted` is not called any more.
  void Stop();
  // Closes all connections, whatever is being written to them. After Stop().
  void CloseAll();

 private:
  // A connection that gRPC owns. gRPC does not tell when it closes one; then its descriptor is gone
  // or is something else, which has another inode.
  struct Connection {
    int fd;
    ino_t inode;
    std::string peer;
    std::string client;   // What counts as one client; empty when none is counted.
    std::uint64_t taken;  // Bytes, over TCP.
    // When it was last seen to take some, or nothing was waiting for it.
    std::chrono::steady_clock::time_point seen_taking;
  };

  static bool IsOpen(const Connection& connection);
  // gRPC notices, and closes the descriptor.
  static void Cut(const Connection& connection);
  void Listen(const Address& address);
  void Run();
  // Whether something lasting is in the way, so that a pause is needed.
  bool AcceptAll(int listener);
  void Admit(int listener, int fd, const sockaddr_storage& from);
  // Whether to go on.
  bool Wake();
  void ForgetClosed();
  // Closes TCP connections whose peers take nothing of what waits for them. gRPC's keepalive does
  // not while there is no room to write. TCP_USER_TIMEOUT does, but also closes those that are read
  // in small pieces: what Linux measures goes on after a piece.
  void CutStalled(std::chrono::steady_clock::time_point now);
  std::list<Connection>::iterator Forget(std::list<Connection>::iterator which);

  ServerCore* const core_;
  std::function<void(int, int)> accepted_;
  std::vector<ListeningSocket> sockets_;
  std::list<Connection> connections_;
  std::map<std::string, int> of_client_;
  std::mutex mutex_;
  std::set<std::string> to_close_;  // Peers.
  bool stopping_ = false;
  int wake_ = -1;  // Readable when one of these has changed.
  std::thread thread_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_ACCEPTOR_H_
