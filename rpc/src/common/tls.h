// TLS files, checked, and gRPC credentials made from them.

#ifndef CMNSYS_RPC_SRC_TLS_H_
#define CMNSYS_RPC_SRC_TLS_H_

#include <grpcpp/security/credentials.h>
#include <grpcpp/security/server_credentials.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "CmnSys/Rpc/Observer.h"
#include "CmnSys/Rpc/Security.h"

namespace CmnSys::Rpc {

// What one state of the files holds. The texts are PEM.
struct TlsContent {
  std::string authorities;
  std::string certificate;  // With the intermediate ones; empty without a certificate.
  std::string key;
  std::string revocations;

  bool operator==(const TlsContent& other) const {
    return authorities == other.authorities && certificate == other.certificate &&
           key == other.key && revocations == other.revocations;
  }
};

// The last good content of a set of files, looked at again from time to time: gRPC's own watcher of
// files takes whatever is there, and ends the process over an empty one. Thread-safe.
class TlsFileSet {
 public:
  using Tell = std::function<void(Event::Kind, const std::string& text)>;

  // Reads and checks: the authorities and revocation lists can be read; certificate and key can be
  // read, belong together and can be used, or are both empty where `certificate_needed` is false.
  // Throws std::invalid_argument. `tell` is called for what happens later, and for certificates
  // that expire.
  TlsFileSet(TlsFiles files, bool certificate_needed, Tell tell);
  ~TlsFileSet();

  // Looks at the files if it is time for that; true when they have changed and are in use. Tells
  // once a day of certificates that expire soon.
  bool Refresh();

  // The last good content and its number, which grows with each.
  std::pair<std::shared_ptr<const TlsContent>, int> Content() const;

  // Why this side's certificate is not valid at this time; empty when it is.
  std::string Untimely() const;

  bool ChecksRevocation() const { return !files_.revocation_file.empty(); }
  // Whether a certificate, in PEM, is on a revocation list of its authority.
  bool IsRevoked(const std::string& certificate) const;

 private:
  struct Parsed;

  void TellOfExpiry();

  const TlsFiles files_;
  const bool certificate_needed_;
  const Tell tell_;
  std::chrono::steady_clock::time_point next_look_;
  std::chrono::steady_clock::time_point next_expiry_;

  mutable std::mutex mutex_;
  std::shared_ptr<const TlsContent> content_;
  std::shared_ptr<const Parsed> parsed_;
  std::string fault_;  // Of the files as last looked at; empty when they are good.
  int number_ = 0;
  mutable std::unordered_map<std::string, bool> revoked_;  // Certificates asked about so far.
};

// A client's side of TLS; both null for plaintext.
struct ClientTls {
  std::shared_ptr<const TlsFileSet> files;
  std::shared_ptr<grpc::ChannelCredentials> credentials;
};

// Clients' credentials from files, which a thread of their own looks at. They must be kept as long
// as channels that were created with them: gRPC does not. Throws std::invalid_argument, and
// std::system_error when there is no memory or descriptor for them, or no /proc.
ClientTls MakeClientTls(const TlsFiles& files, TlsFileSet::Tell tell = {});

// Asks each client for a certificate. Each handshake takes the files' content of its time; `files`
// must be refreshed by its owner.
std::shared_ptr<grpc::ServerCredentials> MutualTlsServerCredentials(
    std::shared_ptr<TlsFileSet> files);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_TLS_H_
