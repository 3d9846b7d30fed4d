#include "client_fixture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace CmnSys::Test {

RemoteServer::RemoteServer(const std::string& name, const std::string& address,
                           const Certificates* certificates) {
  const std::string folder = certificates == nullptr ? "" : certificates->PathOf("");
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
  process_ = fork();
  if (process_ == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    execl(CMNSYS_REMOTE_SERVER, CMNSYS_REMOTE_SERVER, name.c_str(), address.c_str(), folder.c_str(),
          nullptr);
    _exit(127);
  }
  close(ends[1]);
  for (char c = 0; read(ends[0], &c, 1) == 1 && c != '\n';) address_ += c;
  close(ends[0]);
  if (address_.empty()) throw std::runtime_error("the server did not start on " + address);
}

void RemoteServer::Kill() {
  if (process_ < 0) return;
  kill(process_, SIGKILL);
  waitpid(std::exchange(process_, -1), nullptr, 0);
}

void RemoteServer::Freeze() const {
  kill(process_, SIGSTOP);
  waitpid(process_, nullptr, WUNTRACED);  // All its threads have stopped.
}

FreePort::FreePort() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  const int on = 1;  // Lets others listen there who name the port.
  if (setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      bind(fd_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("no free port");
  }
  port_ = ntohs(address.sin_port);
}

FreePort::~FreePort() { close(fd_); }

Listener::Listener(std::function<void(int)> with_each) {
  if (listen(fd_, 128) != 0) throw std::runtime_error("cannot listen");
  if (with_each == nullptr) return;
  thread_ = std::thread([fd = fd_, with_each = std::move(with_each)] {
    for (int connection = 0; (connection = accept(fd, nullptr, nullptr)) >= 0;) {
      with_each(connection);
    }
  });
}

Listener::~Listener() {
  shutdown(fd_, SHUT_RDWR);
  if (thread_.joinable()) thread_.join();
}

}  // namespace CmnSys::Test
