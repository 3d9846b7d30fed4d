// TLS files of any content: authorities, certificate, key and revocation lists.
//
// They are refused with a reason, or OpenSSL can use what was taken.

#include "common/tls.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <cstdlib>
#include <stdexcept>

#include "support/files.h"
#include "target.h"

namespace CmnSys::Fuzz {
namespace {

// Stands between the files of an input.
constexpr std::string_view kBetween = "====\n";

// Nothing asks at the terminal.
char kNoPassphrase[] = "";

// As gRPC does, which passes over what are no certificates.
bool CanUseAuthorities(const std::string& path, X509_STORE* store) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new_file(path.c_str(), "r"), &BIO_free);
  int count = 0;
  while (true) {
    const std::unique_ptr<X509, decltype(&X509_free)> authority(
        PEM_read_bio_X509_AUX(bio.get(), nullptr, nullptr, kNoPassphrase), &X509_free);
    if (authority == nullptr) break;
    if (X509_STORE_add_cert(store, authority.get()) != 1) return false;
    ++count;
  }
  ERR_clear_error();
  return count > 0;
}

bool CanUse(const Rpc::TlsFiles& files) {
  const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_method()),
                                                                  &SSL_CTX_free);
  SSL_CTX_set_default_passwd_cb_userdata(context.get(), kNoPassphrase);
  return CanUseAuthorities(files.ca_file, SSL_CTX_get_cert_store(context.get())) &&
         SSL_CTX_use_certificate_chain_file(context.get(), files.certificate_file.c_str()) == 1 &&
         SSL_CTX_use_PrivateKey_file(context.get(), files.key_file.c_str(), SSL_FILETYPE_PEM) == 1;
}

void Run(std::string_view input) {
  static const Test::TemporaryFolder folder;
  Rpc::TlsFiles files;
  int number = 0;
  for (std::string* path :
       {&files.ca_file, &files.certificate_file, &files.key_file, &files.revocation_file}) {
    const std::size_t end = input.find(kBetween);
    *path = folder.Write(std::to_string(number++), input.substr(0, end));
    input.remove_prefix(end == std::string_view::npos ? input.size() : end + kBetween.size());
  }
  if (Test::ReadFile(files.revocation_file).empty()) files.revocation_file.clear();
  try {
    const Rpc::TlsFileSet set(files, true, {});
    Expect(CanUse(files), "OpenSSL can use the files");
    const auto content = set.Content().first;
    Expect(content->certificate == Test::ReadFile(files.certificate_file) &&
               content->key == Test::ReadFile(files.key_file),
           "the content is that of the files");
    set.IsRevoked(content->certificate);
  } catch (const std::invalid_argument& error) {
    Expect(!std::string_view(error.what()).empty(), "a refusal says why");
  }
}

std::vector<std::string> Seeds() {
  const Test::TemporaryFolder folder;
  const std::string make = CMNSYS_EXAMPLES "/make-certificates.sh " + folder.path();
  Expect(std::system(make.c_str()) == 0, make);
  const std::string authority = Test::ReadFile(folder.PathOf("ca.pem"));
  const std::string certificate = Test::ReadFile(folder.PathOf("server.pem"));
  const std::string key = Test::ReadFile(folder.PathOf("server.key"));
  const std::string between(kBetween);
  return {authority + between + certificate + between + key,
          // Readers of files and of memory go on differently behind a null character.
          std::string(2, '\0') + authority + authority + between + certificate + between + key,
          authority + authority + between + certificate + authority + between + key + between,
          authority + between + certificate + between +
              Test::ReadFile(folder.PathOf("client.key")) + between + authority};
}

const Registration kRegistration({"tls", Run, Seeds});

}  // namespace
}  // namespace CmnSys::Fuzz
