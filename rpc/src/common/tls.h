// gRPC credentials from TLS files.

#ifndef CMNSYS_RPC_SRC_TLS_H_
#define CMNSYS_RPC_SRC_TLS_H_

#include <grpcpp/security/credentials.h>
#include <grpcpp/security/server_credentials.h>

#include <memory>

#include "CmnSys/Rpc/Security.h"

namespace CmnSys::Rpc {

// Both throw std::invalid_argument when a file is missing, cannot be read or does not fit.
std::shared_ptr<grpc::ChannelCredentials> ClientCredentials(const TlsFiles& files);
std::shared_ptr<grpc::ServerCredentials> MutualTlsServerCredentials(const TlsFiles& files);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_TLS_H_
