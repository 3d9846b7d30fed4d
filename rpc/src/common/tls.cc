#include "common/tls.h"

#include <fcntl.h>
#include <grpc/grpc_security.h>
#include <grpcpp/security/tls_certificate_provider.h>
#include <grpcpp/security/tls_credentials_options.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace CmnSys::Rpc {

namespace {

namespace tls = grpc::experimental;

// How soon gRPC takes up a file that was replaced.
constexpr unsigned kTakeUpSeconds = 1;

// A file in memory whose content changes in one step: readers who open its path get the old content
// or the new one.
//
// gRPC goes on reading it for a moment after its owner is gone, until the last part of a channel is
// gone as well, and must not find any other file behind the descriptor then: a pipe would hang it,
// an empty file end the process. So descriptors are not closed but used again for the next file.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& content) : fd_(TakeUnused(content)) {
    if (access(path().c_str(), R_OK) == 0) return;
    const int error = errno;
    PutBack();
    throw std::system_error(
        error, std::generic_category(),
        "a channel over TLS needs the file system /proc: cannot read " + path());
  }
  ~MemoryFile() { PutBack(); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

  void Replace(const std::string& content) { Replace(fd_, content); }

 private:
  static std::mutex& unused_mutex() {
    static auto* mutex = new std::mutex;
    return *mutex;
  }
  static std::vector<int>& unused() {
    static auto* descriptors = new std::vector<int>;
    return *descriptors;
  }

  void PutBack() const {
    const std::lock_guard lock(unused_mutex());
    unused().push_back(fd_);
  }

  static int TakeUnused(const std::string& content) {
    const std::lock_guard lock(unused_mutex());
    if (unused().empty()) return Create(content);
    const int fd = unused().back();
    Replace(fd, content);
    unused().pop_back();
    return fd;
  }

  static void Replace(int old, const std::string& content) {
    const int fd = Create(content);
    const int replaced = dup3(fd, old, O_CLOEXEC);
    const int error = errno;
    close(fd);
    if (replaced < 0) throw Failure(error);
  }

  static int Create(const std::string& content) {
    const int fd = memfd_create("cmnsys-tls", MFD_CLOEXEC);
    std::size_t done = 0;
    while (fd >= 0 && done < content.size()) {
      const ssize_t written = write(fd, content.data() + done, content.size() - done);
      if (written < 0) break;
      done += static_cast<std::size_t>(written);
    }
    if (fd < 0 || done < content.size()) {
      const int error = errno;
      if (fd >= 0) close(fd);
      throw Failure(error);
    }
    return fd;
  }

  static std::system_error Failure(int error) {
    return {error, std::generic_category(), "cannot keep TLS files in memory"};
  }

  const int fd_;
};

// What gRPC's watcher of files sees are the contents that were checked. Certificate and key are one
// file, so that they change together.
class CheckedProvider final : public tls::CertificateProviderInterface {
 public:
  explicit CheckedProvider(std::shared_ptr<TlsFileSet> files)
      : files_(std::move(files)),
        authorities_(files_->Content().first->authorities),
        identity_(Identity()),
        watcher_(HasIdentity()
                     ? std::make_unique<tls::FileWatcherCertificateProvider>(
                           identity_.path(), identity_.path(), authorities_.path(), kTakeUpSeconds)
                     : std::make_unique<tls::FileWatcherCertificateProvider>(authorities_.path(),
                                                                             kTakeUpSeconds)),
        thread_([this] { Refresh(); }) {}

  ~CheckedProvider() override {
    {
      const std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }

  grpc_tls_certificate_provider* c_provider() override { return watcher_->c_provider(); }
  bool HasIdentity() const { return !files_->Content().first->certificate.empty(); }

 private:
  std::string Identity() const {
    const auto content = files_->Content().first;
    // Not empty without a certificate either: the file may be read for an earlier one.
    return content->key + content->certificate + "\n";
  }

  void Refresh() {
    std::unique_lock lock(mutex_);
    int seen = files_->Content().second;
    while (!changed_.wait_for(lock, std::chrono::seconds(1), [this] { return stopping_; })) {
      files_->Refresh();
      const auto [content, number] = files_->Content();
      if (number == seen) continue;
      try {
        authorities_.Replace(content->authorities);
        identity_.Replace(Identity());
        seen = number;
      } catch (const std::system_error&) {
        // No descriptor or memory at the moment; tried again.
      }
    }
  }

  const std::shared_ptr<TlsFileSet> files_;
  MemoryFile authorities_;
  MemoryFile identity_;
  const std::unique_ptr<tls::FileWatcherCertificateProvider> watcher_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopping_ = false;
  std::thread thread_;
};

// gRPC's credentials with a function that it asks for the certificates at each handshake; its C++
// API has them for certificates that stay the same only.
class CheckedServerCredentials final : public grpc::ServerCredentials {
 public:
  explicit CheckedServerCredentials(std::shared_ptr<TlsFileSet> files)
      : files_(std::move(files)),
        credentials_(grpc_ssl_server_credentials_create_with_options(
            grpc_ssl_server_credentials_create_options_using_config_fetcher(
                GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY, &Fetch, this))) {}
  ~CheckedServerCredentials() override { grpc_server_credentials_release(credentials_); }

  void SetAuthMetadataProcessor(
      const std::shared_ptr<grpc::AuthMetadataProcessor>& /*processor*/) override {}

 private:
  int AddPortToServer(const std::string& address, grpc_server* server) override {
    return grpc_server_add_http2_port(server, address.c_str(), credentials_);
  }

  static grpc_ssl_certificate_config_reload_status Fetch(
      void* self, grpc_ssl_server_certificate_config** config) {
    auto* credentials = static_cast<CheckedServerCredentials*>(self);
    const auto [content, number] = credentials->files_->Content();
    if (credentials->given_.exchange(number) == number) {
      return GRPC_SSL_CERTIFICATE_CONFIG_RELOAD_UNCHANGED;
    }
    const grpc_ssl_pem_key_cert_pair pair{content->key.c_str(), content->certificate.c_str()};
    *config = grpc_ssl_server_certificate_config_create(content->authorities.c_str(), &pair, 1);
    return GRPC_SSL_CERTIFICATE_CONFIG_RELOAD_NEW;
  }

  const std::shared_ptr<TlsFileSet> files_;
  std::atomic<int> given_{0};
  grpc_server_credentials* const credentials_;
};

}  // namespace

ClientTls MakeClientTls(const TlsFiles& files, TlsFileSet::Tell tell) {
  const auto checked = std::make_shared<TlsFileSet>(files, false, std::move(tell));
  auto provider = std::make_shared<CheckedProvider>(checked);
  tls::TlsChannelCredentialsOptions options;
  options.set_certificate_provider(provider);
  options.watch_root_certs();
  if (provider->HasIdentity()) options.watch_identity_key_cert_pairs();
  struct Credentials {
    std::shared_ptr<CheckedProvider> provider;
    std::shared_ptr<grpc::ChannelCredentials> credentials;
  };
  const auto both =
      std::make_shared<Credentials>(Credentials{std::move(provider), tls::TlsCredentials(options)});
  return {checked, {both, both->credentials.get()}};
}

std::shared_ptr<grpc::ServerCredentials> MutualTlsServerCredentials(
    std::shared_ptr<TlsFileSet> files) {
  return std::make_shared<CheckedServerCredentials>(std::move(files));
}

}  // namespace CmnSys::Rpc
