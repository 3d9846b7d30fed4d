// What gRPC cannot do without, and ends the process when it does not get it.

#ifndef CMNSYS_RPC_COMMON_RESERVES_H_
#define CMNSYS_RPC_COMMON_RESERVES_H_

namespace CmnSys::Rpc {

// Takes some file descriptors and threads and gives them back, so that who starts a channel or
// server learns of their lack. Throws std::system_error when the system has no more of them.
// Thread-safe.
void ExpectReserves();

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_COMMON_RESERVES_H_
