#include "server/acceptor.h"

#include <fcntl.h>
#include <linux/tcp.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "common/time.h"

namespace CmnSys::Rpc {

namespace {

constexpr int kPauseMilliseconds = 50;
// How often connections are looked at.
constexpr std::chrono::seconds kLookPeriod{1};
// An address family that has no free port where the first one has is tried again so often.
constexpr int kPortAttempts = 20;
// So many failures in a row to accept a connection are not those of single connections.
constexpr int kFailuresInARow = 16;
// Another server holds a folder only while it makes its socket there.
constexpr int kLockAttempts = 100;

std::runtime_error CannotListen(const Address& address, int error) {
  return std::runtime_error("cannot listen on " + address.Text() + ": " +
                            std::generic_category().message(error));
}

// IP address and port; empty for a Unix domain socket, and when the system does not tell them.
std::pair<std::string, std::string> HostAndPort(const sockaddr_storage& address, socklen_t length) {
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  if (address.ss_family == AF_UNIX ||
      getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, host.data(), host.size(),
                  port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return {};
  }
  return {host.data(), port.data()};
}

// The bytes of an IPv4 address, or of the network of an IPv6 one: its owner has all of that.
std::string ClientOf(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) {
    const auto& ip4 = reinterpret_cast<const sockaddr_in&>(address).sin_addr;
    return {reinterpret_cast<const char*>(&ip4), sizeof ip4};
  }
  if (address.ss_family != AF_INET6) return "";
  const auto& ip6 = reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
  const char* bytes = reinterpret_cast<const char*>(&ip6);
  return IN6_IS_ADDR_V4MAPPED(&ip6) ? std::string(bytes + 12, 4) : std::string(bytes, 8);
}

// Keeps other servers from looking for abandoned sockets in the folder of one that is being made:
// until it listens it looks abandoned itself. Throws std::system_error.
class FolderLock {
 public:
  explicit FolderLock(const std::filesystem::path& folder)
      : fd_(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (fd_ < 0) throw std::system_error(errno, std::generic_category());
    for (int attempt = 1; flock(fd_, LOCK_EX | LOCK_NB) != 0; ++attempt) {
      const int error = errno;
      if (error == EINTR) continue;
      if (error != EWOULDBLOCK || attempt == kLockAttempts) {
        close(fd_);
        throw std::system_error(error, std::generic_category());
      }
      poll(nullptr, 0, kPauseMilliseconds);
    }
  }
  ~FolderLock() { close(fd_); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int fd_;
};

// Removes a socket that a program has left behind which does not listen any more.
void RemoveAbandoned(const sockaddr_un& where) {
  struct stat file {};
  if (lstat(where.sun_path, &file) != 0 || !S_ISSOCK(file.st_mode)) return;
  const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (probe < 0) return;
  if (connect(probe, reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0 &&
      errno == ECONNREFUSED) {
    unlink(where.sun_path);
  }
  close(probe);
}

}  // namespace

ListeningSocket::ListeningSocket(const Address& address, const sockaddr* where, socklen_t length)
    : fd_(socket(where->sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  const int on = 1;
  // One socket for both families is what "[::]" asks for.
  const int only6 = address.host == "::" ? 0 : 1;
  if (fd_ < 0 || setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      (where->sa_family == AF_INET6 &&
       setsockopt(fd_, IPPROTO_IPV6, IPV6_V6ONLY, &only6, sizeof only6) != 0) ||
      bind(fd_, where, length) != 0 || listen(fd_, SOMAXCONN) != 0) {
    const int error = errno;
    if (fd_ >= 0) close(fd_);
    throw std::system_error(error, std::generic_category());
  }
  sockaddr_storage own{};
  socklen_t own_length = sizeof own;
  getsockname(fd_, reinterpret_cast<sockaddr*>(&own), &own_length);
  const auto [host, port] = HostAndPort(own, own_length);
  path_ = address.path;
  struct stat file {};
  if (!path_.empty() && lstat(path_.c_str(), &file) == 0) inode_ = file.st_ino;
  name_ = address.IsUnix() ? address.Text() : Address{host, port, ""}.Text();
}

ListeningSocket::ListeningSocket(ListeningSocket&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)),
      name_(std::move(other.name_)),
      path_(std::move(other.path_)),
      inode_(other.inode_) {}

ListeningSocket::~ListeningSocket() {
  if (fd_ < 0) return;
  // As long as it listens nobody takes it for abandoned and puts another one in its place.
  struct stat file {};
  if (!path_.empty() && lstat(path_.c_str(), &file) == 0 && file.st_ino == inode_) {
    unlink(path_.c_str());
  }
  close(fd_);
}

std::string ListeningSocket::port() const {
  return path_.empty() ? name_.substr(name_.rfind(':') + 1) : "";
}

Acceptor::Acceptor(ServerCore* core, const std::vector<Address>& addresses) : core_(core) {
  for (const Address& address : addresses) {
    for (int attempt = 1;; ++attempt) {
      const std::size_t before = sockets_.size();
      try {
        Listen(address);
        break;
      } catch (const std::system_error& error) {
        while (sockets_.size() > before) sockets_.pop_back();
        const bool again = address.port == "0" && error.code().value() == EADDRINUSE;
        if (!again || attempt == kPortAttempts) throw CannotListen(address, error.code().value());
      }
    }
  }
  wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wake_ < 0) {
    throw std::runtime_error("cannot create an eventfd: " + std::generic_category().message(errno));
  }
}

Acceptor::~Acceptor() {
  Stop();
  close(wake_);
  while (!connections_.empty()) Forget(connections_.begin());
}

void Acceptor::Listen(const Address& address) {
  if (address.IsUnix()) {
    sockaddr_un where{};
    where.sun_family = AF_UNIX;
    std::memcpy(where.sun_path, address.path.data(), address.path.size());
    const FolderLock lock(std::filesystem::path(address.path).parent_path());
    RemoveAbandoned(where);
    sockets_.emplace_back(address, reinterpret_cast<const sockaddr*>(&where),
                          static_cast<socklen_t>(sizeof where));
    return;
  }
  const std::size_t before = sockets_.size();
  for (Address each : Expand(address)) {
    // All addresses of a name get the same port.
    if (sockets_.size() > before) each.port = sockets_[before].port();
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(each.host.c_str(), each.port.c_str(), &hints, &found);
    if (error != 0) {
      throw std::runtime_error("cannot resolve \"" + each.host + "\": " + gai_strerror(error));
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> list(found, &freeaddrinfo);
    for (const addrinfo* i = list.get(); i != nullptr; i = i->ai_next) {
      if (sockets_.size() > before) {
        const auto port = static_cast<in_port_t>(std::stoi(sockets_[before].port()));
        // The port is at the same place for both families.
        reinterpret_cast<sockaddr_in*>(i->ai_addr)->sin_port = htons(port);
      }
      try {
        sockets_.emplace_back(each, i->ai_addr, i->ai_addrlen);
      } catch (const std::system_error& failure) {
        // A machine without one of the families has the others.
        const int code = failure.code().value();
        const bool missing = code == EADDRNOTAVAIL || code == EAFNOSUPPORT;
        const bool last = i->ai_next == nullptr && each.host == Expand(address).back().host;
        if (!missing || (last && sockets_.size() == before)) throw;
      }
    }
  }
}

std::vector<std::string> Acceptor::Names() const {
  std::vector<std::string> names;
  for (const ListeningSocket& socket : sockets_) names.push_back(socket.name());
  return names;
}

void Acceptor::Start(std::function<void(int, int)> accepted) {
  accepted_ = std::move(accepted);
  thread_ = std::thread([this] { Run(); });
}

void Acceptor::Stop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  eventfd_write(wake_, 1);
  if (thread_.joinable()) thread_.join();
  sockets_.clear();
}

void Acceptor::Close(const std::string& peer) {
  {
    const std::lock_guard lock(mutex_);
    if (!to_close_.insert(peer).second) return;
  }
  eventfd_write(wake_, 1);
}

bool Acceptor::Wake() {
  eventfd_t count = 0;
  eventfd_read(wake_, &count);
  std::set<std::string> to_close;
  {
    const std::lock_guard lock(mutex_);
    if (stopping_) return false;
    to_close.swap(to_close_);
  }
  for (const Connection& connection : connections_) {
    if (to_close.count(connection.peer) != 0) Cut(connection);
  }
  return true;
}

bool Acceptor::IsOpen(const Connection& connection) {
  struct stat file {};
  return fstat(connection.fd, &file) == 0 && file.st_ino == connection.inode;
}

void Acceptor::Cut(const Connection& connection) {
  if (IsOpen(connection)) shutdown(connection.fd, SHUT_RDWR);
}

void Acceptor::CloseAll() {
  for (const Connection& connection : connections_) Cut(connection);
}

void Acceptor::Run() {
  std::vector<pollfd> fds{{wake_, POLLIN, 0}};
  for (const ListeningSocket& socket : sockets_) fds.push_back({socket.fd(), POLLIN, 0});
  auto next_look = std::chrono::steady_clock::now();
  while (true) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(next_look - std::chrono::steady_clock::now());
    const int ready = poll(fds.data(), fds.size(),
                           connections_.empty() ? -1 : std::max(0, static_cast<int>(left.count())));
    const auto now = std::chrono::steady_clock::now();
    if (now >= next_look) {
      ForgetClosed();
      CutStalled(now);
      next_look = now + kLookPeriod;
    }
    if (ready <= 0) continue;
    if (fds.front().revents != 0 && !Wake()) return;
    bool pause = false;
    for (std::size_t i = 1; i < fds.size(); ++i) {
      if (fds[i].revents != 0) pause = AcceptAll(fds[i].fd) || pause;
    }
    if (pause) poll(fds.data(), 1, kPauseMilliseconds);
  }
}

