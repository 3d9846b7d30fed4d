#include "common/tls_files.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

namespace CmnSys::Rpc {

namespace {

template <auto kFree>
struct Free {
  template <typename T>
  void operator()(T* object) const {
    kFree(object);
  }
};
using File = std::unique_ptr<std::FILE, Free<std::fclose>>;
using Certificate = std::unique_ptr<X509, Free<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;

File Open(const std::string& path, const char* what) {
  if (path.empty()) throw std::invalid_argument(std::string("TLS needs ") + what);
  File file(std::fopen(path.c_str(), "re"));
  if (file == nullptr) {
    throw std::invalid_argument(std::string("cannot read ") + what + " " + path + ": " +
                                std::generic_category().message(errno));
  }
  return file;
}

// A key with a passphrase is not asked for one on the terminal, but refused.
int NoPassphrase(char*, int, int, void*) { return -1; }

Certificate ReadCertificate(const std::string& path, const char* what) {
  const File file = Open(path, what);
  Certificate certificate(PEM_read_X509(file.get(), nullptr, NoPassphrase, nullptr));
  ERR_clear_error();
  if (certificate == nullptr) {
    throw std::invalid_argument(std::string(what) + " " + path +
                                " holds no certificate in PEM "
                                "format");
  }
  return certificate;
}

Key ReadKey(const std::string& path) {
  const File file = Open(path, "the key file");
  Key key(PEM_read_PrivateKey(file.get(), nullptr, NoPassphrase, nullptr));
  ERR_clear_error();
  if (key == nullptr) {
    throw std::invalid_argument("the key file " + path +
                                " holds no private key in PEM format without a passphrase");
  }
  return key;
}

}  // namespace

void CheckTlsFiles(const TlsFiles& files, bool certificate_needed) {
  if (files.reload_interval < std::chrono::seconds(1)) {
    throw std::invalid_argument("TlsFiles::reload_interval must be at least a second");
  }
  ReadCertificate(files.ca_file, "the file of authorities");
  if (!certificate_needed && files.certificate_file.empty() && files.key_file.empty()) return;
  const Certificate certificate = ReadCertificate(files.certificate_file, "the certificate file");
  const Key key = ReadKey(files.key_file);
  const bool fits = X509_check_private_key(certificate.get(), key.get()) == 1;
  ERR_clear_error();
  if (!fits) {
    throw std::invalid_argument("the key in " + files.key_file +
                                " does not belong to the certificate in " + files.certificate_file);
  }
}

}  // namespace CmnSys::Rpc
