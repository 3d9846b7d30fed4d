#include "server/acceptor.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace CmnSys::Rpc {

namespace {

constexpr int kPauseMilliseconds = 50;

}  // namespace

Acceptor::Acceptor(const std::vector<Address>& addresses) {
  for (const Address& address : addresses) sockets_.emplace_back(address);
  wake_ = eventfd(0, EFD_CLOEXEC);
  if (wake_ < 0) {
    throw std::runtime_error("cannot create an eventfd: " + std::generic_category().message(errno));
  }
}

Acceptor::~Acceptor() {
  Stop();
  close(wake_);
}

std::vector<std::string> Acceptor::Names() const {
  std::vector<std::string> names;
  for (const ListeningSocket& socket : sockets_) names.push_back(socket.name());
  return names;
}

void Acceptor::Start(std::function<void(int, int)> accepted) {
  thread_ = std::thread([this, accepted = std::move(accepted)] { Run(accepted); });
}

void Acceptor::Stop() {
  if (thread_.joinable()) {
    const std::uint64_t one = 1;
    while (write(wake_, &one, sizeof one) < 0 && errno == EINTR) continue;
    thread_.join();
  }
  sockets_.clear();
}

void Acceptor::Run(const std::function<void(int, int)>& accepted) {
  std::vector<pollfd> fds{{wake_, POLLIN, 0}};
  for (const ListeningSocket& socket : sockets_) fds.push_back({socket.fd(), POLLIN, 0});
  while (true) {
    if (poll(fds.data(), fds.size(), -1) < 0) continue;
    if (fds.front().revents != 0) return;
    bool exhausted = false;
    for (std::size_t i = 1; i < fds.size(); ++i) {
      if (fds[i].revents != 0) exhausted = AcceptAll(fds[i].fd, accepted) || exhausted;
    }
    if (exhausted && poll(fds.data(), 1, kPauseMilliseconds) > 0) return;
  }
}

bool Acceptor::AcceptAll(int listener, const std::function<void(int, int)>& accepted) {
  while (true) {
    const int connection = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (connection < 0) {
      switch (errno) {
        case EMFILE:
        case ENFILE:
        case ENOBUFS:
        case ENOMEM:
          return true;
        case EAGAIN:
          return false;
        default:  // The connection was gone before it was accepted.
          continue;
      }
    }
    const int on = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    accepted(listener, connection);
  }
}

}  // namespace CmnSys::Rpc
