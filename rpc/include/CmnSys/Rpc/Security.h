// Who may talk to whom, and whether others may read along.

#ifndef CMNSYS_RPC_SECURITY_H_
#define CMNSYS_RPC_SECURITY_H_

#include <chrono>
#include <string>

namespace CmnSys::Rpc {

// The files of one side of a TLS connection, all in PEM format. They are read when a channel or
// server is created and again whenever they change, so certificates can be renewed without a
// restart. Replace certificate and key together, for example by switching a symbolic link to the
// folder that holds them.
struct TlsFiles {
  // The certificates of the authorities whose signature on the peer's certificate is believed.
  std::string ca_file;
  // This side's certificate, followed by the intermediate ones if there are any, and its private
  // key. A server needs both. A client that leaves both empty shows no certificate, which servers
  // of this library refuse.
  std::string certificate_file;
  std::string key_file;
  // How often the files are looked at for a change; at least a second.
  std::chrono::seconds reload_interval{60};
};

// Where connections without TLS are allowed.
enum class Plaintext {
  kLoopbackOnly,  // Addresses of this machine alone (127.0.0.0/8 and ::1).
  kAnywhere,      // Everybody on the way can read and change the calls.
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SECURITY_H_
