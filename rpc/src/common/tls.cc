#include "common/tls.h"

#include <grpcpp/security/tls_certificate_provider.h>
#include <grpcpp/security/tls_credentials_options.h>

#include "common/tls_files.h"

namespace CmnSys::Rpc {

namespace {

namespace tls = grpc::experimental;

std::shared_ptr<tls::CertificateProviderInterface> Watch(const TlsFiles& files) {
  const auto seconds = static_cast<unsigned>(files.reload_interval.count());
  if (files.certificate_file.empty()) {
    return std::make_shared<tls::FileWatcherCertificateProvider>(files.ca_file, seconds);
  }
  return std::make_shared<tls::FileWatcherCertificateProvider>(
      files.key_file, files.certificate_file, files.ca_file, seconds);
}

}  // namespace

std::shared_ptr<grpc::ChannelCredentials> ClientCredentials(const TlsFiles& files) {
  CheckTlsFiles(files, false);
  tls::TlsChannelCredentialsOptions options;
  options.set_certificate_provider(Watch(files));
  options.watch_root_certs();
  if (!files.certificate_file.empty()) options.watch_identity_key_cert_pairs();
  return tls::TlsCredentials(options);
}

std::shared_ptr<grpc::ServerCredentials> MutualTlsServerCredentials(const TlsFiles& files) {
  CheckTlsFiles(files, true);
  tls::TlsServerCredentialsOptions options(Watch(files));
  options.watch_root_certs();
  options.watch_identity_key_cert_pairs();
  options.set_cert_request_type(GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  return tls::TlsServerCredentials(options);
}

}  // namespace CmnSys::Rpc
