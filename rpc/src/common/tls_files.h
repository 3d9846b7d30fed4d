#ifndef CMNSYS_RPC_SRC_TLS_FILES_H_
#define CMNSYS_RPC_SRC_TLS_FILES_H_

#include "CmnSys/Rpc/Security.h"

namespace CmnSys::Rpc {

// gRPC says nothing useful about files that it cannot use, so they are examined first: the
// authorities can be read; certificate and key can be read and belong together, or are both empty
// where `certificate_needed` is false. Throws std::invalid_argument.
void CheckTlsFiles(const TlsFiles& files, bool certificate_needed);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_TLS_FILES_H_
