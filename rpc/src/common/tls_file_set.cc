// Reads TLS files and finds what is wrong with them.

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "common/tls.h"

namespace CmnSys::Rpc {

namespace {

template <auto kFree>
struct Free {
  template <typename T>
  void operator()(T* object) const {
    kFree(object);
  }
};
using Bio = std::unique_ptr<BIO, Free<BIO_free>>;
using Certificate = std::unique_ptr<X509, Free<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;
using RevocationList = std::unique_ptr<X509_CRL, Free<X509_CRL_free>>;
using Context = std::unique_ptr<SSL_CTX, Free<SSL_CTX_free>>;

// Longer files are not PEM files of ours.
constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;
// Certificates that expire within it are told.
constexpr std::chrono::hours kSoon{24 * 30};
constexpr std::chrono::hours kTellAgain{24};
// An interval of years would overflow the clock.
std::chrono::seconds ReloadInterval(const TlsFiles& files) {
  return std::min<std::chrono::seconds>(files.reload_interval, kTellAgain);
}

// Certificates of clients whose revocation is remembered.
constexpr std::size_t kMaxRemembered = 10'000;

// Pipes whose writers need longer for all files are given up: the thread that renews the files does
// more than this.
constexpr std::chrono::seconds kPipeTime{5};
using Time = std::chrono::steady_clock::time_point;

struct Descriptor {
  explicit Descriptor(int number) : fd(number) {}
  ~Descriptor() {
    if (fd != -1) close(fd);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  const int fd;
};

// The content of a file, a little more than it may have at most. Throws std::system_error, also
// when it is a pipe that has no end by then.
std::string ReadFile(const std::string& path, Time end) {
  const auto check = [](bool good, int error) {
    if (!good) throw std::system_error(error, std::generic_category());
  };
  // A named pipe without a writer would keep a blocking open() waiting.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  check(file.fd != -1, errno);
  std::string text;
  std::string block(1 << 16, '\0');
  while (text.size() <= kMaxFileBytes) {
    const ssize_t got = read(file.fd, block.data(), block.size());
    if (got == 0) break;
    if (got > 0) {
      text.append(block, 0, static_cast<std::size_t>(got));
    } else if (errno == EAGAIN) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
      pollfd readable{file.fd, POLLIN, 0};
      check(left.count() > 0 && poll(&readable, 1, static_cast<int>(left.count())) != 0, ETIMEDOUT);
    } else {
      check(errno == EINTR, errno);
    }
  }
  return text;
}

std::string Read(const std::string& path, const std::string& what, Time end) {
  if (path.empty()) throw std::invalid_argument("TLS needs " + what);
  std::string text;
  try {
    text = ReadFile(path, end);
  } catch (const std::system_error& error) {
    throw std::invalid_argument("cannot read " + what + " " + path + ": " + error.code().message());
  }
  if (text.size() > kMaxFileBytes) {
    throw std::invalid_argument(what + " " + path + " is no PEM file: it is longer than " +
                                std::to_string(kMaxFileBytes >> 20) + " MiB");
  }
  // gRPC takes the text as a C string, and would see less than is checked here.
  if (text.find('\0') != std::string::npos) {
    throw std::invalid_argument(what + " " + path + " is no PEM file: it holds a null character");
  }
  return text;
}

Bio Open(const std::string& text) {
  return Bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

// A key with a passphrase is not asked for one on the terminal, but refused.
int NoPassphrase(char*, int, int, void*) { return -1; }

// Whether reading stopped because there is nothing more, and not because of something damaged.
bool AtEnd() {
  const unsigned long error = ERR_peek_last_error();
  const bool end =
      ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
  ERR_clear_error();
  return end;
}

// Everything that `read` finds in a PEM text, at least one.
template <typename Handle, typename Function>
std::vector<Handle> ReadAll(const std::string& text, Function&& read, const std::string& path,
                            const std::string& what, const char* kind) {
  const Bio bio = Open(text);
  std::vector<Handle> all;
  while (true) {
    Handle one(read(bio.get(), nullptr, &NoPassphrase, nullptr));
    if (one == nullptr) break;
    all.push_back(std::move(one));
  }
  const bool complete = AtEnd();
  if (all.empty()) {
    throw std::invalid_argument(what + " " + path + " holds no " + kind + " in PEM format");
  }
  if (!complete) {
    throw std::invalid_argument(what + " " + path + " is damaged after " +
                                std::to_string(all.size()) + " " + kind + "s");
  }
  return all;
}

std::string NameOf(X509_NAME* name) {
  const Bio bio(BIO_new(BIO_s_mem()));
  X509_NAME_print_ex(bio.get(), name, 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB);
  char* text = nullptr;
  const long length = BIO_get_mem_data(bio.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

std::string TimeText(const ASN1_TIME* time) {
  const Bio bio(BIO_new(BIO_s_mem()));
  ASN1_TIME_print(bio.get(), time);
  char* text = nullptr;
  const long length = BIO_get_mem_data(bio.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

// Why a certificate is not valid at this time; empty when it is.
std::string WhyUntimely(const X509* certificate) {
  const ASN1_TIME* begin = X509_get0_notBefore(certificate);
  const ASN1_TIME* end = X509_get0_notAfter(certificate);
  const std::string what = "the certificate of " + NameOf(X509_get_subject_name(certificate));
  if (X509_cmp_current_time(begin) > 0) return what + " is not valid before " + TimeText(begin);
  if (X509_cmp_current_time(end) < 0) return what + " has expired: " + TimeText(end);
  return "";
}

}  // namespace

struct TlsFileSet::Parsed {
  explicit Parsed(const TlsFiles& files, bool certificate_needed, TlsContent* content) {
    static const std::string kAuthorities = "the file of authorities";
    static const std::string kCertificate = "the certificate file";
    static const std::string kRevocations = "the revocation file";
    const Time end = std::chrono::steady_clock::now() + kPipeTime;
    content->authorities = Read(files.ca_file, kAuthorities, end);
    // Certificates are read as gRPC does it, with what may stand behind them.
    authorities = ReadAll<Certificate>(content->authorities, PEM_read_bio_X509_AUX, files.ca_file,
                                       kAuthorities, "certificate");
    if (!files.revocation_file.empty()) {
      content->revocations = Read(files.revocation_file, kRevocations, end);
      revocations = ReadAll<RevocationList>(content->revocations, PEM_read_bio_X509_CRL,
                                            files.revocation_file, kRevocations, "revocation list");
      for (const RevocationList& list : revocations) CheckSigned(list.get(), files);
    }
    if (!certificate_needed && files.certificate_file.empty() && files.key_file.empty()) return;
    content->certificate = Read(files.certificate_file, kCertificate, end);
    certificates = ReadAll<Certificate>(content->certificate, PEM_read_bio_X509_AUX,
                                        files.certificate_file, kCertificate, "certificate");
    content->key = Read(files.key_file, "the key file", end);
    const Key key(
        PEM_read_bio_PrivateKey(Open(content->key).get(), nullptr, &NoPassphrase, nullptr));
    ERR_clear_error();
    if (key == nullptr) {
      throw std::invalid_argument("the key file " + files.key_file +
                                  " holds no private key in PEM format without a passphrase");
    }
    const bool fits = X509_check_private_key(certificates.front().get(), key.get()) == 1;
    ERR_clear_error();
    if (!fits) {
      throw std::invalid_argument("the key in " + files.key_file +
                                  " does not belong to the certificate in " +
                                  files.certificate_file);
    }
    CheckUsable(files);
  }

  // What OpenSSL would refuse at each handshake only: damaged extensions, keys and signatures that
  // are too weak for it.
  void CheckUsable(const TlsFiles& files) const {
    const Context context(SSL_CTX_new(TLS_method()));
    if (context == nullptr) throw std::bad_alloc();
    for (const Certificate& certificate : certificates) {
      X509* const one = certificate.get();
      ERR_clear_error();
      const bool taken = &certificate == &certificates.front()
                             ? SSL_CTX_use_certificate(context.get(), one) == 1
                             : SSL_CTX_add1_chain_cert(context.get(), one) == 1;
      const bool damaged = (X509_get_extension_flags(one) & EXFLAG_INVALID) != 0;
      if (taken && !damaged && ERR_peek_error() == 0) continue;
      const char* reason = ERR_reason_error_string(ERR_peek_last_error());
      const std::string why = reason == nullptr ? "invalid certificate" : reason;
      ERR_clear_error();
      throw std::invalid_argument("the certificate of " + NameOf(X509_get_subject_name(one)) +
                                  " in " + files.certificate_file + " cannot be used: " + why);
    }
  }

  void CheckSigned(X509_CRL* list, const TlsFiles& files) const {
    const bool is_signed =
        std::any_of(authorities.begin(), authorities.end(), [list](const Certificate& authority) {
          return X509_CRL_verify(list, X509_get0_pubkey(authority.get())) == 1;
        });
    ERR_clear_error();
    if (!is_signed) {
      throw std::invalid_argument("the revocation list of " + NameOf(X509_CRL_get_issuer(list)) +
                                  " in " + files.revocation_file +
                                  " is not signed by an authority in " + files.ca_file);
    }
  }

  std::vector<Certificate> authorities;
  std::vector<Certificate> certificates;
  std::vector<RevocationList> revocations;
};

TlsFileSet::TlsFileSet(TlsFiles files, bool certificate_needed, Tell tell)
    : files_(std::move(files)),
      certificate_needed_(certificate_needed),
      tell_(tell ? std::move(tell) : [](Event::Kind, const std::string&) {}) {
  if (files_.reload_interval < std::chrono::seconds(1)) {
    throw std::invalid_argument("TlsFiles::reload_interval must be at least a second");
  }
  auto content = std::make_shared<TlsContent>();
  parsed_ = std::make_shared<Parsed>(files_, certificate_needed_, content.get());
  content_ = content;
  number_ = 1;
  next_look_ = std::chrono::steady_clock::now() + ReloadInterval(files_);
  TellOfExpiry();
}

TlsFileSet::~TlsFileSet() = default;

std::pair<std::shared_ptr<const TlsContent>, int> TlsFileSet::Content() const {
  const std::lock_guard lock(mutex_);
  return {content_, number_};
}

bool TlsFileSet::Refresh() {
  const auto now = std::chrono::steady_clock::now();
  if (now >= next_expiry_) TellOfExpiry();
  if (now < next_look_) return false;
  next_look_ = now + ReloadInterval(files_);
  auto content = std::make_shared<TlsContent>();
  std::shared_ptr<const Parsed> parsed;
  std::string fault;
  try {
    parsed = std::make_shared<Parsed>(files_, certificate_needed_, content.get());
  } catch (const std::invalid_argument& error) {
    fault = error.what();
  }
  const bool changed = fault.empty() && !(*content == *content_);
  if (changed) {
    const std::lock_guard lock(mutex_);
    content_ = content;
    parsed_ = parsed;
    revoked_.clear();
    ++number_;
  }
  const bool told = fault == std::exchange(fault_, fault);
  if (changed) {
    tell_(Event::Kind::kTlsFilesReloaded, "renewed TLS files are in use");
    TellOfExpiry();
  } else if (!fault.empty() && !told) {
    tell_(Event::Kind::kTlsFilesNotUsable, fault + "; the last good TLS files stay in use");
  }
  return changed;
}

void TlsFileSet::TellOfExpiry() {
  next_expiry_ = std::chrono::steady_clock::now() + kTellAgain;
  std::time_t soon = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now() + kSoon);
  for (const auto* list : {&parsed_->certificates, &parsed_->authorities}) {
    for (const Certificate& certificate : *list) {
      const ASN1_TIME* end = X509_get0_notAfter(certificate.get());
      std::string text = WhyUntimely(certificate.get());
      if (text.empty() && X509_cmp_time(end, &soon) <= 0) {
        text = "the certificate of " + NameOf(X509_get_subject_name(certificate.get())) +
               " expires soon: " + TimeText(end);
      }
      if (!text.empty()) tell_(Event::Kind::kCertificateExpires, text);
    }
  }
  for (const RevocationList& list : parsed_->revocations) {
    const ASN1_TIME* next = X509_CRL_get0_nextUpdate(list.get());
    if (next != nullptr && X509_cmp_current_time(next) < 0) {
      tell_(Event::Kind::kCertificateExpires, "the revocation list of " +
                                                  NameOf(X509_CRL_get_issuer(list.get())) +
                                                  " is out of date: " + TimeText(next));
    }
  }
}

std::string TlsFileSet::Untimely() const {
  const std::lock_guard lock(mutex_);
  std::string text;
  for (const Certificate& certificate : parsed_->certificates) {
    if (text.empty()) text = WhyUntimely(certificate.get());
  }
  return text;
}

bool TlsFileSet::IsRevoked(const std::string& certificate) const {
  const std::lock_guard lock(mutex_);
  const auto known = revoked_.find(certificate);
  if (known != revoked_.end()) return known->second;
  const Certificate parsed(
      PEM_read_bio_X509(Open(certificate).get(), nullptr, &NoPassphrase, nullptr));
  ERR_clear_error();
  bool revoked = parsed == nullptr;
  for (const RevocationList& list : parsed_->revocations) {
    if (revoked) break;
    X509_REVOKED* entry = nullptr;
    revoked =
        X509_NAME_cmp(X509_CRL_get_issuer(list.get()), X509_get_issuer_name(parsed.get())) == 0 &&
        X509_CRL_get0_by_cert(list.get(), &entry, parsed.get()) == 1;
  }
  if (revoked_.size() >= kMaxRemembered) revoked_.clear();
  revoked_[certificate] = revoked;
  return revoked;
}

}  // namespace CmnSys::Rpc
