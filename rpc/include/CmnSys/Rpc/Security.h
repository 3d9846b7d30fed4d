// Who may talk to whom, and whether others may read along.

#ifndef CMNSYS_RPC_SECURITY_H_
#define CMNSYS_RPC_SECURITY_H_

#include <chrono>
#include <string>

namespace CmnSys::Rpc {

// The files of one side of a TLS connection, all in PEM format and of at most 16 MiB each. They are
// read when a channel is created or a server started, and again whenever they change, so
// certificates can be renewed without a restart. Files that cannot be used (empty, cut off, not
// belonging together) are told to the observer and the last good ones stay in use. New files count
// for new connections; see ServerOptions::max_connection_age. Replace certificate and key together,
// for example by switching a symbolic link to the folder that holds them. Where they are
// pipes, all of them together are waited for at most 5 seconds.
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
  // Revocation lists of the authorities (RFC 5280), one after the other; empty for none. A server
  // refuses calls of clients whose certificate is on one, with kUnauthenticated, also on
  // connections that exist already, and ends their subscriptions. A list must be signed by an
  // authority in ca_file; one that is out of date still counts, and the observer is told. Clients
  // do not look at it.
  std::string revocation_file{};
};

// Where connections without TLS are allowed.
enum class Plaintext {
  kLoopbackOnly,  // Addresses of this machine alone (127.0.0.0/8 and ::1).
  kAnywhere,      // Everybody on the way can read and change the calls.
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SECURITY_H_