bool Acceptor::AcceptAll(int listener) {
  int failures = 0;
  while (failures < kFailuresInARow) {
    sockaddr_storage from{};
    socklen_t length = sizeof from;
    const int connection = accept4(listener, reinterpret_cast<sockaddr*>(&from), &length,
                                   SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (connection >= 0) {
      Admit(listener, connection, from);
      failures = 0;
      continue;
    }
    switch (errno) {
      case EAGAIN:
        return false;
      // The connection was gone before it was accepted, see accept(2).
      case ECONNABORTED:
      case EINTR:
      case EPERM:
      case ENETDOWN:
      case EPROTO:
      case ENOPROTOOPT:
      case EHOSTDOWN:
      case ENONET:
      case EHOSTUNREACH:
      case EOPNOTSUPP:
      case ENETUNREACH:
        ++failures;
        continue;
      // No descriptors or no memory; and what is not known may last as well.
      default:
        return true;
    }
  }
  return true;
}

void Acceptor::Admit(int listener, int fd, const sockaddr_storage& from) {
  const auto [host, port] = HostAndPort(from, sizeof from);
  const std::string peer = host.empty() ? "unix:" : Address{host, port, ""}.Text();
  const std::string client = ClientOf(from);
  const ServerOptions& options = core_->options;
  const auto too_many = [&] {
    return core_->connections >= options.max_connections ||
           (!client.empty() && of_client_[client] >= options.max_connections_per_client);
  };
  if (too_many()) ForgetClosed();
  if (too_many()) {
    close(fd);
    if (of_client_[client] == 0) of_client_.erase(client);
    ++core_->connections_refused;
    core_->Tell(Event::Kind::kDisconnected, peer, "refused: too many connections",
                {StatusCode::kResourceExhausted, "too many connections"});
    return;
  }
  struct stat file {};
  fstat(fd, &file);
  connections_.push_back({fd, file.st_ino, peer, client, 0, std::chrono::steady_clock::now()});
  if (!client.empty()) ++of_client_[client];
  ++core_->connections;
  ++core_->connections_accepted;
  core_->Tell(Event::Kind::kConnected, peer, "");
  const int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  accepted_(listener, fd);
}

void Acceptor::ForgetClosed() {
  for (auto i = connections_.begin(); i != connections_.end();) {
    i = IsOpen(*i) ? std::next(i) : Forget(i);
  }
}

void Acceptor::CutStalled(std::chrono::steady_clock::time_point now) {
  const ServerOptions& options = core_->options;
  const std::chrono::milliseconds longest(std::int64_t{ToArgument(options.keepalive)} +
                                          ToArgument(options.keepalive_timeout));
  for (Connection& connection : connections_) {
    tcp_info info{};
    socklen_t length = sizeof info;
    const bool waiting = getsockopt(connection.fd, IPPROTO_TCP, TCP_INFO, &info, &length) == 0 &&
                         (info.tcpi_unacked != 0 || info.tcpi_notsent_bytes != 0);
    if (!waiting || info.tcpi_bytes_acked != connection.taken) {
      connection.taken = info.tcpi_bytes_acked;
      connection.seen_taking = now;
    } else if (now - connection.seen_taking >= longest) {
      Cut(connection);
    }
  }
}

std::list<Acceptor::Connection>::iterator Acceptor::Forget(std::list<Connection>::iterator which) {
  if (!which->client.empty() && --of_client_[which->client] == 0) of_client_.erase(which->client);
  --core_->connections;
  core_->Tell(Event::Kind::kDisconnected, which->peer, "");
  return connections_.erase(which);
}

}  // namespace CmnSys::Rpc
