// Peers of a client in other processes, and sockets that are no server.

#ifndef CMNSYS_TESTS_RPC_CLIENT_FIXTURE_H_
#define CMNSYS_TESTS_RPC_CLIENT_FIXTURE_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <thread>

#include "fixture.h"

namespace CmnSys::Test {

// A server in a process of its own (remote_server.cc), which is killed with this object. Only so it
// is the client alone that keeps its connections alive.
class RemoteServer {
 public:
  // Listens on `address`; over TLS unless `certificates` is null. Its answers carry `name`.
  RemoteServer(const std::string& name, const std::string& address,
               const Certificates* certificates = nullptr);
  ~RemoteServer() { Kill(); }
  RemoteServer(const RemoteServer&) = delete;
  RemoteServer& operator=(const RemoteServer&) = delete;

  const std::string& address() const { return address_; }
  void Kill();
  // Leaves its connections open and silent.
  void Freeze() const;

 private:
  pid_t process_ = -1;
  std::string address_;
};

// A free port of 127.0.0.1, which nobody gets who asks for any. Servers may listen there.
class FreePort {
 public:
  FreePort();
  ~FreePort();
  FreePort(const FreePort&) = delete;
  FreePort& operator=(const FreePort&) = delete;

  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

 protected:
  const int fd_;

 private:
  int port_ = 0;
};

// Listens on a port, and does with each connection what it is told to; by default connections are
// never accepted.
class Listener : public FreePort {
 public:
  explicit Listener(std::function<void(int connection)> with_each = nullptr);
  ~Listener();

 private:
  std::thread thread_;
};

// The stream that RemoteServer publishes: notifications with growing time stamps.
inline constexpr const char* kTicks = "Test.Ticks/Subscribe";

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_RPC_CLIENT_FIXTURE_H_
